// Picture files the game reads: GIF for the circuit and the car sprites, BMP for previews and
// the report logo. Everything is encoded in memory first so that files are written atomically.
#pragma once

#include <QImage>

#include <optional>
#include <string>

#include "core/textfile.h"

namespace vm {

// Encodes an image as a GIF89a. Images of at most 256 colours keep every pixel exactly; larger
// ones take their 255 most frequent colours. A pixel less than half opaque becomes the
// transparent index. The same image always gives the same bytes. Empty for a null image.
std::string GifBytes(const QImage& image);

// Writes an image as a GIF file.
std::optional<FileError> WriteGif(const std::string& path, const QImage& image);

// Encodes an image as a 24-bit BMP (alpha dropped). Empty for a null image.
std::string BmpBytes(const QImage& image);

// Writes an image as a BMP file.
std::optional<FileError> WriteBmp(const std::string& path, const QImage& image);

}  // namespace vm
