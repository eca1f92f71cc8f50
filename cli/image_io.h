// Writing image blocks to files for the command line and the tests.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/height_field.h"
#include "core/picture_rows.h"
#include "core/platform.h"

namespace tsn {

// Writes `image` to `path` as BMP (the block's bitmap behind a 14-byte file
// header, byte for byte) or PNG (8-bit RGB), chosen by the extension. The
// file appears only when complete: it is written beside `path` and renamed.
// `pngLevel` runs from 0 (store) to 9 (smallest, slowest); the default 1 is
// ISA-L's fast deflate, 2 and 3 zlib's run matching, 4 to 9 zlib's levels.
// Large pictures are written far more slowly than they are rendered at the
// higher levels.
// The path "-" is standard output instead, in `format` ("png", the default,
// or "bmp"), written straight through.
constexpr int kDefaultPngLevel = 1;
bool WriteImageFile(MemHandle image, const std::string& path, std::string* error,
                    int pngLevel = kDefaultPngLevel, const std::string& format = "");

// Renders and writes in one. `draw(sink)` renders the picture: a kind that
// paints by bands hands its rows to `sink` as it paints them and returns
// 0, so a PNG is encoded without the whole picture ever being held; any
// other returns its image, which is then written as WriteImageFile writes
// it and left in `*image` for the caller, who owns it. `sink` is null when
// the output cannot take rows top first (BMP is stored bottom first).
using PictureDrawer = std::function<MemHandle(RowSink* sink)>;
enum class PictureOutcome { Written, RenderFailed, WriteFailed };
// `*error` says why for WriteFailed; a failed render is the caller's to
// explain. The file appears only when complete.
PictureOutcome RenderImageFile(const PictureDrawer& draw, const std::string& path,
                               std::string* error, MemHandle* image,
                               int pngLevel = kDefaultPngLevel, const std::string& format = "");

// What is wrong with `path` (and `format`, as --format gives it) as a
// picture's output, or "" when nothing is: an extension that is neither
// .png nor .bmp, a format that disagrees with the file's extension, or "-"
// (standard output) when that is a terminal.
std::string OutputProblem(const std::string& path, const std::string& format = "");

// Writes a height field to `path`: a 16-bit grey PNG (.png), or raw
// little-endian 16-bit levels, rows top first, no header (.r16 or .raw), as
// terrain tools import them. Written beside `path` and renamed.
bool WriteHeightFile(const HeightField& h, const std::string& path, std::string* error);
// True for the extensions WriteHeightFile understands.
bool IsHeightExtension(const std::string& path);

// Reads a 16-bit grey PNG back (for tests and round trips).
bool ReadHeightPng(const std::string& path, HeightField* out, std::string* error);

// True for the extensions WriteImageFile understands.
bool IsImageExtension(const std::string& path);

// Decoded 8-bit RGB rows, top row first (for tests and round trips).
struct RgbImage {
    int width = 0, height = 0;
    std::vector<unsigned char> rgb;
};
// A header wider or deeper than `maxSide` is refused before anything is
// allocated (out->width and out->height then say what it claimed).
constexpr int kLargestPicture = 32768;
bool ReadPngFile(const std::string& path, RgbImage* out, std::string* error,
                 int maxSide = kLargestPicture);

}  // namespace tsn
