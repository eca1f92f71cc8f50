// `tsntxtr batch` as a user runs it: real manifests, the pictures compared
// with plain renders byte for byte, every kind of failing line reported
// with its number while the rest render, --resume and --report.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/sha256.h"
#include "tests/cli_support.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

class Batch : public test::CliTest {
  protected:
    std::string Write(const std::string& name, const std::string& text) {
        const std::string path = folder.File(name);
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    void MakeFolder(const std::string& name) {
        ASSERT_EQ(mkdir(folder.File(name).c_str(), 0755), 0);
    }
    // The plain render of `args` (render's arguments, files in the test's
    // folder) into `name`; its bytes.
    std::vector<std::uint8_t> Plain(const std::string& args, const std::string& name) {
        const test::Outcome r = Tsntxtr("render " + args + " -o '" + folder.File(name) + "'");
        EXPECT_EQ(r.code, 0) << args << ": " << r.err;
        return test::ReadAll(folder.File(name));
    }
    std::vector<std::uint8_t> Bytes(const std::string& name) {
        return test::ReadAll(folder.File(name));
    }
    ino_t Inode(const std::string& name) {
        struct stat st {};
        return stat(folder.File(name).c_str(), &st) == 0 ? st.st_ino : 0;
    }
};

// The rows of a report: line number -> fields (outputs, status, seconds,
// digests, message), read with CSV's quoting.
std::map<int, std::vector<std::string>> ReadReport(const std::string& path, std::string* header) {
    const auto bytes = test::ReadAll(path);
    const std::string text(bytes.begin(), bytes.end());
    std::vector<std::vector<std::string>> rows(1);
    std::string field;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"')
                field += text[++i];
            else if (c == '"')
                quoted = false;
            else
                field += c;
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            rows.back().push_back(field);
            field.clear();
        } else if (c == '\n') {
            rows.back().push_back(field);
            field.clear();
            rows.emplace_back();
        } else {
            field += c;
        }
    }
    rows.pop_back();
    std::map<int, std::vector<std::string>> byLine;
    if (rows.empty()) return byLine;
    *header = "";
    for (const auto& f : rows[0]) *header += (header->empty() ? "" : ",") + f;
    for (std::size_t r = 1; r < rows.size(); ++r) {
        EXPECT_EQ(rows[r].size(), 6u);
        byLine[std::stoi(rows[r][0])] =
            std::vector<std::string>(rows[r].begin() + 1, rows[r].end());
    }
    return byLine;
}

std::string Hex(const std::vector<std::uint8_t>& bytes) {
    return Sha256Hex(bytes.data(), bytes.size());
}

// Comments, blank lines, quoting, continued lines and paths taken from the
// manifest's folder, run from elsewhere: each picture is the plain render's.
TEST_F(Batch, ManifestLinesRenderAsTheirPlainRenders) {
    MakeFolder("jobs");
    MakeFolder("jobs/out");
    MakeFolder("jobs/my pictures");
    ASSERT_EQ(Tsntxtr("render noise --seed 4242 --width 80 --depth 60 -o '" +
                      folder.File("jobs/look.png") + "' --save-settings '" +
                      folder.File("jobs/look.texture") + "'")
                  .code,
              0);
    Write("jobs/renders.txt",
          "# a manifest\n"
          "\n"
          "noise --width 70 --depth 50 --seed 777 -o out/n.png   # Noise\n"
          "'CGI Sea' --set size=64 -o \"my pictures/sea.bmp\"\n"
          "terrain --tileable --width 64 --depth 72 --seed 100 \\\n"
          "    -o out/t.png --height out/t.r16 --normal out/t-n.png --normal-y down\n"
          "--from look.texture --width 90 -o out/from.png\n"
          "plasma --width 1100 --depth 1000 --seed 321 -o out/big.png\n"
          "pipes --set reduction=4 --set effect=6 -o out/pipes.png\n");
    const test::Outcome r = Tsntxtr("batch '" + folder.File("jobs/renders.txt") + "' --report '" +
                                    folder.File("report.csv") + "'");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(Bytes("jobs/out/n.png"), Plain("noise --width 70 --depth 50 --seed 777", "p1.png"));
    EXPECT_EQ(Bytes("jobs/my pictures/sea.bmp"), Plain("'CGI Sea' --set size=64", "p2.bmp"));
    ASSERT_EQ(Tsntxtr("render terrain --tileable --width 64 --depth 72 --seed 100 -o '" +
                      folder.File("p3.png") + "' --height '" + folder.File("p3.r16") +
                      "' --normal '" + folder.File("p3-n.png") + "' --normal-y down")
                  .code,
              0);
    EXPECT_EQ(Bytes("jobs/out/t.png"), Bytes("p3.png"));
    EXPECT_EQ(Bytes("jobs/out/t.r16"), Bytes("p3.r16"));
    EXPECT_EQ(Bytes("jobs/out/t-n.png"), Bytes("p3-n.png"));
    EXPECT_EQ(Bytes("jobs/out/from.png"),
              Plain("--from '" + folder.File("jobs/look.texture") + "' --width 90", "p4.png"));
    // A big picture renders alone on every core; its bytes are the same.
    EXPECT_EQ(Bytes("jobs/out/big.png"),
              Plain("plasma --width 1100 --depth 1000 --seed 321", "p5.png"));
    EXPECT_EQ(Bytes("jobs/out/pipes.png"),
              Plain("pipes --set reduction=4 --set effect=6", "p6.png"));
    EXPECT_EQ(test::TemporaryFilesIn(folder.File("jobs/out")), 0);

    std::string header;
    const auto report = ReadReport(folder.File("report.csv"), &header);
    EXPECT_EQ(header, "line,outputs,status,seconds,sha256,message");
    ASSERT_EQ(report.size(), 6u);
    const std::string jobs = folder.File("jobs/");
    const auto& terrain = report.at(5);
    EXPECT_EQ(terrain[0], jobs + "out/t.png;" + jobs + "out/t.r16;" + jobs + "out/t-n.png");
    EXPECT_EQ(terrain[1], "ok");
    EXPECT_EQ(terrain[3],
              Hex(Bytes("p3.png")) + ";" + Hex(Bytes("p3.r16")) + ";" + Hex(Bytes("p3-n.png")));
    EXPECT_EQ(report.at(4)[0], jobs + "my pictures/sea.bmp");
    for (const auto& [line, row] : report) {
        EXPECT_EQ(row[1], "ok") << line;
        EXPECT_GT(std::stod(row[2]), 0.0) << line;
        EXPECT_EQ(row[4], "") << line;
    }
}

// One worker renders line after line, every kind in turn and then again in
// the other order with other values and maps: each picture is still the one
// a separate `render` process makes.
TEST_F(Batch, OneWorkerRendersEveryKindAsSeparateProcesses) {
    MakeFolder("out");
    const std::vector<std::string> kinds = {
        "absnoise",   "cgigranite",    "cgijade",  "cgisea",  "cgisky",  "cgislime",
        "cgiterrain", "cgiturbulence", "cgiwood",  "clouds",  "craters", "mandelbrot",
        "matrix",     "noise",         "particle", "perturb", "pipes",   "plasma",
        "ripples",    "scratch",       "surface",  "terrain", "threads"};
    auto args = [](const std::string& kind, int pass) {
        std::string a = kind;
        if (kind.rfind("cgi", 0) == 0)
            a += " --set size=" + std::string(pass ? "72" : "64");
        else if (kind == "pipes")
            a += " --set reduction=4";
        else
            a += pass ? " --width 70 --depth 66" : " --width 64 --depth 64";
        if (kind != "mandelbrot" && kind != "matrix")
            a += " --seed " + std::to_string(pass ? 4321 : 777);
        if (pass && (kind == "craters" || kind == "terrain" || kind == "absnoise"))
            a += " --tileable";
        if (pass && (kind == "noise" || kind == "surface" || kind == "ripples"))
            a += " --height out/" + kind + ".r16";
        return a;
    };
    std::string manifest;
    std::vector<std::pair<std::string, std::string>> lines;  // arguments, picture
    for (int pass = 0; pass < 2; ++pass)
        for (std::size_t i = 0; i < kinds.size(); ++i) {
            const std::string& kind = pass ? kinds[kinds.size() - 1 - i] : kinds[i];
            const std::string picture =
                "out/" + kind + std::to_string(pass) + (pass ? ".bmp" : ".png");
            lines.push_back({args(kind, pass), picture});
            manifest += args(kind, pass) + " -o " + picture + "\n";
        }
    Write("m.txt", manifest);
    const test::Outcome r = Tsntxtr("batch '" + folder.File("m.txt") + "' --jobs 1");
    ASSERT_EQ(r.code, 0) << r.err;
    MakeFolder("plain");
    MakeFolder("plain/out");
    for (const auto& [arguments, picture] : lines) {
        const test::Outcome p = Tsntxtr("render " + arguments + " -o " + picture,
                                        "cd '" + folder.File("plain") + "' && ");
        ASSERT_EQ(p.code, 0) << arguments << ": " << p.err;
        EXPECT_EQ(Bytes(picture), Bytes("plain/" + picture)) << arguments;
    }
    for (const char* kind : {"noise", "surface", "ripples"}) {
        const std::string map = std::string("out/") + kind + ".r16";
        EXPECT_EQ(Bytes(map), Bytes("plain/" + map)) << map;
    }
}

// Each class of failure is reported with its line and message, the other
// lines render, and the exit code says that something failed.
TEST_F(Batch, FailingLinesAreReportedAndTheRestRender) {
    MakeFolder("out");
    Write("damaged.texture", "VANTTSTT and not much else");
    Write("m.txt",
          "noise --width 64 --depth 64 -o out/a.png\n"
          "nosuchkind -o out/b.png\n"
          "noise --set nosuchfield=3 -o out/c.png\n"
          "noise --from missing.texture -o out/d.png\n"
          "noise --from damaged.texture -o out/e.png\n"
          "noise -o 'unclosed.png\n"
          "noise --width 64 --depth 64 --bogus -o out/f.png\n"
          "plasma --width 64 --depth 64 -o out/g.png\n"
          "noise -o out/h.png; touch out/pwned\n"
          "plasma --width 64 --depth 64 -o out/a.png\n"
          "noise --width 64 --depth 64 -o out/no/such/folder/i.png\n"
          "plasma --height out/j.png --width 64 --depth 64 -o out/j2.png\n"
          "noise --width 70 --depth 64 -o out/k.png\n");
    const test::Outcome r =
        Tsntxtr("batch '" + folder.File("m.txt") + "' --report '" + folder.File("r.csv") + "'");
    EXPECT_EQ(r.code, 1) << r.err;
    const std::string m = folder.File("m.txt") + ":";
    for (const char* expected :
         {"2: unknown kind 'nosuchkind'", "3: unknown field 'nosuchfield' of Noise",
          "4: cannot open '", "5: '", "6: a quote (') is not closed", "7: ", "9: ';'",
          "10: line 1 writes '", "11: cannot write", "12: Plasma has no height field"})
        EXPECT_NE(r.err.find(m + expected), std::string::npos) << expected << "\n" << r.err;
    EXPECT_NE(r.err.find("10 of 13 lines failed"), std::string::npos) << r.err;
    EXPECT_EQ(Bytes("out/a.png"), Plain("noise --width 64 --depth 64", "pa.png"));
    EXPECT_EQ(Bytes("out/g.png"), Plain("plasma --width 64 --depth 64", "pg.png"));
    EXPECT_EQ(Bytes("out/k.png"), Plain("noise --width 70 --depth 64", "pk.png"));
    for (const char* none : {"out/b.png", "out/c.png", "out/d.png", "out/e.png", "out/f.png",
                             "out/h.png", "out/pwned", "out/j.png", "out/j2.png"})
        EXPECT_FALSE(test::FileExists(folder.File(none))) << none;
    std::string header;
    const auto report = ReadReport(folder.File("r.csv"), &header);
    ASSERT_EQ(report.size(), 13u);
    for (int line : {1, 8, 13}) EXPECT_EQ(report.at(line)[1], "ok") << line;
    for (int line = 2; line <= 12; ++line) {
        if (line == 8) continue;
        EXPECT_EQ(report.at(line)[1], "failed") << line;
        EXPECT_NE(report.at(line)[4], "") << line;
        EXPECT_EQ(report.at(line)[3], "") << line;
    }
    EXPECT_NE(report.at(2)[4].find("unknown kind 'nosuchkind'"), std::string::npos);
}

// A full disk, as a file-size limit on the whole batch: the line whose
// picture does not fit fails and leaves no file; the small ones render.
TEST_F(Batch, AFullDiskFailsItsLineAlone) {
    MakeFolder("out");
    Write("m.txt",
          "noise --width 64 --depth 64 -o out/small1.bmp\n"
          "noise --width 400 --depth 400 -o out/big.bmp\n"
          "plasma --width 64 --depth 64 -o out/small2.bmp\n");
    const test::Outcome r =
        Tsntxtr("batch '" + folder.File("m.txt") + "'", "trap '' XFSZ; ulimit -f 64; ");
    EXPECT_EQ(r.code, 1) << r.err;
    EXPECT_NE(r.err.find(folder.File("m.txt") + ":2: cannot write"), std::string::npos) << r.err;
    EXPECT_FALSE(test::FileExists(folder.File("out/big.bmp")));
    EXPECT_EQ(test::TemporaryFilesIn(folder.File("out")), 0);
    EXPECT_EQ(Bytes("out/small1.bmp"), Plain("noise --width 64 --depth 64", "p1.bmp"));
    EXPECT_EQ(Bytes("out/small2.bmp"), Plain("plasma --width 64 --depth 64", "p2.bmp"));
    // Where the limit's signal is not ignored it ends the process rendering
    // the line; the line fails and a fresh worker takes the next one.
    ASSERT_EQ(unlink(folder.File("out/small2.bmp").c_str()), 0);
    const test::Outcome killed =
        Tsntxtr("batch '" + folder.File("m.txt") + "' --jobs 1", "ulimit -f 64; ");
    EXPECT_EQ(killed.code, 1) << killed.err;
    EXPECT_NE(killed.err.find(folder.File("m.txt") + ":2: the render was stopped by signal"),
              std::string::npos)
        << killed.err;
    EXPECT_FALSE(test::FileExists(folder.File("out/big.bmp")));
    EXPECT_EQ(Bytes("out/small2.bmp"), Plain("plasma --width 64 --depth 64", "p2.bmp"));
}

TEST_F(Batch, AWrongRequestIsExitCodeTwo) {
    Write("m.txt", "noise --width 64 --depth 64 -o a.png\n");
    for (const char* shard : {"3/3", "1", "x/2", "0/0"}) {
        const test::Outcome r =
            Tsntxtr("batch '" + folder.File("m.txt") + "' --shard '" + shard + "'");
        EXPECT_EQ(r.code, 2) << shard;
        EXPECT_NE(r.err.find("--shard"), std::string::npos) << r.err;
    }
    const test::Outcome missing = Tsntxtr("batch '" + folder.File("none.txt") + "'");
    EXPECT_EQ(missing.code, 2);
    EXPECT_NE(missing.err.find("cannot read the manifest"), std::string::npos) << missing.err;
    EXPECT_FALSE(test::FileExists(folder.File("a.png")));
    // An empty manifest, or a shard with no lines, is done at once.
    Write("empty.txt", "# nothing yet\n");
    EXPECT_EQ(Tsntxtr("batch '" + folder.File("empty.txt") + "'").code, 0);
    EXPECT_EQ(Tsntxtr("batch '" + folder.File("m.txt") + "' --shard 1/2").code, 0);
    EXPECT_FALSE(test::FileExists(folder.File("a.png")));
}

// Shards share the render lines out (comments and blank lines not counted):
// together they write every file once, and the same bytes as one run.
TEST_F(Batch, ShardsTogetherDoEveryLineOnce) {
    MakeFolder("one");
    MakeFolder("sharded");
    std::string manifest = "# seven renders\n";
    for (int i = 0; i < 7; ++i)
        manifest += "noise --width 64 --depth 64 --seed " + std::to_string(100 + i) + " -o " +
                    std::to_string(i) + ".png\n" + (i % 2 ? "\n# between\n" : "");
    Write("one/m.txt", manifest);
    Write("sharded/m.txt", manifest);
    ASSERT_EQ(Tsntxtr("batch '" + folder.File("one/m.txt") + "'").code, 0);
    for (int k = 0; k < 3; ++k) {
        const std::string report = folder.File("shard" + std::to_string(k) + ".csv");
        ASSERT_EQ(Tsntxtr("batch '" + folder.File("sharded/m.txt") + "' --shard " +
                          std::to_string(k) + "/3 --report '" + report + "'")
                      .code,
                  0);
        std::string header;
        const auto rows = ReadReport(report, &header);
        EXPECT_EQ(rows.size(), k == 0 ? 3u : 2u) << k;
        // Shard k holds render lines k, k + 3, ...
        int index = 0;
        for (const auto& [line, row] : rows) {
            EXPECT_EQ(row[0], folder.File("sharded/" + std::to_string(k + 3 * index) + ".png"));
            ++index;
        }
    }
    for (int i = 0; i < 7; ++i) {
        const std::string name = std::to_string(i) + ".png";
        EXPECT_EQ(Bytes("sharded/" + name), Bytes("one/" + name)) << name;
    }
}

// --resume renders only the lines with a missing output: existing files are
// not written again, and a writer's temporary file is no finished output.
TEST_F(Batch, ResumeRendersOnlyWhatIsMissing) {
    MakeFolder("out");
    std::string manifest;
    for (int i = 0; i < 6; ++i)
        manifest += "terrain --width 64 --depth 64 --seed " + std::to_string(200 + i) + " -o out/" +
                    std::to_string(i) + ".png --height out/" + std::to_string(i) + ".r16\n";
    Write("m.txt", manifest);
    ASSERT_EQ(Tsntxtr("batch '" + folder.File("m.txt") + "'").code, 0);
    std::vector<std::vector<std::uint8_t>> first;
    for (int i = 0; i < 6; ++i) first.push_back(Bytes("out/" + std::to_string(i) + ".png"));
    // Line 2 lost its picture, line 3 its height map; line 4's picture is
    // only a writer's temporary file, as a killed render leaves it.
    ASSERT_EQ(unlink(folder.File("out/1.png").c_str()), 0);
    ASSERT_EQ(unlink(folder.File("out/2.r16").c_str()), 0);
    ASSERT_EQ(rename(folder.File("out/3.png").c_str(),
                     folder.File("out/3.png.0123456789abcdef.tmp").c_str()),
              0);
    std::map<int, ino_t> before;
    for (int i : {0, 2, 4, 5}) before[i] = Inode("out/" + std::to_string(i) + ".png");
    const test::Outcome r = Tsntxtr("batch '" + folder.File("m.txt") + "' --resume --report '" +
                                    folder.File("r.csv") + "'");
    EXPECT_EQ(r.code, 0) << r.err;
    for (int i : {0, 4, 5}) EXPECT_EQ(Inode("out/" + std::to_string(i) + ".png"), before[i]) << i;
    EXPECT_NE(Inode("out/2.png"), before[2]);  // its line was rendered again, whole
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(Bytes("out/" + std::to_string(i) + ".png"), first[i]) << i;
    std::string header;
    const auto report = ReadReport(folder.File("r.csv"), &header);
    ASSERT_EQ(report.size(), 6u);
    for (int line = 1; line <= 6; ++line) {
        const bool rendered = line == 2 || line == 3 || line == 4;
        EXPECT_EQ(report.at(line)[1], rendered ? "ok" : "skipped") << line;
        // Skipped lines still give their files' digests.
        EXPECT_EQ(report.at(line)[3].substr(0, 64), Hex(first[line - 1])) << line;
    }
}

// A run killed part way (every process of it, as when a machine is taken
// back) leaves finished files and perhaps temporary ones; --resume renders
// the rest and the whole equals one uninterrupted run.
TEST_F(Batch, ResumeAfterAKilledRun) {
    MakeFolder("killed");
    MakeFolder("whole");
    std::string manifest;
    for (int i = 0; i < 40; ++i)
        manifest += "craters --width 200 --depth 200 --seed " + std::to_string(300 + i) + " -o " +
                    std::to_string(i) + ".png\n";
    Write("killed/m.txt", manifest);
    Write("whole/m.txt", manifest);
    ASSERT_EQ(Tsntxtr("batch '" + folder.File("whole/m.txt") + "'").code, 0);
    // The batch in its own process group, killed with all its renders once
    // a few pictures exist.
    Write("kill.sh", "setsid '" + std::string(TSNTXTR_EXE) + "' batch '" +
                         folder.File("killed/m.txt") +
                         "' 2>/dev/null & pid=$!\n"
                         "for i in $(seq 500); do\n"
                         "  [ \"$(ls '" +
                         folder.File("killed") +
                         "' | grep -c '^[0-9]*.png$')\" -ge 5 ] && break\n"
                         "  sleep 0.02\n"
                         "done\n"
                         "kill -KILL -- -$pid\n"
                         "wait $pid\n"
                         "exit 0\n");
    ASSERT_EQ(std::system(("bash '" + folder.File("kill.sh") + "' 2>/dev/null").c_str()), 0);
    int done = 0;
    std::map<int, ino_t> finished;
    for (int i = 0; i < 40; ++i)
        if (test::FileExists(folder.File("killed/" + std::to_string(i) + ".png"))) {
            ++done;
            finished[i] = Inode("killed/" + std::to_string(i) + ".png");
        }
    EXPECT_GE(done, 5);
    EXPECT_LT(done, 40) << "the batch finished before it was killed; nothing was tested";
    const test::Outcome r = Tsntxtr("batch '" + folder.File("killed/m.txt") +
                                    "' --resume --report '" + folder.File("r.csv") + "'");
    EXPECT_EQ(r.code, 0) << r.err;
    std::string header;
    const auto report = ReadReport(folder.File("r.csv"), &header);
    int skipped = 0;
    for (const auto& [line, row] : report) skipped += row[1] == "skipped";
    EXPECT_EQ(skipped, done);
    for (const auto& [i, inode] : finished)
        EXPECT_EQ(Inode("killed/" + std::to_string(i) + ".png"), inode) << i;
    for (int i = 0; i < 40; ++i) {
        const std::string name = std::to_string(i) + ".png";
        EXPECT_EQ(Bytes("killed/" + name), Bytes("whole/" + name)) << name;
    }
}

}  // namespace
}  // namespace tsn
