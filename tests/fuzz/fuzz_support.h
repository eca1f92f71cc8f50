// Shared pieces of the file-reader fuzz targets. Every reader of the project
// takes a path, so an input is handed over as a file; and every target
// checks that the reader freed what it allocated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace tsn {
struct MasterTextureRecord;
}

namespace tsn::fuzz {

// A file holding the input, private to this process, removed when the
// object goes.
class InputFile {
  public:
    InputFile(const std::uint8_t* data, std::size_t size);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    const char* path() const { return path_.c_str(); }
    bool ok() const { return ok_; }

  private:
    std::string path_;
    bool ok_ = false;
};

// Aborts (which the fuzzer reports with the input) when memory blocks were
// left allocated.
void ExpectNoLeak(long liveBefore, const char* what);

// After a file was taken into `rec`, writes what a session then would:
// every colour map back to the file it names (as the colour-map editors do
// when the dialog is confirmed), the settings file and, for kind `kind`
// (-1: none), a preset. Aborts when any of it aims at a file outside the
// texture folder of a private application-data folder.
void WriteAsASessionWould(MasterTextureRecord& rec, int kind);

}  // namespace tsn::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tsn::fuzz {

// The record of one headless session made at the first call, put back to
// its starting bytes on every call (the kinds' kept images freed first), so
// inputs do not pay for a whole session each.
MasterTextureRecord& FreshRecord();

// Renders kind `kind` of `rec` (a headless session's record) as the dialog
// would after loading its page from the block, but with the picture's width
// and depth entered as 1 so that the page's minimum applies and damaged
// values cost little time; frees the picture and what the kind keeps.
void RenderSmall(MasterTextureRecord* rec, int kind);

}  // namespace tsn::fuzz
