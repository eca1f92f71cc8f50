// A settings file as another session or another program left it, loaded
// over a session's record: either it is taken or the record is untouched,
// and whatever the session then writes stays inside the texture folder.
#include <cstdlib>
#include <cstring>

#include "kind/master_record.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::InputFile file(data, size);
    if (!file.ok()) return 0;
    MasterTextureRecord& rec = fuzz::FreshRecord();
    static MasterTextureRecord before;
    std::memcpy(&before, &rec, sizeof rec);
    const long live = MemLiveBlocks();
    if (!LoadSettingsFile(&rec, file.path()) && std::memcmp(&before, &rec, sizeof rec) != 0)
        std::abort();  // a refused file must leave the record as it was
    fuzz::WriteAsASessionWould(rec, -1);
    fuzz::ExpectNoLeak(live, "settings");
    return 0;
}
