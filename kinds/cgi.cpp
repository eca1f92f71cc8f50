#include "kinds/cgi.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "kind/page_fields.h"
#include "noisesvc/noise_service.h"

namespace tsn {

namespace {

using namespace fields;

constexpr const char* kQualities = "Fast;Standard;Best";

template <class T>
constexpr PageField SizeField(std::uint32_t id, double min) {
    return Edit("size", "Size:", offsetof(T, imageSize), id, min, 32760, 256, 256, Role::Width,
                "side of the square picture in pixels");
}
constexpr PageField QualityField(std::uint32_t offset, std::uint32_t id, double blockDefault) {
    return List("quality", "Quality:", offset, id, kQualities, blockDefault,
                "the service's effort: 0 Fast, 1 Standard, 2 Best");
}
constexpr PageField TileableField(std::uint32_t offset, std::uint32_t id) {
    return Check("tileable", "Tileable", FieldType::U32, offset, id, 1,
                 "the picture's edges meet when it is tiled");
}
constexpr PageField OctavesField(std::uint32_t offset, std::uint32_t id) {
    return Scroll("octaves", "Octaves:", FieldType::I32, offset, id, 1, 6, 4, 1,
                  "octaves of noise summed by the service");
}
constexpr PageField PowerField(std::uint32_t offset, std::uint32_t id) {
    return Scroll("power", "Power:", FieldType::I32, offset, id, 1, 64, 32, 1,
                  "smoothness: the service is sent 64 - power octaves, at least 1");
}
constexpr PageField FrequencyField(std::uint32_t offset, std::uint32_t id, double min, double max,
                                   double blockDefault) {
    return Scroll("frequency", "Frequency:", FieldType::I32, offset, id, min, max, blockDefault, 1,
                  "in tenths: 20 sends a frequency of 2.0");
}
template <class T>
constexpr PageField ColourField(int n, std::uint32_t id, std::uint32_t blockDefault) {
    constexpr const char* names[] = {"colour1", "colour2", "colour3", "colour4",
                                     "colour5", "colour6", "colour7", "colour8"};
    constexpr const char* labels[] = {"Colour 1:", "Colour 2:", "Colour 3:", "Colour 4:",
                                      "Colour 5:", "Colour 6:", "Colour 7:", "Colour 8:"};
    return Colour(names[n - 1], labels[n - 1], offsetof(T, colours) + 4 * (n - 1), id, blockDefault,
                  "colour sent to the service, 0xBBGGRR");
}

// Terrain's colours run from deep water through sand and grass to snow.
const PageField kTerrainFields[] = {
    SizeField<CgiTerrainParameters>(515, 32),
    Seed(offsetof(CgiTerrainParameters, seed), 521, 10010),
    ColourField<CgiTerrainParameters>(1, 522, 0x800000),
    ColourField<CgiTerrainParameters>(2, 523, 0xFF0000),
    ColourField<CgiTerrainParameters>(3, 524, 0xFF8000),
    ColourField<CgiTerrainParameters>(4, 525, 0x40F0F0),
    ColourField<CgiTerrainParameters>(5, 526, 0x00A020),
    ColourField<CgiTerrainParameters>(6, 527, 0x00E0E0),
    ColourField<CgiTerrainParameters>(7, 528, 0x808080),
    ColourField<CgiTerrainParameters>(8, 529, 0xFFFFFF),
    OctavesField(offsetof(CgiTerrainParameters, octaves), 530),
    TileableField(offsetof(CgiTerrainParameters, tileable), 533),
    Check("complex", "Complex", FieldType::U32, offsetof(CgiTerrainParameters, complex), 534, 0,
          "the service's more detailed terrain"),
    QualityField(offsetof(CgiTerrainParameters, quality), 536, 1),
};

const PageField kJadeFields[] = {
    SizeField<CgiJadeParameters>(538, 64),
    Seed(offsetof(CgiJadeParameters, seed), 544, 9131),
    ColourField<CgiJadeParameters>(1, 545, 0x669218),
    ColourField<CgiJadeParameters>(2, 546, 0x739A4E),
    ColourField<CgiJadeParameters>(3, 547, 0xA5CC80),
    ColourField<CgiJadeParameters>(4, 548, 0x739A4E),
    ColourField<CgiJadeParameters>(5, 549, 0x66871D),
    OctavesField(offsetof(CgiJadeParameters, octaves), 550),
    TileableField(offsetof(CgiJadeParameters, tileable), 553),
    FrequencyField(offsetof(CgiJadeParameters, frequencyTenths), 554, 5, 100, 20),
    QualityField(offsetof(CgiJadeParameters, quality), 558, 1),
};

const PageField kSkyFields[] = {
    SizeField<CgiSkyParameters>(560, 64),
    Seed(offsetof(CgiSkyParameters, seed), 566, 12965),
    ColourField<CgiSkyParameters>(1, 567, 0xC04030),
    ColourField<CgiSkyParameters>(2, 568, 0xFFC060),
    ColourField<CgiSkyParameters>(3, 569, 0xFFFFFF),
    ColourField<CgiSkyParameters>(4, 570, 0xFFFFFF),
    ColourField<CgiSkyParameters>(5, 571, 0xFFFFFF),
    ColourField<CgiSkyParameters>(6, 572, 0xFFFFFF),
    OctavesField(offsetof(CgiSkyParameters, octaves), 573),
    TileableField(offsetof(CgiSkyParameters, tileable), 576),
    FrequencyField(offsetof(CgiSkyParameters, frequencyTenths), 577, 5, 100, 20),
    QualityField(offsetof(CgiSkyParameters, quality), 581, 1),
};

const PageField kSeaFields[] = {
    SizeField<CgiSeaParameters>(583, 64),
    Seed(offsetof(CgiSeaParameters, seed), 589, 12965),
    ColourField<CgiSeaParameters>(1, 590, 0x7A7A52),
    ColourField<CgiSeaParameters>(2, 591, 0xCCCC99),
    ColourField<CgiSeaParameters>(3, 592, 0xFFFFFF),
    PowerField(offsetof(CgiSeaParameters, power), 593),
    TileableField(offsetof(CgiSeaParameters, tileable), 596),
    FrequencyField(offsetof(CgiSeaParameters, frequencyTenths), 597, 5, 100, 20),
    QualityField(offsetof(CgiSeaParameters, quality), 601, 1),
};

const PageField kSlimeFields[] = {
    SizeField<CgiSeaParameters>(603, 64),
    Seed(offsetof(CgiSeaParameters, seed), 609, 17752),
    ColourField<CgiSeaParameters>(1, 610, 0x1B5100),
    ColourField<CgiSeaParameters>(2, 611, 0x40C040),
    ColourField<CgiSeaParameters>(3, 612, 0x80FF80),
    PowerField(offsetof(CgiSeaParameters, power), 613),
    TileableField(offsetof(CgiSeaParameters, tileable), 616),
    FrequencyField(offsetof(CgiSeaParameters, frequencyTenths), 617, 10, 60, 20),
    QualityField(offsetof(CgiSeaParameters, quality), 621, 2),
};

// The first two granite colours are black on purpose.
const PageField kGraniteFields[] = {
    SizeField<CgiGraniteParameters>(623, 64),
    Seed(offsetof(CgiGraniteParameters, seed), 629, 1186),
    ColourField<CgiGraniteParameters>(1, 630, 0x000000),
    ColourField<CgiGraniteParameters>(2, 631, 0x000000),
    ColourField<CgiGraniteParameters>(3, 632, 0xF2D8D8),
    ColourField<CgiGraniteParameters>(4, 633, 0xBFBFBF),
    ColourField<CgiGraniteParameters>(5, 634, 0x7D74D2),
    ColourField<CgiGraniteParameters>(6, 635, 0x6271D2),
    ColourField<CgiGraniteParameters>(7, 636, 0xC0B0FF),
    OctavesField(offsetof(CgiGraniteParameters, octaves), 637),
    TileableField(offsetof(CgiGraniteParameters, tileable), 640),
    FrequencyField(offsetof(CgiGraniteParameters, frequencyTenths), 641, 5, 30, 20),
    QualityField(offsetof(CgiGraniteParameters, quality), 645, 1),
};

const PageField kWoodFields[] = {
    SizeField<CgiWoodParameters>(647, 64),
    Seed(offsetof(CgiWoodParameters, seed), 653, 17752),
    ColourField<CgiWoodParameters>(1, 654, 0x045EBD),
    ColourField<CgiWoodParameters>(2, 655, 0x063090),
    ColourField<CgiWoodParameters>(3, 656, 0x080A3C),
    TileableField(offsetof(CgiWoodParameters, tileable), 659),
    FrequencyField(offsetof(CgiWoodParameters, frequencyTenths), 660, 10, 30, 10),
    QualityField(offsetof(CgiWoodParameters, quality), 664, 2),
};

// The scroll bars keep both indices at 1 or more; a stored block may hold 0.
const PageField kTurbulenceFields[] = {
    SizeField<CgiTurbulenceParameters>(667, 64),
    Seed(offsetof(CgiTurbulenceParameters, seed), 680, 17752),
    Scroll("frequency", "Frequency:", FieldType::I32,
           offsetof(CgiTurbulenceParameters, frequencyIndex), 672, 1, 4, 2, 1,
           "index into 1, 2, 4, 8, 16"),
    Scroll("power", "Power:", FieldType::I32, offsetof(CgiTurbulenceParameters, powerIndex), 675, 1,
           5, 3, 1, "index into 0.0625, 0.125, 0.25, 0.5, 1, 2"),
    ColourField<CgiTurbulenceParameters>(1, 681, 0x00A020),
    ColourField<CgiTurbulenceParameters>(2, 682, 0x00E0E0),
    ColourField<CgiTurbulenceParameters>(3, 683, 0x808080),
    ColourField<CgiTurbulenceParameters>(4, 684, 0xFFFFFF),
    TileableField(offsetof(CgiTurbulenceParameters, tileable), 678),
    QualityField(offsetof(CgiTurbulenceParameters, quality), 685, 1),
};

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kTerrainPresets[] = {516, 517, 518, 519, 0};
constexpr std::uint32_t kJadePresets[] = {539, 540, 541, 542, 0};
constexpr std::uint32_t kSkyPresets[] = {561, 562, 563, 564, 0};
constexpr std::uint32_t kSeaPresets[] = {584, 585, 586, 587, 0};
constexpr std::uint32_t kSlimePresets[] = {604, 605, 606, 607, 0};
constexpr std::uint32_t kGranitePresets[] = {624, 625, 626, 627, 0};
constexpr std::uint32_t kWoodPresets[] = {648, 649, 650, 651, 0};
constexpr std::uint32_t kTurbulencePresets[] = {668, 669, 670, 671, 0};

constexpr PageTable kPages[kCgiMemberCount] = {
    TableOf(kTerrainFields, kTerrainPresets), TableOf(kJadeFields, kJadePresets),
    TableOf(kSkyFields, kSkyPresets),         TableOf(kSeaFields, kSeaPresets),
    TableOf(kSlimeFields, kSlimePresets),     TableOf(kGraniteFields, kGranitePresets),
    TableOf(kWoodFields, kWoodPresets),       TableOf(kTurbulenceFields, kTurbulencePresets),
};

template <class B, class P>
void Head(B& to, const P& from) {
    to.size = std::uint32_t(from.imageSize);
    to.tileable = from.tileable;
    to.seed = std::uint32_t(from.seed);
    to.quality = from.quality;
    std::memcpy(to.colours, from.colours, sizeof to.colours);
    static_assert(sizeof to.colours == sizeof from.colours);
}

template <class P>
const P& As(const void* block) {
    return *static_cast<const P*>(block);
}

double Tenths(std::int32_t tenths) {
    return double(tenths) / 10.0;
}

// Sea's and slime's power runs against the octaves they send.
std::uint32_t OctavesOfPower(std::int32_t power) {
    return std::uint32_t(std::max<std::int64_t>(1, 64 - std::int64_t(power)));
}

// The request's Tileable switch, wherever its member keeps it.
void AskTileable(NoiseImageRequest* r) {
    switch (r->kind) {
        case kNoiseJade:
            r->jade.tileable = 1;
            break;
        case kNoiseWood:
            r->wood.tileable = 1;
            break;
        case kNoiseGranite:
            r->granite.tileable = 1;
            break;
        case kNoiseSky:
            r->sky.tileable = 1;
            break;
        case kNoiseSea:
            r->sea.tileable = 1;
            break;
        case kNoiseSlime:
            r->slime.tileable = 1;
            break;
        case kNoiseTerrain:
            r->terrain.tileable = 1;
            break;
        case kNoiseTurbulence:
            r->turbulence.tileable = 1;
            break;
        default:
            break;
    }
}

template <int M>
MemHandle RenderMember(MasterTextureRecord* rec, const RenderValues& values) {
    // The render step has stored the page's Size and seed into the block.
    NoiseImageRequest r;
    CgiRequestFromBlock(M, BlockAt(rec, CgiMemberKind(M).blockOffset), &r);
    NoiseImageMaps maps;
    maps.heights = values.height;
    maps.rows = values.rows;
    if (values.tileable) {
        // Asked from outside the page, the tiled picture is also moved by a
        // fraction of itself that the seed chooses, so the seam does not sit
        // where every octave's lattice starts.
        AskTileable(&r);
        const double golden = double(values.seed) * 0.6180339887498949;
        const double silver = double(values.seed) * 0.4142135623730950;
        maps.shiftX = golden - std::floor(golden);
        maps.shiftY = silver - std::floor(silver);
    }
    // The service's picture is Size x Size, which is the output size this
    // kind asks for, so it is the render's result as it comes.
    return CreateNoiseImage(&r, maps);
}

constexpr RenderFn kRenders[kCgiMemberCount] = {
    RenderMember<kCgiTerrain>, RenderMember<kCgiJade>,      RenderMember<kCgiSky>,
    RenderMember<kCgiSea>,     RenderMember<kCgiSlime>,     RenderMember<kCgiGranite>,
    RenderMember<kCgiWood>,    RenderMember<kCgiTurbulence>};

// One layout per member, and the conversions compare no signature, so a
// preset moves between members of equal size.
template <class T>
constexpr KindDescriptor Member(const char* name, const char* key, const char* signature,
                                std::uint32_t offset, int member) {
    return KindDescriptor{.name = name,
                          .key = key,
                          .signature = signature,
                          .blockOffset = offset,
                          .blockSize = sizeof(T),
                          .page = &kPages[member],
                          .render = kRenders[member],
                          .presetList = kPages[member].extraControls[0],
                          .maps = kMapsTile | kMapsHeight};
}

}  // namespace

void CgiRequestFromBlock(int member, const void* block, NoiseImageRequest* out) {
    std::memset(out, 0, sizeof *out);
    switch (member) {
        case kCgiTerrain: {
            const auto& b = As<CgiTerrainParameters>(block);
            out->kind = kNoiseTerrain;
            Head(out->terrain, b);
            out->terrain.octaves = std::uint32_t(b.octaves);
            out->terrain.complex = b.complex;
            break;
        }
        case kCgiJade: {
            const auto& b = As<CgiJadeParameters>(block);
            out->kind = kNoiseJade;
            Head(out->jade, b);
            out->jade.frequency = Tenths(b.frequencyTenths);
            out->jade.secondScale = 2.20703125;
            out->jade.octaves = std::uint32_t(b.octaves);
            break;
        }
        case kCgiSky: {
            const auto& b = As<CgiSkyParameters>(block);
            out->kind = kNoiseSky;
            Head(out->sky, b);
            out->sky.frequency = Tenths(b.frequencyTenths);
            out->sky.octaves = std::uint32_t(b.octaves);
            break;
        }
        case kCgiSea: {
            const auto& b = As<CgiSeaParameters>(block);
            out->kind = kNoiseSea;
            Head(out->sea, b);
            out->sea.frequency = Tenths(b.frequencyTenths);
            out->sea.octaves = OctavesOfPower(b.power);
            break;
        }
        case kCgiSlime: {
            const auto& b = As<CgiSlimeParameters>(block);
            out->kind = kNoiseSlime;
            Head(out->slime, b);
            out->slime.frequency = Tenths(b.frequencyTenths);
            out->slime.octaves = OctavesOfPower(b.power);
            break;
        }
        case kCgiGranite: {
            const auto& b = As<CgiGraniteParameters>(block);
            out->kind = kNoiseGranite;
            Head(out->granite, b);
            out->granite.frequency = Tenths(b.frequencyTenths);
            out->granite.octaves = std::uint32_t(b.octaves);
            break;
        }
        case kCgiWood: {
            const auto& b = As<CgiWoodParameters>(block);
            out->kind = kNoiseWood;
            Head(out->wood, b);
            out->wood.frequency = Tenths(b.frequencyTenths);
            out->wood.octaves = 1;
            break;
        }
        case kCgiTurbulence: {
            // The tables are capped from above only; the page keeps both
            // indices at 1 or more, and a damaged negative one reads as 0.
            const auto& b = As<CgiTurbulenceParameters>(block);
            out->kind = kNoiseTurbulence;
            Head(out->turbulence, b);
            out->turbulence.frequency = kTurbulenceFrequencies[std::clamp(b.frequencyIndex, 0, 4)];
            out->turbulence.power = kTurbulencePowers[std::clamp(b.powerIndex, 0, 5)];
            break;
        }
        default:
            break;
    }
}

int CgiMemberOf(const KindDescriptor& kind) {
    for (int m = 0; m < kCgiMemberCount; ++m)
        if (&CgiMemberKind(m) == &kind) return m;
    return -1;
}

const PageTable& CgiPageTable(int member) {
    return kPages[member];
}

const KindDescriptor kCgiTerrainKind =
    Member<CgiTerrainParameters>("CGI Terrain", "cgiterrain", "VANTCGTR", 28528, kCgiTerrain);
const KindDescriptor kCgiJadeKind =
    Member<CgiJadeParameters>("CGI Jade", "cgijade", "VANTCGJA", 28604, kCgiJade);
const KindDescriptor kCgiSkyKind =
    Member<CgiSkyParameters>("CGI Sky", "cgisky", "VANTCGSK", 28668, kCgiSky);
const KindDescriptor kCgiSeaKind =
    Member<CgiSeaParameters>("CGI Sea", "cgisea", "VANTCGSE", 28736, kCgiSea);
const KindDescriptor kCgiSlimeKind =
    Member<CgiSlimeParameters>("CGI Slime", "cgislime", "VANTCGSL", 28792, kCgiSlime);
const KindDescriptor kCgiGraniteKind =
    Member<CgiGraniteParameters>("CGI Granite", "cgigranite", "VANTCGGR", 28848, kCgiGranite);
const KindDescriptor kCgiWoodKind =
    Member<CgiWoodParameters>("CGI Wood", "cgiwood", "VANTCGWO", 28920, kCgiWood);
const KindDescriptor kCgiTurbulenceKind = Member<CgiTurbulenceParameters>(
    "CGI Turbulence", "cgiturbulence", "VANTCGTU", 28972, kCgiTurbulence);

const KindDescriptor& CgiMemberKind(int member) {
    static const KindDescriptor* const kinds[kCgiMemberCount] = {
        &kCgiTerrainKind, &kCgiJadeKind,    &kCgiSkyKind,  &kCgiSeaKind,
        &kCgiSlimeKind,   &kCgiGraniteKind, &kCgiWoodKind, &kCgiTurbulenceKind};
    return *kinds[member];
}

}  // namespace tsn
