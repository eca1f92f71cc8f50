#include "app/help_page.h"

#include "app/kind_list.h"

namespace tsn {

namespace {

struct Description {
    const char* key;
    const char* text;
};

// One or two sentences a user reads before trying the kind.
constexpr Description kDescriptions[] = {
    {"absnoise",
     "Value, Perlin, simplex, cellular, white or cubic noise summed as fBm, billow or "
     "ridged, optionally warped, folded and tileable, through a colour map."},
    {"cgigranite",
     "Granite: large feldspar crystals in a finer mass of quartz and dark mica, in seven "
     "colours, from the noise service."},
    {"cgijade", "Veined jade from warped fractal noise, from the noise service."},
    {"cgisea", "A sea of ridged waves with white crests, from the noise service."},
    {"cgisky", "A blue sky with soft clouds, from the noise service."},
    {"cgislime", "Glossy slime under a strong warp, from the noise service."},
    {"cgiterrain",
     "Terrain seen from above, from deep water over sand and grass to snow, lit by its "
     "slope, from the noise service."},
    {"cgiturbulence",
     "Turbulence: a four-colour height field displaced by noise, from the noise service."},
    {"cgiwood", "Wood grain: bent rings with fine streaks, from the noise service."},
    {"clouds",
     "A lit planet of spectral clouds, oceans, land and ice, with limb haze, glow and "
     "stars."},
    {"craters",
     "A cratered surface: many small pits and a few large rimmed craters, lit from the "
     "side in one surface colour."},
    {"mandelbrot",
     "The Mandelbrot set in a navigable view: escape counts through a mutable colour "
     "map."},
    {"matrix", "One small tile from a matrix library, repeated edge to edge over the picture."},
    {"noise", "Seeded Perlin noise in up to eight octaves, through a mutable colour map."},
    {"particle",
     "Diffusion-limited aggregation or deposition drawn as tapering strands, through a "
     "mutable colour map."},
    {"perturb",
     "Bands, rings or checks pushed about by fractal noise (marble, wood, warped tiles), "
     "through a colour map."},
    {"pipes",
     "Pipework laid out on a grid of cells from drawn pipe pieces: two styles, valve "
     "colours, nine effects and shadows."},
    {"plasma", "Colour plasma by midpoint displacement."},
    {"ripples", "Wave trains from random drops, lit as water between a light and a dark colour."},
    {"scratch",
     "Random scribbled polylines in two to five colours over a flat background, "
     "optionally antialiased."},
    {"surface",
     "A mottled, continuous surface from a spectral-synthesis height field, through a "
     "mutable colour map."},
    {"terrain", "A landscape by spectral synthesis, with land and water colours."},
    {"threads",
     "Wandering threads turning by eighths of a circle over a flat background, optionally "
     "antialiased."},
};

std::string Escape(const char* text) {
    std::string out;
    for (const char* c = text; c && *c; ++c) {
        switch (*c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += *c;
        }
    }
    return out;
}

std::string Head(const std::string& title) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
           Escape(title.c_str()) +
           "</title>\n<style>\n"
           "body { font-family: sans-serif; max-width: 52em; margin: 2em auto; color: #222; }\n"
           "table { border-collapse: collapse; }\n"
           "th, td { border: 1px solid #bbb; padding: 0.25em 0.6em; text-align: left; "
           "vertical-align: top; }\n"
           "th { background: #eee; }\n"
           "</style>\n</head>\n<body>\n";
}

constexpr char kFoot[] = "</body>\n</html>\n";

constexpr char kColourMapHelp[] =
    "<h2>The colour map</h2>\n"
    "<p>The bar shows the colour map from its start colour on the left to its end colour "
    "on the right; the triangles above it are its markers.</p>\n<ul>\n"
    "<li>Double-click in the strip above the bar to add a marker there.</li>\n"
    "<li>Drag a marker along the strip to move it.</li>\n"
    "<li>Double-click a marker, or the start or end colour, to change its colour.</li>\n"
    "<li>Right-click a marker for <em>Delete marker</em>, <em>Change color</em> and "
    "<em>Adjust position</em>; Shift and right-click deletes it at once.</li>\n"
    "<li>Right-click the bar for <em>Add to library</em> and <em>Manage library</em>: the "
    "<em>Color Map Library</em> dialog lists the stored maps to pick or delete.</li>\n"
    "</ul>\n";

std::string RangeText(const PageField& f) {
    if (f.type == FieldType::Fountain) return "";
    if (f.type == FieldType::FlagBit || f.control == Control::CheckBox) return "on or off";
    if (f.control == Control::DropList) {
        std::string s;
        for (const char* c = f.choices; c && *c; ++c)
            s += *c == ';' ? std::string(", ") : std::string(1, *c);
        return s;
    }
    return FormatFieldValue(f, f.min) + " to " + FormatFieldValue(f, f.max);
}

}  // namespace

const char* DescriptionOf(const char* key) {
    for (const Description& d : kDescriptions)
        if (std::string(d.key) == key) return d.text;
    return "";
}

std::string KindHelpFileName(int kind) {
    if (kind < 0 || kind >= kKindCount) return "";
    return std::string(KindOf(kind).key) + ".html";
}

std::string KindHelpPage(int kind) {
    if (kind < 0 || kind >= kKindCount) return "";
    const KindDescriptor& k = KindOf(kind);
    std::string page = Head(std::string(k.name) + " - Textures and Fractals");
    page += "<h1>" + Escape(k.name) + "</h1>\n<p>" + Escape(DescriptionOf(k.key)) + "</p>\n";
    if (!KindRenders(k)) page += "<p><strong>This kind does not render yet.</strong></p>\n";
    bool hasMap = false;
    if (k.page && k.page->count > 0) {
        page +=
            "<h2>Settings</h2>\n<table>\n<tr><th>Setting</th><th>Range</th><th>Default</th>"
            "<th>Meaning</th></tr>\n";
        for (int i = 0; i < k.page->count; ++i) {
            const PageField& f = k.page->fields[i];
            if (f.type == FieldType::Fountain) {
                hasMap = true;
                continue;
            }
            if (f.control == Control::None) continue;
            std::string label = f.label && f.label[0] ? f.label : f.name;
            std::erase(label, '&');
            if (!label.empty() && label.back() == ':') label.pop_back();
            page += "<tr><td>" + Escape(label.c_str()) + "</td><td>" +
                    Escape(RangeText(f).c_str()) + "</td><td>" +
                    Escape(FormatFieldValue(f, f.blockDefault).c_str()) + "</td><td>" +
                    Escape(f.help) + "</td></tr>\n";
        }
        page += "</table>\n";
    }
    if (hasMap) page += kColourMapHelp;
    page +=
        "<p>The same random seed always gives the same picture. <a href=\"index.html\">All "
        "kinds</a> &middot; <a href=\"colors.html\">Choosing colours</a></p>\n";
    return page + kFoot;
}

std::string HelpIndexPage() {
    std::string page = Head("Textures and Fractals");
    page +=
        "<h1>Textures and Fractals</h1>\n<p>Pick a kind in the <em>Texture</em> list, set "
        "its parameters on its page, press <em>Preview</em>, and <em>OK</em> to hand the "
        "picture to the image editor. <em>Mutate</em> offers nine new colour maps for the "
        "kinds that have one.</p>\n<table>\n<tr><th>Kind</th><th>What it makes</th></tr>\n";
    for (int i = 0; i < kKindCount; ++i)
        page += "<tr><td><a href=\"" + KindHelpFileName(i) + "\">" + Escape(KindOf(i).name) +
                "</a></td><td>" + Escape(DescriptionOf(KindOf(i).key)) + "</td></tr>\n";
    page += "</table>\n";
    page += kColourMapHelp;
    page +=
        "<p>In the <em>Color Map Library</em> dialog, pick a map and press <em>OK</em> (or "
        "double-click it) to use it; <em>Delete</em> removes the selected map when you "
        "press <em>OK</em>, and <em>Cancel</em> leaves the library as it was.</p>\n";
    return page + kFoot;
}

std::string ColoursHelpPage() {
    std::string page = Head("Choosing colours - Textures and Fractals");
    page +=
        "<h1>Choosing colours</h1>\n"
        "<p>Click in the square to pick saturation (across) and brightness (up); the strip "
        "beside it picks the hue. The red, green and blue fields and the hex field take exact "
        "values. The sample shows the colour chosen against the one you started with.</p>\n"
        "<h2>The colour database</h2>\n"
        "<p>The list holds your named colours; click one to choose it. <em>Add</em> stores the "
        "current colour under a name; <em>Delete</em> removes the selected name.</p>\n"
        "<p>Shift and <em>Add</em> switches between the global database, shared by all of your "
        "Vantorel software, and this plug-in's own local one: with no global database it makes "
        "the current one global; with one, it offers to remove the global database. "
        "<em>Open</em> chooses which local database file to use.</p>\n"
        "<p><a href=\"index.html\">All kinds</a></p>\n";
    return page + kFoot;
}

}  // namespace tsn
