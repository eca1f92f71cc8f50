// Any bytes in a kind's parameter block (the first input byte picks the
// kind), as a damaged settings or preset file could leave them: moved
// through the page and rendered small. No crash, no leak, no hang.
#include <algorithm>
#include <cstring>

#include "app/kind_list.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const int kind = data[0] % kKindCount;
    const KindDescriptor& k = KindOf(kind);
    MasterTextureRecord& rec = fuzz::FreshRecord();
    // The header stays the kind's own: readers refuse foreign ones.
    const std::size_t n = std::min<std::size_t>(size - 1, k.blockSize - 16);
    std::memcpy(BlockAt(&rec, k.blockOffset) + 16, data + 1, n);
    const long live = MemLiveBlocks();
    fuzz::RenderSmall(&rec, kind);
    fuzz::ExpectNoLeak(live, "render");
    return 0;
}
