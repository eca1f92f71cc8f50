#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "app/kind_list.h"
#include "core/detmath.h"
#include "core/image.h"
#include "core/random.h"
#include "kinds/perturbation.h"
#include "kinds/ripples.h"
#include "tests/reference/ripples_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const char* const kKinds[] = {"absnoise", "perturb", "ripples", "clouds", "particle"};

// Renders the kind at w x h from its block as it stands (a preset's values
// are used unclamped by the page).
std::vector<std::uint8_t> Render(test::Session& s, int kind, int w, int h) {
    test::Enter(s, kind, "width", std::to_string(w));
    test::Enter(s, kind, "depth", std::to_string(h));
    const MemHandle img = KindAt(kind).render(s.rec());
    std::vector<std::uint8_t> bytes = test::BlockBytes(img);
    MemFree(img);
    return bytes;
}

TEST(DesignedKinds, TheSeedChangesThePictureAndRepeatsIt) {
    for (const char* key : kKinds) {
        const int kind = FindKind(key);
        test::Session s;
        test::Enter(s, kind, "seed", "100");
        const auto a = Render(s, kind, 96, 64);
        test::Enter(s, kind, "seed", "101");
        const auto b = Render(s, kind, 96, 64);
        test::Enter(s, kind, "seed", "100");
        ASSERT_FALSE(a.empty()) << key;
        EXPECT_NE(a, b) << key;
        EXPECT_EQ(Render(s, kind, 96, 64), a) << key;
    }
}

// Every field at the ends of its range, and at values only a damaged
// preset could hold, still gives a picture of the asked size.
TEST(DesignedKinds, ExtremeAndDamagedFieldValuesStillRender) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const char* key : kKinds) {
        const int kind = FindKind(key);
        const PageTable& page = *KindOf(kind).page;
        for (int i = 0; i < page.count; ++i) {
            const PageField& f = page.fields[i];
            if (f.role != Role::Plain || f.type == FieldType::Fountain) continue;
            std::vector<double> values = {f.min, f.max};
            if (f.type == FieldType::F64) values.insert(values.end(), {1e300, -1e300, nan});
            if (f.type == FieldType::I32) values.insert(values.end(), {INT_MAX, INT_MIN});
            if (f.type == FieldType::U32) values.push_back(4294967295.0);
            for (double v : values) {
                test::Session s;
                std::uint8_t* block = BlockAt(s.rec(), KindOf(kind).blockOffset);
                SetFieldValue(f, block, v);
                const auto bytes = Render(s, kind, 70, 66);
                ASSERT_EQ(bytes.size(), 40 + ImageStride(70) * 66)
                    << key << "." << f.name << "=" << v;
            }
        }
    }
}

// The tabulated, cut-off wave trains against every train evaluated from
// its formula at every pixel.
// Perturbation's wave as written first, one phase at a time: the floor,
// then a sine tabulated over 4096 steps and read linearly, a triangle, a
// sawtooth or a square made of the sine.
double LiteralWave(std::uint32_t wave, double t) {
    const double f = t - std::floor(t);
    auto sine = [](double f) {
        auto step = [](int i) { return 0.5 - 0.5 * DetCos(6.283185307179586 * double(i) / 4096); };
        const double at = f * 4096;
        const int i = std::min(int(at), 4095);
        return step(i) + (at - double(i)) * (step(i + 1) - step(i));
    };
    switch (wave) {
        case 1:
            return 1.0 - std::fabs(2.0 * f - 1.0);
        case 2:
            return f;
        case 3:
            return std::clamp(3.0 * sine(f) - 1.0, 0.0, 1.0);
        default:
            return sine(f);
    }
}

TEST(Perturbation, WaveRowsAreTheLiteralWaveBitForBit) {
    // Whole numbers and their neighbours on both sides of 0, signed zeros,
    // phases just under 1 that round to it, and rows whose phases are too
    // far out to floor through a 32-bit integer.
    std::vector<double> phases = {0.0, -0.0, 1.0, -1.0, 0.5, -0.5, 1e-17, -1e-17, 7.0, -7.0};
    for (double p : {0.0, 1.0, -1.0, 3.0, -3.0, 1e6, -1e6})
        for (double d : {std::nextafter(p, -1e300), std::nextafter(p, 1e300)}) phases.push_back(d);
    Rng rng;
    rng.Seed(42);
    for (int i = 0; i < 3000; ++i) phases.push_back((rng.Next() / 32767.0 - 0.5) * 200.0);
    std::vector<double> far = phases;
    far.push_back(3e9);
    far.push_back(-1e12);
    for (std::uint32_t wave = 0; wave < 4; ++wave) {
        for (const std::vector<double>* row : {&phases, &far}) {
            std::vector<double> t = *row;
            PerturbationWaveRow(wave, int(t.size()), t.data());
            for (std::size_t i = 0; i < t.size(); ++i) {
                const double want = LiteralWave(wave, (*row)[i]);
                ASSERT_EQ(std::memcmp(&t[i], &want, sizeof want), 0)
                    << "wave " << wave << " at phase " << (*row)[i] << ": " << t[i] << " against "
                    << want;
            }
        }
    }
}

TEST(Ripples, AgreesWithTheLiteralPictureToWithinALevel) {
    test::Session s;
    RipplesParameters b = *RipplesBlock(s.rec());
    const struct {
        int w, h, seed, drops, wavelength, rings, relief;
    } cases[] = {{160, 120, 9973, 14, 14, 5, 100},
                 {90, 200, 4242, 40, 5, 1, 400},
                 {200, 64, 100, 3, 60, 30, 250}};
    for (const auto& c : cases) {
        b.width = c.w;
        b.depth = c.h;
        b.seed = c.seed;
        b.drops = c.drops;
        b.wavelength = c.wavelength;
        b.rings = c.rings;
        b.relief = c.relief;
        const MemHandle fast = RipplesPicture(b), lit = reference::LiteralRipples(b);
        ImageView f, l;
        ASSERT_TRUE(LockImage(fast, &f) && LockImage(lit, &l));
        int worst = 0;
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < 3 * c.w; ++x)
                worst = std::max(worst, std::abs(f.Row(y)[x] - l.Row(y)[x]));
        EXPECT_LE(worst, 1) << c.w << "x" << c.h;
        UnlockImage(&f);
        UnlockImage(&l);
        MemFree(fast);
        MemFree(lit);
    }
}

}  // namespace
}  // namespace tsn
