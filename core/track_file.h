// The .trk file: header, one seven-field record per cell (lane the outer loop), the apex
// blocks, the podium place and the optional pit lane, default car and wear factor.
#pragma once

#include <optional>
#include <string>

#include "core/textfile.h"
#include "core/track.h"

namespace vm {

// True for a name ending in ".trk", in any case.
bool IsTrackFileName(const std::string& fileName);

// Clears, reads and derives a track. On any failure the track passed in is left exactly as it
// was and the error says where; a file that cannot be opened gives FileErrorCode::NotFound, a
// name not ending in ".trk" or anything but a plain file FileErrorCode::NotAFile.
// A file that ends after the header is accepted: the rest keeps the cleared values and the
// optional fields their defaults (no pit lane, no default car, wear factor 1).
std::optional<FileError> LoadTrack(Track& track, const std::string& fileName);

// Reads a track from text already in memory; fileName only names it in errors and companions.
std::optional<FileError> LoadTrackText(Track& track, std::string text, const std::string& fileName);

// Reads only the twelve header fields the track chooser shows.
std::optional<FileError> TrackPreview(const std::string& fileName, TrackHeader& header);

// The text of a .trk file for a track, every optional field included.
std::string TrackFileText(const Track& track);

// Writes a track file atomically.
std::optional<FileError> SaveTrack(const Track& track, const std::string& fileName);

}  // namespace vm
