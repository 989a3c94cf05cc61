// Dialogs of the track chooser (frmTrackLoad) with the circuit's picture.
#pragma once

#include <QImage>
#include <string>

namespace vm {

class GameController;

// The track file dialog's filter.
inline constexpr const char* kTrackFilter = "Track Definition Files (*.trk)|*.trk";

// Registers the dialogs with the controller under their form names.
void RegisterTrackDialogs(GameController& controller);

// The picture of the circuit in a track file: the .gif beside it, else drawn from its grid; a null
// image when neither can be had.
QImage CircuitPicture(const std::string& trackFile);

// The description at the head of the circuit's .txt beside the track file (its leading "#" lines),
// in one paragraph, without the lead that names the circuit again; "" when there is none.
std::string CircuitDescription(const std::string& trackFile, const std::string& trackName);

}  // namespace vm
