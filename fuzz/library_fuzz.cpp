// Fuzz entry for the matrix library reader: any bytes as a library file,
// then every tile it yields drawn and tiled. Must never crash, read out of
// bounds or leak a block.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/page.h"
#include "common/tile_list.h"
#include "textures/structured/matrix.h"
#include "textures/structured/matrix_library.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tsn;
    char path[64];
    std::snprintf(path, sizeof path, "/tmp/tsn-library-fuzz-%ld.mtx", long(getpid()));
    std::FILE* f = std::fopen(path, "wb");
    if (!f) return 0;
    const bool written = size == 0 || std::fwrite(data, 1, size, f) == size;
    std::fclose(f);
    if (!written) return 0;
    const long live = MemLiveBlocks();
    {
        HeadlessPage page;
        const PageRef list = RefOf(&page);
        ReadLibraryFile(path, list, 404);
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
        // Whatever was read is written back and reads back the same.
        char again[80];
        std::snprintf(again, sizeof again, "%s.again", path);
        HeadlessPage copy;
        if (WriteLibraryFile(again, list, 404) && ReadLibraryFile(again, RefOf(&copy), 404)) {
            const int n = TileList().count(list, 404);
            if (TileList().count(RefOf(&copy), 404) != n) std::abort();
            for (int i = 0; i < n; ++i) {
                const MemHandle a = TileList().tile(list, 404, i);
                const MemHandle b = TileList().tile(RefOf(&copy), 404, i);
                const void* pa = MemLock(a);
                const void* pb = MemLock(b);
                const bool same = MemSize(a) == MemSize(b) &&
                                  (MemSize(a) == 0 || std::memcmp(pa, pb, MemSize(a)) == 0);
                MemUnlock(a);
                MemUnlock(b);
                if (!same) std::abort();
            }
        }
        std::remove(again);
        TileList().clear(RefOf(&copy), 404);
        TileList().clear(list, 404);
    }
    // The bitmap-file path of the image picker and `tsntxtr matrix add`.
    MemFree(PackedDibFromBmp(data, size));
    std::remove(path);
    if (MemLiveBlocks() != live) std::abort();
    return 0;
}
