// A preset file of any kind (the first input byte picks the kind, the rest
// is the file) loaded into a session: either it is taken or the kind's block
// is untouched, and whatever the session then writes stays inside the
// texture folder.
#include <cstdlib>
#include <cstring>

#include "app/presets.h"
#include "kind/descriptor.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const int kind = data[0] % kKindCount;
    fuzz::InputFile file(data + 1, size - 1);
    if (!file.ok()) return 0;
    MasterTextureRecord& rec = fuzz::FreshRecord();
    static MasterTextureRecord before;
    std::memcpy(&before, &rec, sizeof rec);
    const long live = MemLiveBlocks();
    if (!LoadPresetFile(&rec, kind, file.path()) && std::memcmp(&before, &rec, sizeof rec) != 0)
        std::abort();  // a refused preset must leave the record as it was
    fuzz::WriteAsASessionWould(rec, kind);
    fuzz::ExpectNoLeak(live, "preset");
    return 0;
}
