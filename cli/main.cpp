// tsntxtr: renders the plug-in's textures from the command line.
#include <CLI/CLI.hpp>

#include <iostream>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "cli/batch.h"
#include "cli/commands.h"
#include "cli/render_options.h"
#include "cli/sheet.h"

namespace {

using tsn::cli::RenderRequest;

// Every option's value and every sub-command, filled in by CLI11.
struct Options {
    RenderRequest req;
    tsn::cli::BatchRequest batch;
    CLI::App* batchCommand = nullptr;
    tsn::cli::SheetRequest sheet;
    std::string describeKind, describeOutput;
    bool describeHtml = false, listMarkdown = false;
    std::string savePreset, deletePreset;
    std::string fountainOutput;
    int fountainEntry = 0, stripWidth = 256, stripHeight = 32;
    std::string colourName, colourValue;
    std::string matrixAction, matrixArgument, matrixLibrary;
    CLI::App *describe = nullptr, *render = nullptr, *mutations = nullptr, *request = nullptr;
    CLI::App* sheetCommand = nullptr;
    CLI::App *presets = nullptr, *fountains = nullptr, *colours = nullptr, *matrix = nullptr;
    CLI::App *fountainsList = nullptr, *fountainsShow = nullptr, *fountainsAdd = nullptr;
    CLI::App *coloursList = nullptr, *coloursAdd = nullptr;
};

// The options every command that starts a session takes.
void AddCommon(CLI::App* sub, RenderRequest& req) {
    tsn::cli::AddSessionOptions(sub, req);
}

// sheet: a captioned grid of small renders, one per seed or field value.
void AddSheet(CLI::App& app, Options& o) {
    CLI::App* sub = app.add_subcommand(
        "sheet", "Draw a grid of small renders, one per seed or per value of one field");
    o.sheetCommand = sub;
    AddCommon(sub, o.req);
    sub->get_option("--width")->description("cell width in pixels (default: --cell)");
    sub->get_option("--depth")->description("cell height in pixels (default: --cell)");
    sub->add_option("-o,--output", o.req.output, "output file, .png or .bmp; - for standard output")
        ->required();
    tsn::cli::AddOutputFormat(sub, o.req);
    auto* seeds = sub->add_option("--seeds", o.sheet.seeds,
                                  "one cell per seed: 100-115, or 100,250,400, or both mixed");
    auto* vary = sub->add_option("--vary", o.sheet.vary,
                                 "one cell per value of a field: FIELD=FROM..TO, evenly spaced");
    seeds->excludes(vary);
    seeds->excludes("--seed");
    sub->add_option("--count", o.sheet.count,
                    "with --vary: how many values (default: each the range holds, at most 16)")
        ->needs(vary)
        ->each([&o](const std::string&) { o.sheet.hasCount = true; });
    sub->add_option("--cell", o.sheet.cellSide,
                    "side of a square cell in pixels (128); the Size of a CGI kind")
        ->check(CLI::Range(1, 32760));
    sub->add_option("--columns", o.sheet.columns, "cells across (default: about square)")
        ->check(CLI::Range(1, tsn::cli::kMostSheetCells));
    sub->add_option("--png-level", o.req.pngLevel, "PNG compression, 0 .. 9")
        ->check(CLI::Range(0, 9));
}

// list, describe, render, mutations and request: the kinds themselves.
void AddKindCommands(CLI::App& app, Options& o) {
    app.add_subcommand("list", "List the 23 kinds in catalogue order and which of them render")
        ->add_flag("--markdown", o.listMarkdown, "a table of the kinds and what each draws");

    o.describe = app.add_subcommand("describe", "Show a kind's parameters: type, range, default");
    o.describe->add_option("KIND", o.describeKind, "kind key or display name")->required();
    o.describe->add_flag("--html", o.describeHtml, "write the kind's help page (HTML) instead");
    o.describe->add_option("-o,--output", o.describeOutput, "with --html: write it to this file")
        ->needs("--html");

    o.render = app.add_subcommand("render", "Render a kind to a PNG or BMP file");
    tsn::cli::AddRenderOptions(o.render, o.req);
    o.batchCommand = tsn::cli::AddBatchCommand(app, o.batch);
    AddSheet(app, o);
    o.mutations = app.add_subcommand("mutations",
                                     "Show the nine mutation colour maps on a kind's grey image");
    AddCommon(o.mutations, o.req);
    o.mutations
        ->add_option("-o,--output", o.req.output,
                     "output file, .png or .bmp; - for standard output")
        ->required();
    tsn::cli::AddOutputFormat(o.mutations, o.req);
    o.mutations->add_option("--generation", o.req.generation, "mutation generation, 0 .. 31")
        ->check(CLI::Range(0, 31));

    o.request = app.add_subcommand(
        "request", "Write the 432-byte request a CGI kind sends to its noise service");
    AddCommon(o.request, o.req);
    o.request->add_option("-o,--output", o.req.output, "output file")->required();
}

// presets, fountains, colours and matrix: the user's files.
void AddFileCommands(CLI::App& app, Options& o) {
    o.presets = app.add_subcommand(
        "presets", "List a kind's named presets, or save or delete one (shared with the plug-in)");
    AddCommon(o.presets, o.req);
    auto* saveOption = o.presets->add_option("--save", o.savePreset,
                                             "store the parameters (defaults, --from, --set) "
                                             "under this name");
    o.presets->add_option("--delete", o.deletePreset, "delete the preset of this name")
        ->excludes(saveOption);

    o.fountains = app.add_subcommand(
        "fountains", "The fountain library of colour maps (shared with the plug-in)");
    o.fountains->require_subcommand(1);
    o.fountainsList = o.fountains->add_subcommand("list", "List the stored colour maps");
    o.fountainsShow =
        o.fountains->add_subcommand("show", "Draw colour map N as a strip (PNG or BMP)");
    o.fountainsShow->add_option("N", o.fountainEntry, "entry number, from 1")->required();
    o.fountainsShow->add_option("-o,--output", o.fountainOutput, "output file, .png or .bmp")
        ->required();
    o.fountainsShow->add_option("--width", o.stripWidth, "strip width (256)");
    o.fountainsShow->add_option("--depth", o.stripHeight, "strip height (32)");
    auto* fountainsDelete = o.fountains->add_subcommand("delete", "Delete colour map N");
    fountainsDelete->add_option("N", o.fountainEntry, "entry number, from 1")->required();
    o.fountainsAdd = o.fountains->add_subcommand(
        "add", "Append a kind's colour map (after --from, --preset, --set) to the library");
    AddCommon(o.fountainsAdd, o.req);

    o.colours = app.add_subcommand(
        "colours", "The colour database of named colours (shared with the plug-in)");
    o.colours->require_subcommand(1);
    o.coloursList = o.colours->add_subcommand("list", "List the named colours as 0xBBGGRR");
    o.coloursAdd = o.colours->add_subcommand("add", "Add a named colour");
    o.coloursAdd->add_option("NAME", o.colourName, "the colour's name")->required();
    o.coloursAdd->add_option("COLOUR", o.colourValue, "0xBBGGRR: blue, green, red")->required();
    auto* coloursDelete = o.colours->add_subcommand("delete", "Delete the colours of a name");
    coloursDelete->add_option("NAME", o.colourName, "the colour's name")->required();

    o.matrix = app.add_subcommand(
        "matrix",
        "Manage a matrix library: list, add FILE.png|FILE.bmp, delete N, use NAME, "
        "integral on|off");
    o.matrix->add_option("ACTION", o.matrixAction, "list, add, delete, use or integral")
        ->required();
    o.matrix->add_option("ARGUMENT", o.matrixArgument,
                         "image file, tile number, library name, on|off");
    o.matrix->add_option("--library", o.matrixLibrary,
                         "the library to work on (default: the current one)");
}

void AddExamples(CLI::App& app) {
    app.footer(
        "Examples:\n"
        "  tsntxtr list\n"
        "  tsntxtr describe noise\n"
        "  tsntxtr render noise -o noise.png\n"
        "  tsntxtr render noise --seed 777 --width 1920 --depth 1080 -o wallpaper.png\n"
        "  tsntxtr render noise --set sum=0 --set xScale=12.5 -o plain.bmp\n"
        "  tsntxtr render --from texture.texture -o last-session.png\n"
        "  tsntxtr batch renders.txt --shard 0/4 --resume --report shard0.csv\n"
        "  tsntxtr mutations noise --generation 3 -o grid.png\n"
        "  tsntxtr sheet plasma --seeds 100-115 --cell 120 -o seeds.png\n"
        "  tsntxtr sheet noise --vary xScale=6..60 --count 8 -o scales.png\n"
        "  tsntxtr render noise --set layers=7 -o soft.png --save-preset Soft\n"
        "  tsntxtr presets noise\n"
        "  tsntxtr request cgiterrain --set octaves=6 -o terrain.bin\n"
        "  tsntxtr render noise --preset Soft -o again.png\n"
        "  tsntxtr describe noise --html -o noise.html\n"
        "  tsntxtr fountains list\n"
        "  tsntxtr fountains show 2 -o map.png\n"
        "  tsntxtr fountains add noise --preset Soft\n"
        "  tsntxtr render noise --fountain-library 2 -o noise.png\n"
        "  tsntxtr colours add \"Sky blue\" 0xEBCE87\n"
        "  tsntxtr matrix add brick.png\n"
        "  tsntxtr render matrix --set selection=1 -o wall.png");
}

// Runs the parsed command; its exit code.
int Run(CLI::App& app, Options& o) {
    tsn::cli::ReadConfiguration();
    if (app.got_subcommand(o.matrix))
        return tsn::cli::Matrix(o.matrixAction, o.matrixArgument, o.matrixLibrary);
    if (app.got_subcommand("list")) return tsn::cli::ListKinds(o.listMarkdown);
    if (app.got_subcommand(o.describe))
        return tsn::cli::DescribeKind(o.describeKind, o.describeHtml, o.describeOutput);
    if (app.got_subcommand(o.render)) return tsn::cli::Render(o.req);
    if (app.got_subcommand(o.batchCommand)) return tsn::cli::Batch(o.batch);
    if (app.got_subcommand(o.mutations)) return tsn::cli::Mutations(o.req);
    if (app.got_subcommand(o.sheetCommand)) {
        o.sheet.cell = o.req;
        return tsn::cli::Sheet(o.sheet);
    }
    if (app.got_subcommand(o.request)) return tsn::cli::Request(o.req);
    if (app.got_subcommand(o.presets))
        return tsn::cli::Presets(o.req, o.savePreset, o.deletePreset);
    if (app.got_subcommand(o.fountains)) {
        if (o.fountains->got_subcommand(o.fountainsAdd)) return tsn::cli::AddFountain(o.req);
        const char* action = o.fountains->got_subcommand(o.fountainsList)   ? "list"
                             : o.fountains->got_subcommand(o.fountainsShow) ? "show"
                                                                            : "delete";
        return tsn::cli::Fountains(action, o.fountainEntry, o.fountainOutput, o.stripWidth,
                                   o.stripHeight);
    }
    if (app.got_subcommand(o.colours)) {
        const char* action = o.colours->got_subcommand(o.coloursList)  ? "list"
                             : o.colours->got_subcommand(o.coloursAdd) ? "add"
                                                                       : "delete";
        return tsn::cli::Colours(action, o.colourName, o.colourValue);
    }
    return 2;
}

}  // namespace

namespace {

// The renders' working rows are allocated and freed a band at a time on
// every core. By default the C library hands freed memory back to the
// kernel at once and faults it in again for the next band; on a virtual
// machine each round trip costs a flush of every core's address cache. A
// short-lived command keeps what it has freed instead.
void KeepFreedMemory() {
#if defined(__GLIBC__)
    constexpr int kKeep = 256 << 20;
    mallopt(M_TRIM_THRESHOLD, kKeep);
    mallopt(M_MMAP_THRESHOLD, kKeep);
#endif
}

}  // namespace

int main(int argc, char** argv) {
    KeepFreedMemory();
    // Named, so that usage lines say "tsntxtr" however it was started.
    CLI::App app{
        "tsntxtr: textures and fractals, rendered headlessly to PNG or BMP.\n"
        "The same parameters and seed give the same pixels as the plug-in.",
        "tsntxtr"};
    // The first line as help2man and other tools expect: name and version.
    app.set_version_flag(
        "--version", std::string("tsntxtr ") + TSN_VERSION +
                         "\nThe same pixels as the Tessarine 16 texture plug-in (interface 1.1).");
    app.require_subcommand(1);
    Options o;
    AddKindCommands(app, o);
    AddFileCommands(app, o);
    AddExamples(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return 2;
    }
    return Run(app, o);
}
