#include "cli/render_options.h"

namespace tsn::cli {

void AddSessionOptions(CLI::App* sub, RenderRequest& req) {
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
}

void AddOutputFormat(CLI::App* sub, RenderRequest& req) {
    sub->add_option("--format", req.format,
                    "with -o -: png (the default) or bmp on standard output")
        ->check(CLI::IsMember({"png", "bmp"}));
}

void AddRenderOptions(CLI::App* sub, RenderRequest& req) {
    AddSessionOptions(sub, req);
    sub->add_option("-o,--output", req.output, "output file, .png or .bmp; - for standard output")
        ->required();
    AddOutputFormat(sub, req);
    sub->add_option("--png-level", req.pngLevel,
                    "PNG compression, 0 (fastest, largest) .. 9 (slowest, smallest)")
        ->check(CLI::Range(0, 9));
    sub->add_option("--save-preset", req.savePreset,
                    "also store the parameters used as a preset of this name");
    sub->add_option("--save-settings", req.saveSettings,
                    "also write the session as a settings file the plug-in can load");
    sub->add_option("--fountain-library", req.libraryFountain,
                    "colour with entry N (from 1) of the fountain library")
        ->check(CLI::PositiveNumber);
    sub->add_flag("--tileable", req.tileable,
                  "make the picture periodic, so copies of it meet without a seam");
    sub->add_option("--height", req.height,
                    "also write the height field: 16-bit grey .png, or .r16/.raw "
                    "(little-endian 16-bit)");
    sub->add_option("--normal", req.normal,
                    "also write a tangent-space normal map from the height field (.png, .bmp)");
    sub->add_option("--normal-y", req.normalY, "the normal map's green axis: up (default) or down")
        ->check(CLI::IsMember({"up", "down"}));
    sub->add_option("--normal-strength", req.normalStrength,
                    "relief of the normal map: a full height range rises this many pixels (8)")
        ->check(CLI::Range(0.0, 100000.0));
}

}  // namespace tsn::cli
