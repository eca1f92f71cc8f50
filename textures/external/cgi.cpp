#include "textures/external/cgi.h"

#include <cstring>

#include "common/page.h"
#include "plugin/catalogue.h"
#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

constexpr const char* kQualities = "Fast;Standard;Best";

constexpr PageField SizeField(std::uint32_t id, double min) {
    return Edit("size", "Size:", 20, id, min, 32760, 256, 256, Role::Width,
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
constexpr PageField ColourField(int n, std::uint32_t offset, std::uint32_t id,
                                std::uint32_t blockDefault) {
    constexpr const char* names[] = {"colour1", "colour2", "colour3", "colour4",
                                     "colour5", "colour6", "colour7", "colour8"};
    constexpr const char* labels[] = {"Colour 1:", "Colour 2:", "Colour 3:", "Colour 4:",
                                      "Colour 5:", "Colour 6:", "Colour 7:", "Colour 8:"};
    return Colour(names[n - 1], labels[n - 1], offset, id, blockDefault,
                  "colour sent to the service, 0xBBGGRR");
}

// Terrain's colours run from deep water through sand and grass to snow.
const PageField kTerrainFields[] = {
    SizeField(515, 32),
    Seed(24, 521, 10010),
    ColourField(1, 28, 522, 0x800000),
    ColourField(2, 32, 523, 0xFF0000),
    ColourField(3, 36, 524, 0xFF8000),
    ColourField(4, 40, 525, 0x40F0F0),
    ColourField(5, 44, 526, 0x00A020),
    ColourField(6, 48, 527, 0x00E0E0),
    ColourField(7, 52, 528, 0x808080),
    ColourField(8, 56, 529, 0xFFFFFF),
    OctavesField(60, 530),
    TileableField(64, 533),
    Check("complex", "Complex", FieldType::U32, 68, 534, 0, "the service's more detailed terrain"),
    QualityField(72, 536, 1),
};

const PageField kJadeFields[] = {
    SizeField(538, 64),
    Seed(24, 544, 9131),
    ColourField(1, 28, 545, 0x669218),
    ColourField(2, 32, 546, 0x739A4E),
    ColourField(3, 36, 547, 0xA5CC80),
    ColourField(4, 40, 548, 0x739A4E),
    ColourField(5, 44, 549, 0x66871D),
    OctavesField(48, 550),
    TileableField(52, 553),
    FrequencyField(56, 554, 5, 100, 20),
    QualityField(60, 558, 1),
};

const PageField kSkyFields[] = {
    SizeField(560, 64),
    Seed(24, 566, 12965),
    ColourField(1, 28, 567, 0xC04030),
    ColourField(2, 32, 568, 0xFFC060),
    ColourField(3, 36, 569, 0xFFFFFF),
    ColourField(4, 40, 570, 0xFFFFFF),
    ColourField(5, 44, 571, 0xFFFFFF),
    ColourField(6, 48, 572, 0xFFFFFF),
    OctavesField(52, 573),
    TileableField(56, 576),
    FrequencyField(60, 577, 5, 100, 20),
    QualityField(64, 581, 1),
};

const PageField kSeaFields[] = {
    SizeField(583, 64),
    Seed(24, 589, 12965),
    ColourField(1, 28, 590, 0x7A7A52),
    ColourField(2, 32, 591, 0xCCCC99),
    ColourField(3, 36, 592, 0xFFFFFF),
    PowerField(40, 593),
    TileableField(44, 596),
    FrequencyField(48, 597, 5, 100, 20),
    QualityField(52, 601, 1),
};

const PageField kSlimeFields[] = {
    SizeField(603, 64),
    Seed(24, 609, 17752),
    ColourField(1, 28, 610, 0x1B5100),
    ColourField(2, 32, 611, 0x40C040),
    ColourField(3, 36, 612, 0x80FF80),
    PowerField(40, 613),
    TileableField(44, 616),
    FrequencyField(48, 617, 10, 60, 20),
    QualityField(52, 621, 2),
};

// The first two granite colours are black on purpose.
const PageField kGraniteFields[] = {
    SizeField(623, 64),
    Seed(24, 629, 1186),
    ColourField(1, 28, 630, 0x000000),
    ColourField(2, 32, 631, 0x000000),
    ColourField(3, 36, 632, 0xF2D8D8),
    ColourField(4, 40, 633, 0xBFBFBF),
    ColourField(5, 44, 634, 0x7D74D2),
    ColourField(6, 48, 635, 0x6271D2),
    ColourField(7, 52, 636, 0xC0B0FF),
    OctavesField(56, 637),
    TileableField(60, 640),
    FrequencyField(64, 641, 5, 30, 20),
    QualityField(68, 645, 1),
};

const PageField kWoodFields[] = {
    SizeField(647, 64),
    Seed(24, 653, 17752),
    ColourField(1, 28, 654, 0x045EBD),
    ColourField(2, 32, 655, 0x063090),
    ColourField(3, 36, 656, 0x080A3C),
    TileableField(40, 659),
    FrequencyField(44, 660, 10, 30, 10),
    QualityField(48, 664, 2),
};

// The scroll bars keep both indices at 1 or more; a stored block may hold 0.
const PageField kTurbulenceFields[] = {
    SizeField(667, 64),
    Seed(24, 680, 17752),
    Scroll("frequency", "Frequency:", FieldType::I32, 28, 672, 1, 4, 2, 1,
           "index into 1, 2, 4, 8, 16"),
    Scroll("power", "Power:", FieldType::I32, 32, 675, 1, 5, 3, 1,
           "index into 0.0625, 0.125, 0.25, 0.5, 1, 2"),
    ColourField(1, 36, 681, 0x00A020),
    ColourField(2, 40, 682, 0x00E0E0),
    ColourField(3, 44, 683, 0x808080),
    ColourField(4, 48, 684, 0xFFFFFF),
    TileableField(68, 678),
    QualityField(72, 685, 1),
};

// The preset list and its add, delete and load buttons.
const std::uint32_t kTerrainPresets[] = {516, 517, 518, 519, 0};
const std::uint32_t kJadePresets[] = {539, 540, 541, 542, 0};
const std::uint32_t kSkyPresets[] = {561, 562, 563, 564, 0};
const std::uint32_t kSeaPresets[] = {584, 585, 586, 587, 0};
const std::uint32_t kSlimePresets[] = {604, 605, 606, 607, 0};
const std::uint32_t kGranitePresets[] = {624, 625, 626, 627, 0};
const std::uint32_t kWoodPresets[] = {648, 649, 650, 651, 0};
const std::uint32_t kTurbulencePresets[] = {668, 669, 670, 671, 0};

template <std::size_t N>
constexpr PageTable TableOf(const PageField (&f)[N], const std::uint32_t* presets) {
    return PageTable{f, int(N), presets};
}

const PageTable kPages[kCgiMemberCount] = {
    TableOf(kTerrainFields, kTerrainPresets), TableOf(kJadeFields, kJadePresets),
    TableOf(kSkyFields, kSkyPresets),         TableOf(kSeaFields, kSeaPresets),
    TableOf(kSlimeFields, kSlimePresets),     TableOf(kGraniteFields, kGranitePresets),
    TableOf(kWoodFields, kWoodPresets),       TableOf(kTurbulenceFields, kTurbulencePresets),
};

const CgiMemberInfo kMembers[kCgiMemberCount] = {
    {"VANTCGTR", 28528, sizeof(CgiTerrainParameters), 515, 521, 516},
    {"VANTCGJA", 28604, sizeof(CgiJadeParameters), 538, 544, 539},
    {"VANTCGSK", 28668, sizeof(CgiSkyParameters), 560, 566, 561},
    {"VANTCGSE", 28736, sizeof(CgiSeaParameters), 583, 589, 584},
    {"VANTCGSL", 28792, sizeof(CgiSlimeParameters), 603, 609, 604},
    {"VANTCGGR", 28848, sizeof(CgiGraniteParameters), 623, 629, 624},
    {"VANTCGWO", 28920, sizeof(CgiWoodParameters), 647, 653, 648},
    {"VANTCGTU", 28972, sizeof(CgiTurbulenceParameters), 667, 680, 668},
};

}  // namespace

const CgiMemberInfo& CgiMemberAt(int member) {
    return kMembers[member];
}

const PageTable& CgiPageTable(int member) {
    return kPages[member];
}

int CgiResetMember(MasterTextureRecord* rec, int member) {
    const CgiMemberInfo& m = kMembers[member];
    std::uint8_t* b = BlockAt(rec, m.offset);
    std::memset(b, 0, m.size);
    WriteHeader(b, m.signature, m.size);
    ApplyBlockDefaults(kPages[member], b);
    return 1;
}

std::int64_t CgiQueryMember(MasterTextureRecord* rec, int member, int code) {
    const CgiMemberInfo& m = kMembers[member];
    switch (code) {
        case kQuerySeed:
            return ReadPageInteger(rec->dialog, m.seedId);
        case kQueryConvertIn:
        case kQueryConvertOut:
            // One layout only; the signature is not compared, so a preset
            // moves between members of equal size.
            return CopyTransfer(rec, m.size);
        case kQueryBlockSize:
        case kQueryOldBlockSize:
            return m.size;
        default:
            return 0;
    }
}

}  // namespace tsn
