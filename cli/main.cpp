// tsntxtr: renders the plug-in's textures from the command line.
#include <CLI/CLI.hpp>

#include <iostream>

#include "cli/commands.h"

int main(int argc, char** argv) {
    using tsn::cli::RenderRequest;
    CLI::App app{
        "tsntxtr: textures and fractals, rendered headlessly to PNG or BMP.\n"
        "The same parameters and seed give the same pixels as the plug-in."};
    app.set_version_flag("--version",
                         std::string("tsntxtr ") + TSN_VERSION + " (plug-in interface 1.1)");
    app.require_subcommand(1);

    app.add_subcommand("list", "List the 23 kinds in catalogue order and which of them render");

    auto* describe =
        app.add_subcommand("describe", "Show a kind's parameters: type, range, default");
    std::string describeKind;
    describe->add_option("KIND", describeKind, "kind key or display name")->required();
    bool describeHtml = false;
    std::string describeOutput;
    describe->add_flag("--html", describeHtml, "write the kind's help page (HTML) instead");
    describe->add_option("-o,--output", describeOutput, "with --html: write it to this file")
        ->needs("--html");

    RenderRequest req;
    auto addCommon = [&req](CLI::App* sub) {
        sub->add_option("KIND", req.kind, "kind key (noise, plasma, ...) or display name");
        sub->add_option("--width", req.width, "picture width in pixels");
        sub->add_option("--depth", req.depth, "picture height in pixels");
        sub->add_option("--seed", req.seed, "random seed of the picture")
            ->each([&req](const std::string&) { req.hasSeed = true; });
        sub->add_option("--set", req.sets, "FIELD=VALUE, a parameter by its describe name")
            ->allow_extra_args(false);
        sub->add_option("--from", req.from,
                        "start from a settings file (texture.texture) or a preset file");
        sub->add_option("--preset", req.preset, "start from the kind's preset of this name");
    };
    auto* render = app.add_subcommand("render", "Render a kind to a PNG or BMP file");
    addCommon(render);
    render->add_option("-o,--output", req.output, "output file, .png or .bmp")->required();
    render
        ->add_option("--png-level", req.pngLevel,
                     "PNG compression, 0 (fastest, largest) .. 9 (slowest, smallest)")
        ->check(CLI::Range(0, 9));
    render->add_option("--save-preset", req.savePreset,
                       "also store the parameters used as a preset of this name");
    render->add_option("--save-settings", req.saveSettings,
                       "also write the session as a settings file the plug-in can load");
    render
        ->add_option("--fountain-library", req.libraryFountain,
                     "colour with entry N (from 1) of the fountain library")
        ->check(CLI::PositiveNumber);
    auto* mutations = app.add_subcommand(
        "mutations", "Show the nine mutation colour maps on a kind's grey image");
    addCommon(mutations);
    mutations->add_option("-o,--output", req.output, "output file, .png or .bmp")->required();
    mutations->add_option("--generation", req.generation, "mutation generation, 0 .. 31")
        ->check(CLI::Range(0, 31));

    auto* request = app.add_subcommand(
        "request", "Write the 432-byte request a CGI kind sends to its noise service");
    addCommon(request);
    request->add_option("-o,--output", req.output, "output file")->required();

    auto* presets = app.add_subcommand(
        "presets", "List a kind's named presets, or save or delete one (shared with the plug-in)");
    addCommon(presets);
    std::string savePreset, deletePreset;
    auto* saveOption = presets->add_option("--save", savePreset,
                                           "store the parameters (defaults, --from, --set) "
                                           "under this name");
    presets->add_option("--delete", deletePreset, "delete the preset of this name")
        ->excludes(saveOption);

    auto* fountains = app.add_subcommand(
        "fountains", "The fountain library of colour maps (shared with the plug-in)");
    fountains->require_subcommand(1);
    std::string fountainOutput;
    int fountainEntry = 0, stripWidth = 256, stripHeight = 32;
    auto* fountainsList = fountains->add_subcommand("list", "List the stored colour maps");
    auto* fountainsShow =
        fountains->add_subcommand("show", "Draw colour map N as a strip (PNG or BMP)");
    fountainsShow->add_option("N", fountainEntry, "entry number, from 1")->required();
    fountainsShow->add_option("-o,--output", fountainOutput, "output file, .png or .bmp")
        ->required();
    fountainsShow->add_option("--width", stripWidth, "strip width (256)");
    fountainsShow->add_option("--depth", stripHeight, "strip height (32)");
    auto* fountainsDelete = fountains->add_subcommand("delete", "Delete colour map N");
    fountainsDelete->add_option("N", fountainEntry, "entry number, from 1")->required();
    auto* fountainsAdd = fountains->add_subcommand(
        "add", "Append a kind's colour map (after --from, --preset, --set) to the library");
    addCommon(fountainsAdd);

    auto* colours = app.add_subcommand(
        "colours", "The colour database of named colours (shared with the plug-in)");
    colours->require_subcommand(1);
    std::string colourName, colourValue;
    auto* coloursList = colours->add_subcommand("list", "List the named colours as 0xBBGGRR");
    auto* coloursAdd = colours->add_subcommand("add", "Add a named colour");
    coloursAdd->add_option("NAME", colourName, "the colour's name")->required();
    coloursAdd->add_option("COLOUR", colourValue, "0xBBGGRR: blue, green, red")->required();
    auto* coloursDelete = colours->add_subcommand("delete", "Delete the colours of a name");
    coloursDelete->add_option("NAME", colourName, "the colour's name")->required();

    auto* matrix = app.add_subcommand(
        "matrix",
        "Manage a matrix library: list, add FILE.png|FILE.bmp, delete N, use NAME, "
        "integral on|off");
    std::string matrixAction, matrixArgument, matrixLibrary;
    matrix->add_option("ACTION", matrixAction, "list, add, delete, use or integral")->required();
    matrix->add_option("ARGUMENT", matrixArgument, "image file, tile number, library name, on|off");
    matrix->add_option("--library", matrixLibrary,
                       "the library to work on (default: the current one)");

    app.footer(
        "Examples:\n"
        "  tsntxtr list\n"
        "  tsntxtr describe noise\n"
        "  tsntxtr render noise -o noise.png\n"
        "  tsntxtr render noise --seed 777 --width 1920 --depth 1080 -o wallpaper.png\n"
        "  tsntxtr render noise --set sum=0 --set xScale=12.5 -o plain.bmp\n"
        "  tsntxtr render --from texture.texture -o last-session.png\n"
        "  tsntxtr mutations noise --generation 3 -o grid.png\n"
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

    tsn::cli::ReadConfiguration();
    if (app.got_subcommand(matrix))
        return tsn::cli::Matrix(matrixAction, matrixArgument, matrixLibrary);
    if (app.got_subcommand("list")) return tsn::cli::ListKinds();
    if (app.got_subcommand(describe))
        return tsn::cli::DescribeKind(describeKind, describeHtml, describeOutput);
    if (app.got_subcommand(render)) return tsn::cli::Render(req);
    if (app.got_subcommand(mutations)) return tsn::cli::Mutations(req);
    if (app.got_subcommand(request)) return tsn::cli::Request(req);
    if (app.got_subcommand(presets)) return tsn::cli::Presets(req, savePreset, deletePreset);
    if (app.got_subcommand(fountains)) {
        if (fountains->got_subcommand(fountainsAdd)) return tsn::cli::AddFountain(req);
        const char* action = fountains->got_subcommand(fountainsList)   ? "list"
                             : fountains->got_subcommand(fountainsShow) ? "show"
                                                                        : "delete";
        (void)fountainsDelete;
        return tsn::cli::Fountains(action, fountainEntry, fountainOutput, stripWidth, stripHeight);
    }
    if (app.got_subcommand(colours)) {
        const char* action = colours->got_subcommand(coloursList)  ? "list"
                             : colours->got_subcommand(coloursAdd) ? "add"
                                                                   : "delete";
        (void)coloursDelete;
        return tsn::cli::Colours(action, colourName, colourValue);
    }
    return 2;
}
