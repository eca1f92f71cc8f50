#include "plugin/catalogue.h"

#include <cstring>

#include "common/text.h"
#include "textures/external/cgi.h"
#include "textures/external/pipes.h"
#include "textures/gradient/craters.h"
#include "textures/gradient/designed_kinds.h"
#include "textures/gradient/mandelbrot.h"
#include "textures/gradient/noise.h"
#include "textures/gradient/plasma.h"
#include "textures/structured/matrix.h"
#include "textures/structured/scratch.h"
#include "textures/structured/surface.h"
#include "textures/structured/terrain.h"

namespace tsn {

namespace {

struct Place {
    const char* key;
    const char* signature;
    std::uint32_t offset;
    std::uint32_t size;
};

// Where each kind's block lives in the record, in catalogue order.
constexpr Place kPlaces[kKindCount] = {
    {"absnoise", "VANTABSN", 29300, 749},  {"cgigranite", "VANTCGGR", 28848, 72},
    {"cgijade", "VANTCGJA", 28604, 64},    {"cgisea", "VANTCGSE", 28736, 56},
    {"cgisky", "VANTCGSK", 28668, 68},     {"cgislime", "VANTCGSL", 28792, 56},
    {"cgiterrain", "VANTCGTR", 28528, 76}, {"cgiturbulence", "VANTCGTU", 28972, 76},
    {"cgiwood", "VANTCGWO", 28920, 52},    {"clouds", "VANTCLOU", 8015, 352},
    {"craters", "VANTPART", 7879, 136},    {"mandelbrot", "VANTMAND", 8367, 13077},
    {"matrix", "VANTMTRX", 22508, 104},    {"noise", "VANTPERL", 6193, 725},
    {"particle", "VANTPART", 7034, 837},   {"perturb", "VANTPERT", 21468, 1040},
    {"pipes", "VANTPIPE", 28376, 152},     {"plasma", "VANTPLAS", 6926, 108},
    {"ripples", "VANTRIPL", 29048, 68},    {"scratch", "VANTSCRA", 29116, 92},
    {"surface", "VANTSURF", 25438, 1473},  {"terrain", "VANTTERR", 22612, 2826},
    {"threads", "VANTTHRD", 29208, 92},
};

// Blocks are laid end to end (with the working slots that follow some of
// them); a wrong number here would corrupt a neighbour.
constexpr bool PlacesFitTheRecord() {
    for (const Place& p : kPlaces)
        if (p.offset < kBlocksOffset || p.offset + p.size > kBlocksEnd) return false;
    return true;
}
static_assert(PlacesFitTheRecord());
static_assert(kPlaces[13].offset + kPlaces[13].size + 8 == kPlaces[17].offset);   // Noise, slot
static_assert(kPlaces[14].offset + kPlaces[14].size + 8 == kPlaces[10].offset);   // Particle
static_assert(kPlaces[11].offset + kPlaces[11].size + 24 == kPlaces[15].offset);  // Mandelbrot
static_assert(kPlaces[0].offset + kPlaces[0].size == kBlocksEnd);

// Kinds whose generator is not built yet: their block carries its header and
// size so presets and settings files keep their place, and render answers
// with no image.
template <int I>
int HeaderOnlyReset(MasterTextureRecord* rec) {
    std::uint8_t* b = BlockAt(rec, kPlaces[I].offset);
    std::memset(b, 0, kPlaces[I].size);
    WriteHeader(b, kPlaces[I].signature, kPlaces[I].size);
    return 1;
}

template <int I>
std::int64_t SizeOnlyQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
        case kQueryConvertOut:
            return CopyTransfer(rec, kPlaces[I].size);
        case kQueryBlockSize:
        case kQueryOldBlockSize:
            return kPlaces[I].size;
        default:
            return 0;
    }
}

MemHandle NotBuiltRender(MasterTextureRecord*) {
    return 0;
}

const std::uint32_t kNoControls[] = {0};

template <int I>
constexpr TextureKind Unbuilt(const char* name) {
    return TextureKind{
        name, NotBuiltRender, HeaderOnlyReset<I>, ReleaseNothing, SizeOnlyQuery<I>, kNoControls, 0,
        0,    {0, 0, 0}};
}

std::uint32_t g_noiseControls[64];
std::uint32_t g_surfaceControls[64];
std::uint32_t g_terrainControls[64];
std::uint32_t g_plasmaControls[64];
std::uint32_t g_mandelbrotControls[64];
std::uint32_t g_cratersControls[64];

std::uint32_t g_cgiControls[kCgiMemberCount][64];
std::uint32_t g_absNoiseControls[64];
std::uint32_t g_cloudsControls[64];
std::uint32_t g_matrixControls[64];
std::uint32_t g_particleControls[64];
std::uint32_t g_perturbationControls[64];
std::uint32_t g_pipesControls[64];
std::uint32_t g_ripplesControls[64];
std::uint32_t g_scratchControls[64];
std::uint32_t g_threadsControls[64];

// A kind whose block and page are built and whose generator is not yet.
constexpr TextureKind Paged(const char* name, ResetFn reset, ReleaseFn release, QueryFn query,
                            const std::uint32_t* controls, std::uint32_t flags = 0) {
    return TextureKind{name, NotBuiltRender, reset, release, query, controls, flags, 0, {0, 0, 0}};
}

// A member of the CGI family: its block, page and query come from the
// family's shared code.
template <int M>
constexpr TextureKind Cgi(const char* name) {
    return TextureKind{name,        NotBuiltRender,   CgiReset<M>, ReleaseNothing,
                       CgiQuery<M>, g_cgiControls[M], 0,           0,
                       {0, 0, 0}};
}

const TextureKind kCatalogue[kKindCount] = {
    Paged("Absolute Noise", AbsNoiseReset, ReleaseNothing, AbsNoiseQuery, g_absNoiseControls),
    Cgi<kCgiGranite>("CGI Granite"),
    Cgi<kCgiJade>("CGI Jade"),
    Cgi<kCgiSea>("CGI Sea"),
    Cgi<kCgiSky>("CGI Sky"),
    Cgi<kCgiSlime>("CGI Slime"),
    Cgi<kCgiTerrain>("CGI Terrain"),
    Cgi<kCgiTurbulence>("CGI Turbulence"),
    Cgi<kCgiWood>("CGI Wood"),
    Paged("Clouds", CloudsReset, ReleaseNothing, CloudsQuery, g_cloudsControls),
    TextureKind{"Craters",
                CratersRender,
                CratersReset,
                ReleaseNothing,
                CratersQuery,
                g_cratersControls,
                0,
                0,
                {0, 0, 0}},
    TextureKind{"Mandelbrot",
                MandelbrotRender,
                MandelbrotReset,
                MandelbrotRelease,
                MandelbrotQuery,
                g_mandelbrotControls,
                kKindHasColourMap | kKindRepaintExtra,
                364,
                {0, 0, 0}},
    Paged("Matrix", MatrixReset, ReleaseNothing, MatrixQuery, g_matrixControls),
    TextureKind{"Noise",
                NoiseRender,
                NoiseReset,
                NoiseRelease,
                NoiseQuery,
                g_noiseControls,
                kKindHasColourMap,
                0,
                {0, 0, 0}},
    Paged("Particle", ParticleReset, ParticleRelease, ParticleQuery, g_particleControls,
          kKindHasColourMap),
    Paged("Perturbation", PerturbationReset, ReleaseNothing, PerturbationQuery,
          g_perturbationControls),
    Paged("Pipes", PipesReset, PipesRelease, PipesQuery, g_pipesControls),
    TextureKind{"Plasma",
                PlasmaRender,
                PlasmaReset,
                ReleaseNothing,
                PlasmaQuery,
                g_plasmaControls,
                0,
                0,
                {0, 0, 0}},
    Paged("Ripples", RipplesReset, ReleaseNothing, RipplesQuery, g_ripplesControls),
    Paged("Scratch", ScratchReset, ReleaseNothing, ScratchQuery, g_scratchControls),
    TextureKind{"Surface",
                SurfaceRender,
                SurfaceReset,
                SurfaceRelease,
                SurfaceQuery,
                g_surfaceControls,
                kKindHasColourMap,
                0,
                {0, 0, 0}},
    TextureKind{"Terrain",
                TerrainRender,
                TerrainReset,
                ReleaseNothing,
                TerrainQuery,
                g_terrainControls,
                0,
                0,
                {0, 0, 0}},
    // Threads answers through Scratch's query: one function for both.
    Paged("Threads", ThreadsReset, ReleaseNothing, ScratchQuery, g_threadsControls),
};

KindInfo g_info[kKindCount];

bool BuildTables() {
    for (int i = 0; i < kKindCount; ++i)
        g_info[i] = KindInfo{kPlaces[i].key,    kPlaces[i].signature,
                             kPlaces[i].offset, kPlaces[i].size,
                             nullptr,           false};
    g_info[13].page = &NoisePageTable();
    g_info[13].available = true;
    BuildControlList(NoisePageTable(), g_noiseControls, 64);
    g_info[20].page = &SurfacePageTable();
    g_info[20].available = true;
    BuildControlList(SurfacePageTable(), g_surfaceControls, 64);
    g_info[21].page = &TerrainPageTable();
    g_info[21].available = true;
    BuildControlList(TerrainPageTable(), g_terrainControls, 64);
    g_info[10].page = &CratersPageTable();
    g_info[10].available = true;
    BuildControlList(CratersPageTable(), g_cratersControls, 64);
    g_info[11].page = &MandelbrotPageTable();
    g_info[11].available = true;
    BuildControlList(MandelbrotPageTable(), g_mandelbrotControls, 64);
    g_info[17].page = &PlasmaPageTable();
    g_info[17].available = true;
    BuildControlList(PlasmaPageTable(), g_plasmaControls, 64);
    // Catalogue rows 1 .. 8 hold the CGI members in alphabetical order.
    constexpr int kCgiRows[kCgiMemberCount] = {6, 2, 4, 3, 5, 1, 8, 7};
    for (int m = 0; m < kCgiMemberCount; ++m) {
        g_info[kCgiRows[m]].page = &CgiPageTable(m);
        BuildControlList(CgiPageTable(m), g_cgiControls[m], 64);
    }
    const struct {
        int kind;
        const PageTable& page;
        std::uint32_t* controls;
    } paged[] = {
        {0, AbsNoisePageTable(), g_absNoiseControls},
        {9, CloudsPageTable(), g_cloudsControls},
        {12, MatrixPageTable(), g_matrixControls},
        {14, ParticlePageTable(), g_particleControls},
        {15, PerturbationPageTable(), g_perturbationControls},
        {16, PipesPageTable(), g_pipesControls},
        {18, RipplesPageTable(), g_ripplesControls},
        {19, ScratchPageTable(), g_scratchControls},
        {22, ThreadsPageTable(), g_threadsControls},
    };
    for (const auto& p : paged) {
        g_info[p.kind].page = &p.page;
        BuildControlList(p.page, p.controls, 64);
    }
    return true;
}
bool EnsureTables() {
    static const bool built = BuildTables();
    return built;
}

}  // namespace

int ReleaseNothing(MasterTextureRecord*) {
    return 1;
}

std::int64_t CopyTransfer(MasterTextureRecord* rec, std::uint32_t size) {
    if (rec->transferSourceSize != size || rec->transferTargetSize != size) return 0;
    if (!rec->transferSource || !rec->transferTarget) return 0;
    std::memmove(reinterpret_cast<void*>(static_cast<std::uintptr_t>(rec->transferTarget)),
                 reinterpret_cast<const void*>(static_cast<std::uintptr_t>(rec->transferSource)),
                 size);
    return 1;
}

const TextureKind& KindAt(int index) {
    EnsureTables();
    return kCatalogue[index];
}

const KindInfo& KindInfoAt(int index) {
    EnsureTables();
    return g_info[index];
}

int FindKind(const char* keyOrName) {
    for (int i = 0; i < kKindCount; ++i)
        if (EqualNoCase(keyOrName, kPlaces[i].key) || EqualNoCase(keyOrName, kCatalogue[i].name))
            return i;
    return -1;
}

int FindKindBySignature(const char* signature, const char* keyHint) {
    int found = -1;
    for (int i = 0; i < kKindCount; ++i) {
        if (std::memcmp(signature, kPlaces[i].signature, 8) != 0) continue;
        if (keyHint && EqualNoCase(keyHint, kPlaces[i].key)) return i;
        if (found < 0) found = i;
    }
    return found;
}

void ResetAllKinds(MasterTextureRecord* rec) {
    EnsureTables();
    for (int i = 0; i < kKindCount; ++i) kCatalogue[i].reset(rec);
}

void ReleaseAllKinds(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) kCatalogue[i].release(rec);
}

}  // namespace tsn
