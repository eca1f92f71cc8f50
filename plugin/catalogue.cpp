#include "plugin/catalogue.h"

#include <array>
#include <cstring>
#include <utility>

#include "common/page.h"
#include "common/text.h"
#include "textures/external/absnoise.h"
#include "textures/external/cgi.h"
#include "textures/external/pipes.h"
#include "textures/gradient/clouds.h"
#include "textures/gradient/craters.h"
#include "textures/gradient/mandelbrot.h"
#include "textures/gradient/noise.h"
#include "textures/gradient/particle.h"
#include "textures/gradient/plasma.h"
#include "textures/structured/matrix.h"
#include "textures/structured/perturbation.h"
#include "textures/structured/ripples.h"
#include "textures/structured/scratch.h"
#include "textures/structured/surface.h"
#include "textures/structured/terrain.h"

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
    ResetFn reset;
    ReleaseFn release;
    QueryFn query;
};
template <int... I>
constexpr std::array<Shared, sizeof...(I)> SharedFunctions(std::integer_sequence<int, I...>) {
    return {{Shared{SharedReset<I>, SharedRelease<I>, SharedQuery<I>}...}};
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
                                k.render ? k.render : NotBuiltRender,
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

const PageField* FieldWithRole(const PageTable& t, Role role) {
    for (int i = 0; i < t.count; ++i)
        if (t.fields[i].role == role && t.fields[i].type != FieldType::Fountain)
            return &t.fields[i];
    return nullptr;
}

const PageField* FountainField(const PageTable& t) {
    for (int i = 0; i < t.count; ++i)
        if (t.fields[i].type == FieldType::Fountain) return &t.fields[i];
    return nullptr;
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

int ResetKindBlock(const KindDescriptor& k, MasterTextureRecord* rec) {
    std::uint8_t* b = BlockAt(rec, k.blockOffset);
    std::memset(b, 0, k.blockSize);
    WriteHeader(b, k.signature, k.blockSize);
    if (!k.page) return 1;
    ApplyBlockDefaults(*k.page, b);
    for (int i = 0; i < k.page->count; ++i)
        if (k.page->fields[i].type == FieldType::Fountain) {
            FountainDefinition f;
            ResetFountain(&f);
            std::memcpy(b + k.page->fields[i].offset, &f, sizeof f);
        }
    return 1;
}

MemHandle GreyImageAt(const MasterTextureRecord* rec, std::uint32_t slot) {
    MemHandle h;
    std::memcpy(&h, reinterpret_cast<const std::uint8_t*>(rec) + slot, sizeof h);
    return h;
}

void SetGreyImageAt(MasterTextureRecord* rec, std::uint32_t slot, MemHandle grey) {
    std::memcpy(BlockAt(rec, slot), &grey, sizeof grey);
}

int ReleaseGreySlot(const KindDescriptor& k, MasterTextureRecord* rec) {
    if (k.greySlot) {
        MemFree(GreyImageAt(rec, k.greySlot));
        SetGreyImageAt(rec, k.greySlot, 0);
    }
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

std::int64_t StandardQuery(const KindDescriptor& k, MasterTextureRecord* rec, int code) {
    const bool colourMap = (k.flags & kKindHasColourMap) && k.page;
    switch (code) {
        case kQueryIndexImage:
            return k.greySlot ? std::int64_t(GreyImageAt(rec, k.greySlot)) : 0;
        case kQuerySeed: {
            const PageField* seed = k.page ? FieldWithRole(*k.page, Role::Seed) : nullptr;
            return seed ? ReadPageInteger(rec->dialog, seed->id) : 0;
        }
        case kQueryFountain:
        case kQueryFountainControl: {
            const PageField* f = colourMap ? FountainField(*k.page) : nullptr;
            if (!f) return 0;
            if (code == kQueryFountainControl) return f->id;
            return std::int64_t(
                reinterpret_cast<std::uintptr_t>(BlockAt(rec, k.blockOffset) + f->offset));
        }
        case kQueryConvertIn:
        case kQueryConvertOut:
            // Kinds with an older layout convert in their own query.
            return k.oldBlockSize && k.oldBlockSize != k.blockSize ? 0
                                                                   : CopyTransfer(rec, k.blockSize);
        case kQueryBlockSize:
            return k.blockSize;
        case kQueryOldBlockSize:
            return k.oldBlockSize ? k.oldBlockSize : k.blockSize;
        default:
            return 0;
    }
}

}  // namespace tsn
