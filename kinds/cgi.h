// The eight "CGI" kinds (Terrain, Jade, Sky, Sea, Slime, Granite, Wood,
// Turbulence). Each is a small block of settings that a generator turns into
// one request to the external noise image service; the blocks share their
// head, their reset and their query, and differ in their fields and pages.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"
#include "noisesvc/noise_request.h"

namespace tsn {

#pragma pack(push, 1)
// Every member's block opens with this head; `imageSize` is the side of the
// square picture the service makes.
#define TSN_CGI_HEAD        \
    char signature[8];      \
    std::uint32_t version;  \
    std::uint32_t size;     \
    std::uint32_t reserved; \
    std::int32_t imageSize; \
    std::int32_t seed

struct CgiTerrainParameters {  // "VANTCGTR"
    TSN_CGI_HEAD;
    std::uint32_t colours[8];
    std::int32_t octaves;
    std::uint32_t tileable;
    std::uint32_t complex;
    std::uint32_t quality;  // 0 fast, 1 standard, 2 best
};

struct CgiJadeParameters {  // "VANTCGJA"
    TSN_CGI_HEAD;
    std::uint32_t colours[5];
    std::int32_t octaves;
    std::uint32_t tileable;
    std::int32_t frequencyTenths;
    std::uint32_t quality;
};

struct CgiSkyParameters {  // "VANTCGSK"
    TSN_CGI_HEAD;
    std::uint32_t colours[6];
    std::int32_t octaves;
    std::uint32_t tileable;
    std::int32_t frequencyTenths;
    std::uint32_t quality;
};

// Sea and Slime share one layout; their power runs against the octave count
// the service is sent.
struct CgiSeaParameters {  // "VANTCGSE", and "VANTCGSL" for Slime
    TSN_CGI_HEAD;
    std::uint32_t colours[3];
    std::int32_t power;
    std::uint32_t tileable;
    std::int32_t frequencyTenths;
    std::uint32_t quality;
};
using CgiSlimeParameters = CgiSeaParameters;

struct CgiGraniteParameters {  // "VANTCGGR"
    TSN_CGI_HEAD;
    std::uint32_t colours[7];
    std::int32_t octaves;
    std::uint32_t tileable;
    std::int32_t frequencyTenths;
    std::uint32_t quality;
};

struct CgiWoodParameters {  // "VANTCGWO"; wood always sends one octave
    TSN_CGI_HEAD;
    std::uint32_t colours[3];
    std::uint32_t tileable;
    std::int32_t frequencyTenths;
    std::uint32_t quality;
};

struct CgiTurbulenceParameters {  // "VANTCGTU"
    TSN_CGI_HEAD;
    std::int32_t frequencyIndex;  // into kTurbulenceFrequencies, capped at 4
    std::int32_t powerIndex;      // into kTurbulencePowers, capped at 5
    std::uint32_t colours[4];
    std::uint32_t zero[4];
    std::uint32_t tileable;
    std::uint32_t quality;
};
#undef TSN_CGI_HEAD
#pragma pack(pop)

#define TSN_CGI_HEAD_AT(T)                       \
    static_assert(offsetof(T, version) == 8);    \
    static_assert(offsetof(T, size) == 12);      \
    static_assert(offsetof(T, reserved) == 16);  \
    static_assert(offsetof(T, imageSize) == 20); \
    static_assert(offsetof(T, seed) == 24)
TSN_CGI_HEAD_AT(CgiTerrainParameters);
TSN_CGI_HEAD_AT(CgiJadeParameters);
TSN_CGI_HEAD_AT(CgiSkyParameters);
TSN_CGI_HEAD_AT(CgiSeaParameters);
TSN_CGI_HEAD_AT(CgiGraniteParameters);
TSN_CGI_HEAD_AT(CgiWoodParameters);
TSN_CGI_HEAD_AT(CgiTurbulenceParameters);
#undef TSN_CGI_HEAD_AT

static_assert(sizeof(CgiTerrainParameters) == 76);
static_assert(offsetof(CgiTerrainParameters, colours) == 28);
static_assert(offsetof(CgiTerrainParameters, octaves) == 60);
static_assert(offsetof(CgiTerrainParameters, tileable) == 64);
static_assert(offsetof(CgiTerrainParameters, complex) == 68);
static_assert(offsetof(CgiTerrainParameters, quality) == 72);

static_assert(sizeof(CgiJadeParameters) == 64);
static_assert(offsetof(CgiJadeParameters, colours) == 28);
static_assert(offsetof(CgiJadeParameters, octaves) == 48);
static_assert(offsetof(CgiJadeParameters, tileable) == 52);
static_assert(offsetof(CgiJadeParameters, frequencyTenths) == 56);
static_assert(offsetof(CgiJadeParameters, quality) == 60);

static_assert(sizeof(CgiSkyParameters) == 68);
static_assert(offsetof(CgiSkyParameters, colours) == 28);
static_assert(offsetof(CgiSkyParameters, octaves) == 52);
static_assert(offsetof(CgiSkyParameters, tileable) == 56);
static_assert(offsetof(CgiSkyParameters, frequencyTenths) == 60);
static_assert(offsetof(CgiSkyParameters, quality) == 64);

static_assert(sizeof(CgiSeaParameters) == 56);
static_assert(offsetof(CgiSeaParameters, colours) == 28);
static_assert(offsetof(CgiSeaParameters, power) == 40);
static_assert(offsetof(CgiSeaParameters, tileable) == 44);
static_assert(offsetof(CgiSeaParameters, frequencyTenths) == 48);
static_assert(offsetof(CgiSeaParameters, quality) == 52);

static_assert(sizeof(CgiGraniteParameters) == 72);
static_assert(offsetof(CgiGraniteParameters, colours) == 28);
static_assert(offsetof(CgiGraniteParameters, octaves) == 56);
static_assert(offsetof(CgiGraniteParameters, tileable) == 60);
static_assert(offsetof(CgiGraniteParameters, frequencyTenths) == 64);
static_assert(offsetof(CgiGraniteParameters, quality) == 68);

static_assert(sizeof(CgiWoodParameters) == 52);
static_assert(offsetof(CgiWoodParameters, colours) == 28);
static_assert(offsetof(CgiWoodParameters, tileable) == 40);
static_assert(offsetof(CgiWoodParameters, frequencyTenths) == 44);
static_assert(offsetof(CgiWoodParameters, quality) == 48);

static_assert(sizeof(CgiTurbulenceParameters) == 76);
static_assert(offsetof(CgiTurbulenceParameters, frequencyIndex) == 28);
static_assert(offsetof(CgiTurbulenceParameters, powerIndex) == 32);
static_assert(offsetof(CgiTurbulenceParameters, colours) == 36);
static_assert(offsetof(CgiTurbulenceParameters, zero) == 52);
static_assert(offsetof(CgiTurbulenceParameters, tileable) == 68);
static_assert(offsetof(CgiTurbulenceParameters, quality) == 72);

constexpr double kTurbulenceFrequencies[5] = {1.0, 2.0, 4.0, 8.0, 16.0};
constexpr double kTurbulencePowers[6] = {0.0625, 0.125, 0.25, 0.5, 1.0, 2.0};

// The members, in the order of their page templates.
enum CgiMember : int {
    kCgiTerrain,
    kCgiJade,
    kCgiSky,
    kCgiSea,
    kCgiSlime,
    kCgiGranite,
    kCgiWood,
    kCgiTurbulence,
    kCgiMemberCount
};

const PageTable& CgiPageTable(int member);
// The catalogue's descriptor of a member (CgiMember order).
const KindDescriptor& CgiMemberKind(int member);

// The member of a catalogue kind, or -1 for a kind outside the family.
int CgiMemberOf(const KindDescriptor& kind);

// The request a member's block makes, its Size and seed as they stand:
// all 432 bytes zero but the kind and the member's own sub-block.
void CgiRequestFromBlock(int member, const void* block, NoiseImageRequest* out);

extern const KindDescriptor kCgiTerrainKind;
extern const KindDescriptor kCgiJadeKind;
extern const KindDescriptor kCgiSkyKind;
extern const KindDescriptor kCgiSeaKind;
extern const KindDescriptor kCgiSlimeKind;
extern const KindDescriptor kCgiGraniteKind;
extern const KindDescriptor kCgiWoodKind;
extern const KindDescriptor kCgiTurbulenceKind;

}  // namespace tsn
