// Helpers shared by the tests.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "app/session.h"
#include "core/image.h"
#include "core/platform.h"
#include "core/simd.h"

namespace tsn::test {

// A fresh folder under the system's temporary folder, removed at exit of the
// object; the application-data folder points into it while it lives, so no
// test touches a real user's files.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    const std::string& path() const { return path_; }  // ends in a separator
    std::string File(const std::string& name) const { return path_ + name; }

  private:
    std::string path_;
};

std::vector<std::uint8_t> ReadAll(const std::string& path);
bool WriteAll(const std::string& path, const void* data, std::size_t n);
bool FileExists(const std::string& path);

// While it lives, the random part of every temporary file name the writer
// makes is `first`, then `first + step`, ... so tests can plant files or
// links exactly where the writer will look.
class PredictableTemporaryNames {
  public:
    explicit PredictableTemporaryNames(std::uint64_t first = 1, std::uint64_t step = 1);
    ~PredictableTemporaryNames();
    // The temporary name for `path` with this token.
    static std::string For(const std::string& path, std::uint64_t token);
};
// Files in `folder` that the writer left behind ("*.tmp").
int TemporaryFilesIn(const std::string& folder);

// The bytes of a memory block (empty for 0).
std::vector<std::uint8_t> BlockBytes(MemHandle h);

// A headless session freed at scope exit.
struct Session {
    HeadlessSession s;
    Session();
    ~Session();
    MasterTextureRecord* rec() const { return s.rec; }
};

// Enters "FIELD=VALUE" on the selected kind's page as a user would, the seed
// also into the block (as the command line's --seed does).
void Enter(Session& s, int kind, const std::string& field, const std::string& value);
// The same for each of "FIELD=VALUE FIELD=VALUE ...".
void Enter(Session& s, int kind, const std::string& settings);

// Selects the kind, enters the settings and renders as the preview does.
MemHandle Render(Session& s, int kind, const std::string& settings);
// The bytes of that render in a fresh session.
std::vector<std::uint8_t> RenderBytes(int kind, const std::string& settings);

// What a render leaves behind: picture, kept grey image, colour table and
// block, each as bytes.
struct Rendered {
    std::vector<std::uint8_t> image, grey, table, block;
};
// A fresh session's render by `render` (the kind's own generator or a
// literal one), the settings entered and stored into the block first.
Rendered RenderBy(int kind, const std::string& settings, RowRenderFn render);
// For each settings line the kind's generator leaves exactly what the
// literal one does.
void ExpectSameAsLiteral(int kind, const std::vector<std::string>& cases, RowRenderFn literal);

// An image locked for reading, freed (when owned) at scope exit.
struct Picture {
    MemHandle h;
    bool own;
    ImageView v;
    bool ok;
    explicit Picture(MemHandle handle, bool owned = true);
    ~Picture();
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    std::uint32_t operator()(int x, int y) const { return GetPixel(v, x, y); }
};

// A little-endian word of a file or block.
std::uint32_t U32(const std::vector<std::uint8_t>& bytes, std::size_t at);

// Calls body(name) once for each vector instruction set the processor has,
// with that set pinned; the best is in use again afterwards.
template <class Body>
void ForEachSimdPath(Body body) {
    const std::pair<SimdPath, const char*> paths[] = {
        {SimdPath::Sse2, "SSE2"}, {SimdPath::Avx2, "AVX2"}, {SimdPath::Avx512, "AVX-512"}};
    for (const auto& [path, name] : paths) {
        if (!PinSimdPath(path)) continue;
        body(std::string(name));
        UnpinSimdPath();
    }
}

}  // namespace tsn::test
