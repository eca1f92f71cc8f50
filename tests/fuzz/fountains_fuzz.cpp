// A fountain library as another program or a damaged disk left it: either
// it loads with at most as many entries as the file can hold and markers
// counted within 64, or it is refused with nothing allocated; appending to
// it never grows a refused file.
#include <cstdio>
#include <cstdlib>

#include "colour/fountain_library.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::InputFile file(data, size);
    if (!file.ok()) return 0;
    const long live = MemLiveBlocks();
    MemHandle entries;
    int count;
    if (LoadFountainLibrary(file.path(), &entries, &count)) {
        if (count < 0 || (count > 0 && std::size_t(count) > (size - 80) / 340)) std::abort();
        auto* f = static_cast<FountainDefinition*>(MemLock(entries));
        for (int i = 0; i < count; ++i)
            if (f[i].count > 64) std::abort();
        MemUnlock(entries);
        MemFree(entries);
    }
    fuzz::ExpectNoLeak(live, "fountain library");
    FountainDefinition one;
    ResetFountain(&one);
    AppendToFountainLibrary(file.path(), one);
    fuzz::ExpectNoLeak(live, "fountain library append");
    return 0;
}
