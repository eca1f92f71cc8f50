#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/kind_list.h"
#include "app/render_request.h"
#include "core/image.h"
#include "kind/page_table.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

struct Heard {
    std::vector<std::pair<MessageKind, std::string>> said;
    MessageSink Sink() {
        return [this](MessageKind k, const std::string& m) { said.emplace_back(k, m); };
    }
};

SessionRequest Ask(const std::string& kind, std::vector<std::string> sets = {}) {
    SessionRequest r;
    r.kind = kind;
    r.sets = std::move(sets);
    return r;
}

// The picture's bytes, or empty when there is none.
std::vector<std::uint8_t> Rendered(const SessionRequest& r, const MapRequest& maps = {}) {
    Heard heard;
    RequestedSession p(r, heard.Sink());
    if (p.kind < 0) return {};
    const MemHandle image = p.Render(maps);
    std::vector<std::uint8_t> bytes = test::BlockBytes(image);
    MemFree(image);
    return bytes;
}

TEST(RenderRequest, RefusalsReachTheSinkWithTheCommandsExitCodes) {
    test::TempFolder folder;
    const struct {
        SessionRequest r;
        int code;
        const char* starts;
    } cases[] = {
        {Ask("nosuch"), 2, "unknown kind 'nosuch'; the kinds are: absnoise, cgigranite,"},
        {Ask(""), 2, "name a kind to render; the kinds are: absnoise,"},
        {Ask("noise", {"nosuch=1"}), 2, "unknown field 'nosuch' of Noise; the fields are: width,"},
        {Ask("noise", {"layers"}), 2, "--set takes FIELD=VALUE, not 'layers'"},
        {Ask("noise", {"layers=abc"}), 2, "'abc' is not a value for layers"},
        {Ask("noise", {"layers=3", "fountain=1"}), 2, "unknown field 'fountain' of Noise"},
        {[] {
             SessionRequest r = Ask("noise");
             r.preset = "Nothing";
             return r;
         }(),
         2, "Noise has no preset 'Nothing'"},
        {[] {
             SessionRequest r;
             r.from = "/no/such/file.texture";
             return r;
         }(),
         1, "cannot open '/no/such/file.texture': "},
        {[] {
             SessionRequest r = Ask("matrix");
             r.seed = 100;
             return r;
         }(),
         2, "Matrix has no random seed"},
    };
    for (const auto& c : cases) {
        Heard heard;
        RequestedSession p(c.r, heard.Sink());
        EXPECT_EQ(p.kind, -1) << c.starts;
        EXPECT_EQ(p.code, c.code) << c.starts;
        ASSERT_EQ(heard.said.size(), 1u) << c.starts;
        EXPECT_EQ(heard.said[0].first, MessageKind::Error);
        EXPECT_EQ(heard.said[0].second.rfind(c.starts, 0), 0u) << heard.said[0].second;
    }
}

TEST(RenderRequest, ClampsAreNotesAndTheRenderGoesAhead) {
    test::TempFolder folder;
    Heard heard;
    SessionRequest r = Ask("noise", {"layers=99", "scale=6.04"});
    r.width = 3;
    r.depth = 70;
    RequestedSession p(r, heard.Sink());
    ASSERT_EQ(p.kind, FindKind("noise"));
    EXPECT_TRUE(heard.said.empty());
    const MemHandle image = p.Render();
    ImageView v;
    ASSERT_TRUE(LockImage(image, &v));
    EXPECT_EQ(v.width, 64);
    EXPECT_EQ(v.depth, 70);
    UnlockImage(&v);
    MemFree(image);
    const std::vector<std::pair<MessageKind, std::string>> expected = {
        {MessageKind::Note, "width 3 is outside 64 .. 32760 or between its steps; used 64"},
        {MessageKind::Note, "layers 99 is outside 2 .. 7 or between its steps; used 7"},
        {MessageKind::Note, "scale 6.04 is outside 6 .. 128 or between its steps; used 6"}};
    EXPECT_EQ(heard.said, expected);
}

TEST(RenderRequest, AMatrixTileThatIsNotThereIsNoShortageOfMemory) {
    test::TempFolder folder;
    Heard heard;
    RequestedSession p(Ask("matrix", {"selection=5"}), heard.Sink());
    ASSERT_GE(p.kind, 0);
    EXPECT_EQ(RenderSelectedKind(p.s.rec), 0u);
    EXPECT_EQ(p.ReportFailure(), RenderFailure::NoSuchTile);
    ASSERT_FALSE(heard.said.empty());
    EXPECT_EQ(heard.said.back().second.rfind("the matrix library holds no tile 5 (it holds ", 0),
              0u);
}

TEST(RenderRequest, MapsAKindDoesNotOfferAreRefused) {
    Heard heard;
    EXPECT_TRUE(KindOffersMaps(KindOf(FindKind("craters")), true, true, heard.Sink()));
    EXPECT_FALSE(KindOffersMaps(KindOf(FindKind("mandelbrot")), true, false, heard.Sink()));
    EXPECT_FALSE(KindOffersMaps(KindOf(FindKind("plasma")), false, true, heard.Sink()));
    ASSERT_EQ(heard.said.size(), 2u);
    EXPECT_EQ(heard.said[0].second.rfind("Mandelbrot cannot be made tileable", 0), 0u);
    EXPECT_EQ(heard.said[1].second.rfind("Plasma has no height field", 0), 0u);
}

// Sessions on four threads at once (as the Python module's callers run
// them) make exactly what they make one at a time: every kind that keeps
// something between renders, Pipes in both styles side by side.
TEST(RenderRequest, FourThreadsRenderWhatOneAtATimeRenders) {
    test::TempFolder folder;
    std::vector<SessionRequest> asks = {
        Ask("pipes", {"reduction=4", "style=0"}),
        Ask("pipes", {"reduction=4", "style=1", "effect=7"}),
        Ask("noise", {"width=200", "depth=120"}),
        Ask("mandelbrot", {"width=160", "depth=120"}),
        Ask("cgigranite", {"size=96"}),
        Ask("particle", {"width=160", "depth=120"}),
        Ask("craters", {"width=128", "depth=96"}),
        Ask("matrix", {"width=100", "depth=80"}),
        Ask("surface", {"width=128", "depth=64"}),
        Ask("terrain", {"width=128", "depth=96"}),
    };
    std::vector<std::vector<std::uint8_t>> alone;
    for (const SessionRequest& r : asks) {
        alone.push_back(Rendered(r));
        ASSERT_FALSE(alone.back().empty()) << r.kind;
    }
    // Each thread takes every fourth job; Pipes' two styles come often.
    std::vector<int> jobs;
    for (int round = 0; round < 2; ++round)
        for (int i = 0; i < int(asks.size()); ++i) jobs.push_back(i);
    for (int i = 0; i < 12; ++i) jobs.push_back(i % 2);
    std::vector<std::vector<std::uint8_t>> got(jobs.size());
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (std::size_t j = std::size_t(t); j < jobs.size(); j += 4)
                got[j] = Rendered(asks[std::size_t(jobs[j])]);
        });
    for (std::thread& t : threads) t.join();
    for (std::size_t j = 0; j < jobs.size(); ++j)
        EXPECT_TRUE(got[j] == alone[std::size_t(jobs[j])]) << asks[std::size_t(jobs[j])].kind;
}

}  // namespace
}  // namespace tsn
