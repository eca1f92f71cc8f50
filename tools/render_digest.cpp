// Prints one line per render of a fixed set of cases: the kind, its settings
// and 64-bit FNV-1a digests of the returned bitmap, of the kind's grey image
// (if it keeps one) and of the colour table. The native build and the
// Windows build under Wine must print the same lines.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/kind_list.h"
#include "app/session.h"
#include "core/image.h"
#include "kind/page_transfer.h"

namespace {

using namespace tsn;

std::uint64_t Fnv(const void* data, std::size_t n, std::uint64_t h = 1469598103934665603ull) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
    return h;
}

std::uint64_t Digest(MemHandle h) {
    ImageView v;
    if (!LockImage(h, &v)) return 0;
    const std::uint64_t d = Fnv(v.header, 40 + v.header->sizeImage);
    UnlockImage(&v);
    return d;
}

struct Case {
    const char* kind;      // key
    const char* settings;  // space-separated FIELD=VALUE
};

const Case kCases[] = {
    {"noise", ""},
    {"noise", "sum=0"},
    {"noise", "squareAspect=0"},
    {"noise", "dimension=1"},
    {"noise", "dimension=2 layers=7"},
    {"noise", "width=64 depth=64 seed=100"},
    {"noise", "width=333 depth=517 seed=32757 sum=0 squareAspect=0"},
    {"noise", "width=1000 depth=77 seed=4242 layers=2"},
    {"noise", "width=129 depth=1030 seed=9999 scale=128 zDivisor=0.3"},
    {"noise", "width=640 depth=480 xScale=6 yScale=127.9 squareAspect=0 layers=8"},
    // Terrain and Surface cases
    {"terrain", ""},
    {"terrain", "width=300 depth=200 seed=777 meshPower=6 elevation=1.3"},
    {"terrain", "width=64 depth=700 seed=32757 density=1.2 meshPower=10 elevation=0.6"},
    {"surface", ""},
    {"surface", "width=257 depth=129 seed=100 density=4.5 meshPower=7 elevation=1.5"},
    // Plasma, Mandelbrot and Craters cases
    {"plasma", ""},
    {"plasma", "width=257 depth=130 seed=777 turbulence=1000"},
    {"plasma", "width=90 depth=200 useSeedColour=1 seedColour=0x3060C0 turbulence=25"},
    {"mandelbrot", ""},
    {"mandelbrot", "width=333 depth=517 zoomLevel=5 centreImaginaryOffset=1.51"},
    {"mandelbrot", "width=640 depth=480 zoomLevel=10 zoomFactor=3 centreRealOffset=0.3"},
    {"craters", ""},
    {"craters", "width=200 depth=450 seed=4242 density=3000 depthExponent=2.5"},
    {"craters", "width=32 depth=32 density=1 rimLevel=1.5 shadeExponent=3"},
    // Clouds cases
    {"clouds", ""},
    {"clouds", "width=333 depth=517 seed=100 bands=90 land=0 ice=0 phase=170 tilt=-60 gridBits=11"},
    {"clouds",
     "width=48 depth=40 radius=400 centreX=-100 roughness=0.8 scale=4 swirl=100 stars=5000"},
    // Particle cases
    {"particle", ""},
    {"particle", "width=300 depth=200 seed=777 mode=1 wrap=1 colouring=1 stickiness=20"},
    {"particle", "width=64 depth=90 nuclei=32 taper=100 colouring=2 particles=200000"},
    // Scratch and Threads cases
    {"scratch", ""},
    {"scratch", "width=300 depth=200 antialias=1 lineSize=3 enable3=1 enable4=1 enable5=1"},
    {"scratch", "width=200 depth=150 seed=777 lineSize=6 angle=0 fraction=1 complexity=60"},
    {"threads", ""},
    {"threads", "width=300 depth=200 antialias=1 weight=3 enable3=1 enable4=1 enable5=1"},
    {"threads", "width=200 depth=150 seed=32000 weight=6 angle=90 lineSize=12 iterations=500"},
    // The CGI kinds through the noise service
    {"cgiterrain", ""},
    {"cgiterrain", "size=100 seed=777 octaves=6 complex=1 quality=0 tileable=0"},
    {"cgijade", ""},
    {"cgijade", "size=130 frequency=100 octaves=1 quality=2"},
    {"cgisky", ""},
    {"cgisky", "size=64 seed=32760 frequency=5 octaves=6 tileable=0"},
    {"cgisea", ""},
    {"cgisea", "size=200 power=1 quality=2"},
    {"cgislime", ""},
    {"cgislime", "size=97 power=64 frequency=60 quality=0"},
    {"cgigranite", ""},
    {"cgigranite", "size=150 frequency=30 octaves=6 quality=2 tileable=0"},
    {"cgiwood", ""},
    {"cgiwood", "size=120 frequency=30 quality=0"},
    {"cgiturbulence", ""},
    {"cgiturbulence", "size=128 frequency=0 power=0"},
    {"cgiturbulence", "size=128 frequency=9 power=9 quality=2"},
    // Absolute Noise, Perturbation and Ripples cases
    {"absnoise", ""},
    {"absnoise", "width=257 depth=130 seed=777 noiseType=3 cellular=2 fractal=3 tileable=1"},
    {"absnoise", "width=90 depth=200 noiseType=2 warp=2.5 tileable=1 lacunarity=2.7 octaves=10"},
    {"absnoise", "width=120 depth=64 noiseType=5 fractal=2 absolute=0 invert=1 contrast=3"},
    {"perturb", ""},
    {"perturb", "width=300 depth=200 seed=4242 pattern=1 wave=1 noiseType=0 fractal=2"},
    {"perturb", "width=64 depth=333 pattern=2 wave=2 angle=17 strength=4 noiseType=4"},
    {"ripples", ""},
    {"ripples", "width=257 depth=129 seed=100 drops=200 wavelength=4 rings=1 relief=400"},
    {"ripples", "width=80 depth=300 drops=1 wavelength=400 rings=30 damping=99 lightAngle=359"},
    // Pipes cases
    {"pipes", ""},
    {"pipes", "style=1 reduction=3 widthCells=3 depthCells=2 density=2 valves=3 effect=7"},
    {"pipes",
     "reduction=4 widthCells=5 depthCells=3 density=0 effect=8 noHiddenValves=0 "
     "shadowSoftness=0 shadowOffset=32"},
    {"pipes", "style=1 reduction=1 effect=6 valves=6 shadow=0"},
    // Matrix: the default tile, cut at the edges and at a tile's size.
    {"matrix", ""},
    {"matrix", "width=96 depth=97"},
    {"matrix", "width=1001 depth=64"},
};

// The maps beyond the plug-in's pages: tileable pictures and height fields,
// printed after the plug-in's renders so that those lines stay as they are.
const Case kMapCases[] = {
    {"noise", "width=300 depth=200 seed=10500 scale=7 layers=3"},
    {"noise", "width=129 depth=257 seed=20000 squareAspect=0 xScale=9.5 yScale=30"},
    {"plasma", "width=257 depth=130 seed=777"},
    {"perturb", "width=300 depth=200 seed=4242 pattern=0 angle=35"},
    {"perturb", "width=200 depth=300 seed=4242 pattern=1"},
    {"perturb", "width=160 depth=100 pattern=2 noiseType=2"},
    {"absnoise", "width=257 depth=130 seed=777"},
    {"craters", "width=200 depth=150 seed=4242"},
    {"ripples", "width=257 depth=129 seed=100"},
    {"terrain", "width=256 depth=128 seed=777"},
    {"surface", "width=256 depth=128 seed=100"},
    {"scratch", "width=200 depth=150 seed=777"},
    {"threads", "width=200 depth=150 seed=777"},
    {"cgisea", "size=200 seed=777"},
    {"cgigranite", "size=200 seed=777"},
    {"cgiterrain", "size=150 seed=777 quality=2"},
};

// Width, depth and seed go through the page as typed; every other field is
// put into the block as a preset holds it, unclamped and exact.
bool Apply(HeadlessSession& s, int kind, const std::string& item) {
    const KindDescriptor& info = KindOf(kind);
    const auto eq = item.find('=');
    const PageField* f =
        eq == std::string::npos ? nullptr : FindField(*info.page, item.substr(0, eq));
    std::uint8_t* block = BlockAt(s.rec, info.blockOffset);
    std::string error;
    if (!f || !EnterFieldText(*f, item.substr(eq + 1), s.rec->dialog, block, &error)) return false;
    if (f->role == Role::Seed) SetFieldValue(*f, block, ReadPageInteger(s.rec->dialog, f->id));
    if (f->role == Role::Plain) {
        SetFieldValue(*f, block, std::strtod(item.c_str() + eq + 1, nullptr));
        PageFromBlock(*info.page, block, s.rec->dialog);
    }
    return true;
}

}  // namespace

// Starts a session with the case's kind selected and its settings applied;
// false after saying what was wrong.
bool StartCase(const Case& c, HeadlessSession* s, int* kind) {
    *kind = FindKind(c.kind);
    if (*kind < 0 || !KindOf(*kind).page) {
        std::fprintf(stderr, "bad kind '%s'\n", c.kind);
        return false;
    }
    if (!StartHeadlessSession(s, SessionArguments{})) return false;
    s->rec->kindIndex = *kind;
    const std::string all = c.settings;
    for (std::size_t pos = 0; pos < all.size();) {
        std::size_t end = all.find(' ', pos);
        if (end == std::string::npos) end = all.size();
        if (!Apply(*s, *kind, all.substr(pos, end - pos))) {
            std::fprintf(stderr, "bad case '%s' of %s\n", all.c_str(), c.kind);
            EndHeadlessSession(s);
            return false;
        }
        pos = end + 1;
    }
    return true;
}

// The tileable picture and, for a kind with a field, its height levels.
bool PrintMapCase(const Case& c) {
    HeadlessSession s;
    int kind;
    if (!StartCase(c, &s, &kind)) return false;
    HeightField field;
    const bool heights = (KindOf(kind).maps & kMapsHeight) != 0;
    s.rec->image = RenderSelectedKind(s.rec, MapRequest{true, heights ? &field : nullptr});
    std::printf("maps %s [%s] tileable %016llx heights %016llx\n", c.kind, c.settings,
                (unsigned long long)Digest(s.rec->image),
                (unsigned long long)Fnv(field.level.data(), field.level.size() * 2));
    EndHeadlessSession(&s);
    return true;
}

int main() {
    // The default tile only: a folder with no matrix library in it.
    SetAppDataOverride("render-digest-no-such-folder");
    for (const Case& c : kCases) {
        HeadlessSession s;
        int kind;
        if (!StartCase(c, &s, &kind)) return 1;
        s.rec->image = RenderSelectedKind(s.rec);
        const MemHandle grey = MemHandle(KindAt(kind).query(s.rec, kQueryIndexImage));
        std::printf("%s [%s] image %016llx grey %016llx table %016llx\n", c.kind, c.settings,
                    (unsigned long long)Digest(s.rec->image), (unsigned long long)Digest(grey),
                    (unsigned long long)Fnv(s.rec->colourTable, 768));
        EndHeadlessSession(&s);
    }
    FountainDefinition set[9];
    for (std::uint32_t seed : {0u, 10356u, 15618u + 31u}) {
        BuildMutationFountains(seed, set);
        std::printf("mutations [%u] %016llx\n", seed, (unsigned long long)Fnv(set, sizeof set));
    }
    for (const Case& c : kMapCases)
        if (!PrintMapCase(c)) return 1;
    return 0;
}
