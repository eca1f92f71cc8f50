#include "textures/structured/scratch.h"

#include <cstring>

#include "common/page.h"
#include "plugin/catalogue.h"
#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

#define SCRATCH_FIELD(f) static_cast<std::uint32_t>(offsetof(ScratchParameters, f))

// Colours and switches sit at the same places in both blocks.
#define LINE_COLOURS(bg, f1, f2, f3, f4, f5, e3, e4, e5, aa)                             \
    Colour("background", "Background", SCRATCH_FIELD(background), bg, 0x999999,          \
           "colour the lines are drawn on"),                                             \
        Colour("foreground1", "Colour 1:", SCRATCH_FIELD(foreground) + 0, f1, 0xE5E5E5,  \
               "line colour"),                                                           \
        Colour("foreground2", "Colour 2:", SCRATCH_FIELD(foreground) + 4, f2, 0x333333,  \
               "line colour"),                                                           \
        Colour("foreground3", "Colour 3:", SCRATCH_FIELD(foreground) + 8, f3, 0xE7CEB6,  \
               "line colour when enable3 is on"),                                        \
        Colour("foreground4", "Colour 4:", SCRATCH_FIELD(foreground) + 12, f4, 0x996633, \
               "line colour when enable4 is on"),                                        \
        Colour("foreground5", "Colour 5:", SCRATCH_FIELD(foreground) + 16, f5, 0x4D331A, \
               "line colour when enable5 is on"),                                        \
        Check("enable3", "Enable", FieldType::I32, SCRATCH_FIELD(enable) + 0, e3, 0,     \
              "use foreground3"),                                                        \
        Check("enable4", "Enable", FieldType::I32, SCRATCH_FIELD(enable) + 4, e4, 0,     \
              "use foreground4"),                                                        \
        Check("enable5", "Enable", FieldType::I32, SCRATCH_FIELD(enable) + 8, e5, 0,     \
              "use foreground5"),                                                        \
        Check("antialias", "Antialias", FieldType::I32, SCRATCH_FIELD(antialias), aa, 0, \
              "draw at double size and reduce")

// The page sets the lower ends of Fraction, Line size and Angle and the
// upper end of Angle: a fraction of 1 still divides, an angle of 0 turns the
// minimum jump off.
const PageField kScratchFields[] = {
    Width(SCRATCH_FIELD(width), kScratchWidthId, 800, 800),
    Depth(SCRATCH_FIELD(depth), kScratchDepthId, 600, 600),
    Seed(SCRATCH_FIELD(seed), kScratchSeedId, 12621),
    Scroll("fraction", "Fraction:", FieldType::I32, SCRATCH_FIELD(fraction), 726, 1, 30, 10, 1,
           "the largest step is the picture's size divided by this"),
    Scroll("complexity", "Complexity:", FieldType::I32, SCRATCH_FIELD(complexity), 729, 60, 300,
           256, 1, "base number of segments per scratch"),
    Scroll("iterations", "Iterations:", FieldType::I32, SCRATCH_FIELD(iterations), 732, 500, 2000,
           1000, 1, "number of scratches"),
    LINE_COLOURS(735, 736, 737, 738, 739, 740, 741, 742, 743, 744),
    Scroll("lineSize", "Line size:", FieldType::I32, SCRATCH_FIELD(lineSize), 745, 1, 6, 1, 1,
           "pen width in pixels"),
    Scroll("angle", "Angle:", FieldType::I32, SCRATCH_FIELD(angle), 748, 0, 100, 15, 1,
           "minimum jump between points, thousandths of the smaller side (0: none)"),
};

const PageField kThreadsFields[] = {
    Width(SCRATCH_FIELD(width), kThreadsWidthId, 800, 800),
    Depth(SCRATCH_FIELD(depth), kThreadsDepthId, 600, 600),
    Seed(SCRATCH_FIELD(seed), kThreadsSeedId, 12876),
    Scroll("weight", "Weight:", FieldType::I32, SCRATCH_FIELD(fraction), 763, 1, 8, 1, 1,
           "pen width in pixels"),
    Scroll("complexity", "Complexity:", FieldType::I32, SCRATCH_FIELD(complexity), 766, 60, 1000,
           256, 1, "base number of steps per thread"),
    Scroll("iterations", "Iterations:", FieldType::I32, SCRATCH_FIELD(iterations), 769, 500, 5000,
           1000, 1, "number of threads"),
    LINE_COLOURS(772, 773, 774, 775, 776, 777, 778, 779, 780, 781),
    Scroll("lineSize", "Line size:", FieldType::I32, SCRATCH_FIELD(lineSize), 782, 1, 12, 4, 1,
           "length of one step in pixels"),
    Scroll("angle", "Angle:", FieldType::I32, SCRATCH_FIELD(angle), 785, 0, 90, 30, 1,
           "extra twist of every heading, degrees"),
};
#undef LINE_COLOURS
#undef SCRATCH_FIELD

// The preset list and its add, delete and load buttons.
const std::uint32_t kScratchPresets[] = {kScratchPresetListId, 752, 753, 754, 0};
const std::uint32_t kThreadsPresets[] = {kThreadsPresetListId, 789, 790, 791, 0};

const PageTable kScratchPage = {
    kScratchFields, int(sizeof kScratchFields / sizeof kScratchFields[0]), kScratchPresets};
const PageTable kThreadsPage = {
    kThreadsFields, int(sizeof kThreadsFields / sizeof kThreadsFields[0]), kThreadsPresets};

int ResetLines(ScratchParameters* b, const char* signature, const PageTable& page) {
    std::memset(b, 0, sizeof *b);
    WriteHeader(b, signature, sizeof *b);
    ApplyBlockDefaults(page, reinterpret_cast<std::uint8_t*>(b));
    return 1;
}

}  // namespace

const PageTable& ScratchPageTable() {
    return kScratchPage;
}
const PageTable& ThreadsPageTable() {
    return kThreadsPage;
}

int ScratchReset(MasterTextureRecord* rec) {
    return ResetLines(ScratchBlock(rec), "VANTSCRA", kScratchPage);
}
int ThreadsReset(MasterTextureRecord* rec) {
    return ResetLines(ThreadsBlock(rec), "VANTTHRD", kThreadsPage);
}

std::int64_t ScratchQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQuerySeed:
            return ReadPageInteger(rec->dialog, kScratchQuerySeedId);
        default:
            return StandardQuery(kScratchKind, rec, code);
    }
}

// Threads answers through Scratch's query: one function for both.
const KindDescriptor kScratchKind = {
    .name = "Scratch",
    .key = "scratch",
    .signature = "VANTSCRA",
    .blockOffset = kScratchOffset,
    .blockSize = sizeof(ScratchParameters),
    .page = &kScratchPage,
    .reset = ScratchReset,
    .query = ScratchQuery,
    .presetList = kScratchPresetListId,
};

const KindDescriptor kThreadsKind = {
    .name = "Threads",
    .key = "threads",
    .signature = "VANTTHRD",
    .blockOffset = kThreadsOffset,
    .blockSize = sizeof(ThreadsParameters),
    .page = &kThreadsPage,
    .reset = ThreadsReset,
    .query = ScratchQuery,
    .presetList = kThreadsPresetListId,
};

}  // namespace tsn
