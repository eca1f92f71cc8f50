// A matrix library file read into a tile list: every tile it yields is
// drawn and tiled; what was read is written back and reads back the same;
// the same bytes as a .bmp file go through the image picker's conversion.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/matrix_library.h"
#include "core/page.h"
#include "core/tile_list.h"
#include "kinds/matrix/matrix.h"
#include "kinds/matrix/matrix_tiles.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

namespace {

bool SameTiles(PageRef a, PageRef b) {
    const int n = TileList().count(a, 404);
    if (TileList().count(b, 404) != n) return false;
    for (int i = 0; i < n; ++i) {
        const MemHandle x = TileList().tile(a, 404, i), y = TileList().tile(b, 404, i);
        const void* px = MemLock(x);
        const void* py = MemLock(y);
        const bool same =
            MemSize(x) == MemSize(y) && (MemSize(x) == 0 || std::memcmp(px, py, MemSize(x)) == 0);
        MemUnlock(x);
        MemUnlock(y);
        if (!same) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::InputFile file(data, size);
    if (!file.ok()) return 0;
    const long live = MemLiveBlocks();
    {
        HeadlessPage page, copy;
        const PageRef list = RefOf(&page), again = RefOf(&copy);
        ReadLibraryFile(file.path(), list, 404);
        for (int i = 0; i < TileList().count(list, 404); ++i) {
            const MemHandle tile = TileList().tile(list, 404, i);
            MemFree(MatrixTiles(tile, 67, 33, (i & 1) != 0));
            TileView v;
            if (LockTile(tile, &v)) {
                for (int y = -1; y <= v.height && y < 300; ++y)
                    for (int x = -1; x <= v.width && x < 300; ++x) (void)TileGetPixel(v, x, y);
                UnlockTile(&v);
            }
        }
        const std::string written = std::string(file.path()) + ".again";
        if (WriteLibraryFile(written.c_str(), list, 404) &&
            (!ReadLibraryFile(written.c_str(), again, 404) || !SameTiles(list, again)))
            std::abort();  // a library we wrote must read back as it was
        std::remove(written.c_str());
        TileList().clear(list, 404);
        TileList().clear(again, 404);
    }
    MemFree(PackedDibFromBmp(data, size));
    fuzz::ExpectNoLeak(live, "library");
    return 0;
}
