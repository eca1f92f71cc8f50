// Prints one line per render of a fixed set of Noise settings: the settings
// and a 64-bit FNV-1a digest of the returned bitmap, of the grey image and of
// the colour table. The native build and the Windows build under Wine must
// print the same lines.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/image.h"
#include "plugin/session.h"
#include "textures/gradient/noise.h"

namespace {

std::uint64_t Fnv(const void* data, std::size_t n, std::uint64_t h = 1469598103934665603ull) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
    return h;
}

std::uint64_t Digest(tsn::MemHandle h) {
    if (!h) return 0;
    const void* p = tsn::MemLock(h);
    const std::uint64_t d = Fnv(
        p, tsn::MemSize(h) < 40 ? 0 : 40 + static_cast<const tsn::BitmapInfoHeader*>(p)->sizeImage);
    tsn::MemUnlock(h);
    return d;
}

struct Case {
    const char* settings;  // space-separated FIELD=VALUE for the Noise page
};

}  // namespace

int main() {
    using namespace tsn;
    const Case cases[] = {
        {""},
        {"sum=0"},
        {"squareAspect=0"},
        {"dimension=1"},
        {"dimension=2 layers=7"},
        {"width=64 depth=64 seed=100"},
        {"width=333 depth=517 seed=32757 sum=0 squareAspect=0"},
        {"width=1000 depth=77 seed=4242 layers=2"},
        {"width=129 depth=1030 seed=9999 scale=128 zDivisor=0.3"},
        {"width=640 depth=480 xScale=6 yScale=127.9 squareAspect=0 layers=8"},
    };
    for (const Case& c : cases) {
        HeadlessSession s;
        if (!StartHeadlessSession(&s, SessionArguments{})) return 1;
        s.rec->kindIndex = 13;
        const PageTable& t = NoisePageTable();
        std::uint8_t* block = BlockAt(s.rec, kNoiseOffset);
        std::string all = c.settings, error;
        std::size_t pos = 0;
        while (pos < all.size()) {
            std::size_t end = all.find(' ', pos);
            if (end == std::string::npos) end = all.size();
            const std::string item = all.substr(pos, end - pos);
            pos = end + 1;
            const auto eq = item.find('=');
            const PageField* f = FindField(t, item.substr(0, eq));
            if (!f || !EnterFieldText(*f, item.substr(eq + 1), s.rec->dialog, block, &error)) {
                std::fprintf(stderr, "bad case '%s'\n", item.c_str());
                return 1;
            }
            // Width, depth and seed go through the page; everything else is
            // put into the block as a preset holds it, unclamped and exact.
            if (f->role == Role::Seed)
                SetFieldValue(*f, block, ReadPageInteger(s.rec->dialog, f->id));
            if (f->role == Role::Plain) {
                SetFieldValue(*f, block, std::strtod(item.c_str() + eq + 1, nullptr));
                PageFromBlock(t, block, s.rec->dialog);
            }
        }
        s.rec->image = RenderSelectedKind(s.rec);
        std::printf("noise [%s] image %016llx grey %016llx table %016llx\n", c.settings,
                    (unsigned long long)Digest(s.rec->image),
                    (unsigned long long)Digest(NoiseGreyImage(s.rec)),
                    (unsigned long long)Fnv(s.rec->colourTable, 768));
        EndHeadlessSession(&s);
    }
    FountainDefinition set[9];
    for (std::uint32_t seed : {0u, 10356u, 15618u + 31u}) {
        BuildMutationFountains(seed, set);
        std::printf("mutations [%u] %016llx\n", seed, (unsigned long long)Fnv(set, sizeof set));
    }
    return 0;
}
