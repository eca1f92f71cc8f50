// A colour database edited by hand: every line either becomes an entry
// with a name and a 24-bit colour or is skipped, and what is read survives
// being written and read again unchanged.
#include <cstdlib>
#include <cstring>
#include <string>

#include "colour/colour_database.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::InputFile file(data, size);
    if (!file.ok()) return 0;
    const long live = MemLiveBlocks();
    MemHandle entries;
    int count;
    if (LoadColourDatabase(file.path(), &entries, &count) && count > 0) {
        if (std::size_t(count) > size) std::abort();
        auto* e = static_cast<NamedColour*>(MemLock(entries));
        for (int i = 0; i < count; ++i)
            if (!e[i].name[0] || std::strlen(e[i].name) >= sizeof e[i].name ||
                e[i].colour > 0xFFFFFF)
                std::abort();
        bool shortNames = true;
        for (int i = 0; i < count; ++i) shortNames = shortNames && std::strlen(e[i].name) < 240;
        const std::string again = std::string(file.path()) + ".again";
        // Lines longer than the reader's 259 characters would come back in
        // pieces; every name the writer can keep whole must return as it was.
        if (shortNames && SaveColourDatabase(again.c_str(), e, count)) {
            MemHandle back;
            int n;
            if (!LoadColourDatabase(again.c_str(), &back, &n) || n != count) std::abort();
            auto* b = static_cast<NamedColour*>(MemLock(back));
            for (int i = 0; i < count; ++i)
                if (b[i].colour != e[i].colour || std::strcmp(b[i].name, e[i].name) != 0)
                    std::abort();
            MemUnlock(back);
            MemFree(back);
            std::remove(again.c_str());
        }
        MemUnlock(entries);
        MemFree(entries);
    }
    fuzz::ExpectNoLeak(live, "colour database");
    return 0;
}
