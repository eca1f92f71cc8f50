#include "app/kind_list.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "core/page.h"
#include "core/text.h"
#include "kind/page_layout.h"
#include "kind/render_step.h"
#include "kinds/absnoise.h"
#include "kinds/cgi.h"
#include "kinds/clouds.h"
#include "kinds/craters.h"
#include "kinds/mandelbrot/mandelbrot.h"
#include "kinds/matrix/matrix.h"
#include "kinds/noise/noise.h"
#include "kinds/particle.h"
#include "kinds/perturbation.h"
#include "kinds/pipes/pipes.h"
#include "kinds/plasma/plasma.h"
#include "kinds/ripples.h"
#include "kinds/scratch.h"
#include "kinds/surface.h"
#include "kinds/terrain.h"

namespace tsn {

namespace {

// Texture-list order, which is also the record's kind index.
const KindDescriptor* const kKinds[kKindCount] = {
    &kAbsNoiseKind,     &kCgiGraniteKind, &kCgiJadeKind,       &kCgiSeaKind,  &kCgiSkyKind,
    &kCgiSlimeKind,     &kCgiTerrainKind, &kCgiTurbulenceKind, &kCgiWoodKind, &kCloudsKind,
    &kCratersKind,      &kMandelbrotKind, &kMatrixKind,        &kNoiseKind,   &kParticleKind,
    &kPerturbationKind, &kPipesKind,      &kPlasmaKind,        &kRipplesKind, &kScratchKind,
    &kSurfaceKind,      &kTerrainKind,    &kThreadsKind,
};

MemHandle NotBuiltRender(MasterTextureRecord*) {
    return 0;
}

// The shared behaviours, bound to one catalogue row so they fit the
// row's one-argument functions.
template <int I>
MemHandle SharedRender(MasterTextureRecord* rec) {
    return RenderTakingValues(*kKinds[I], rec);
}
template <int I>
int SharedReset(MasterTextureRecord* rec) {
    return ResetKindBlock(*kKinds[I], rec);
}
template <int I>
int SharedRelease(MasterTextureRecord* rec) {
    return ReleaseGreySlot(*kKinds[I], rec);
}
template <int I>
std::int64_t SharedQuery(MasterTextureRecord* rec, int code) {
    return StandardQuery(*kKinds[I], rec, code);
}

struct Shared {
    RowRenderFn render;
    ResetFn reset;
    ReleaseFn release;
    QueryFn query;
};
template <int... I>
constexpr std::array<Shared, sizeof...(I)> SharedFunctions(std::integer_sequence<int, I...>) {
    return {{Shared{SharedRender<I>, SharedReset<I>, SharedRelease<I>, SharedQuery<I>}...}};
}
constexpr auto kShared = SharedFunctions(std::make_integer_sequence<int, kKindCount>{});

constexpr int kControlsCap = 96;
std::uint32_t g_controls[kKindCount][kControlsCap];
TextureKind g_rows[kKindCount];

bool BuildRows() {
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = *kKinds[i];
        if (k.page) BuildControlList(*k.page, k.presetList, g_controls[i], kControlsCap);
        g_rows[i] = TextureKind{k.name,
                                k.render ? kShared[i].render : NotBuiltRender,
                                k.reset ? k.reset : kShared[i].reset,
                                k.release ? k.release : kShared[i].release,
                                k.query ? k.query : kShared[i].query,
                                g_controls[i],
                                k.flags,
                                k.extraControl,
                                {0, 0, 0}};
    }
    return true;
}
bool EnsureRows() {
    static const bool built = BuildRows();
    return built;
}

}  // namespace

const KindDescriptor& KindOf(int index) {
    return *kKinds[index];
}

const TextureKind& KindAt(int index) {
    EnsureRows();
    return g_rows[index];
}

int FindKind(const char* keyOrName) {
    for (int i = 0; i < kKindCount; ++i)
        if (EqualNoCase(keyOrName, kKinds[i]->key) || EqualNoCase(keyOrName, kKinds[i]->name))
            return i;
    return -1;
}

int FindKindBySignature(const char* signature, const char* keyHint, std::uint64_t length) {
    int found = -1;
    for (int i = 0; i < kKindCount; ++i) {
        if (std::memcmp(signature, kKinds[i]->signature, 8) != 0) continue;
        if (length != 0 && PresetSize(*kKinds[i]) != length) continue;
        if (keyHint && EqualNoCase(keyHint, kKinds[i]->key)) return i;
        if (found < 0) found = i;
    }
    return found;
}

int KindOfPresetList(std::uint32_t id) {
    for (int i = 0; i < kKindCount; ++i)
        if (id != 0 && kKinds[i]->presetList == id) return i;
    return -1;
}

void ResetAllKinds(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) KindAt(i).reset(rec);
}

void ReleaseAllKinds(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) KindAt(i).release(rec);
}

void ForgetUntrustedFountainNames(MasterTextureRecord* rec, int kind) {
    const KindDescriptor& k = KindOf(kind);
    if (!k.page) return;
    for (int i = 0; i < k.page->count; ++i) {
        const PageField& field = k.page->fields[i];
        if (field.type != FieldType::Fountain) continue;
        // Copied out and back: blocks are packed, the fountain may be unaligned.
        FountainDefinition f;
        std::uint8_t* at = BlockAt(rec, k.blockOffset) + field.offset;
        std::memcpy(&f, at, sizeof f);
        ForgetUntrustedFileName(&f);
        std::memcpy(at, &f, sizeof f);
    }
}

void ForgetAllUntrustedFountainNames(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) ForgetUntrustedFountainNames(rec, i);
    for (FountainDefinition& m : rec->mutations) ForgetUntrustedFileName(&m);
}

namespace {

std::uint32_t LowestControl(int kind) {
    const TextureKind& k = KindAt(kind);
    std::uint32_t lowest = 0xFFFFFFFFu;
    for (const std::uint32_t* id = k.controls; id && *id; ++id)
        if (*id >= 200 && *id < kUpDownOffset) lowest = std::min(lowest, *id);
    // Kinds without a page yet sort after the others, in catalogue order.
    return lowest == 0xFFFFFFFFu ? 0x80000000u + std::uint32_t(kind) : lowest;
}

}  // namespace

int PageTemplateNumber(int kind) {
    const std::uint32_t mine = LowestControl(kind);
    int rank = 1;
    for (int i = 0; i < kKindCount; ++i)
        if (LowestControl(i) < mine) ++rank;
    return rank;
}

int KindOfPageTemplate(int number) {
    for (int i = 0; i < kKindCount; ++i)
        if (PageTemplateNumber(i) == number) return i;
    return -1;
}

}  // namespace tsn
