#include "cli/sheet.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include "app/kind_list.h"
#include "cli/caption_font.h"
#include "cli/image_io.h"
#include "core/image.h"
#include "kind/descriptor.h"
#include "kind/page_table.h"

namespace tsn::cli {

namespace {

void Fail(const std::string& message) {
    std::fprintf(stderr, "tsntxtr: %s\n", message.c_str());
}

// One cell: how its request differs from the others, and its caption.
struct Cell {
    bool hasSeed = false;
    long long seed = 0;
    std::string set;  // FIELD=VALUE, or empty
    std::string caption, shortCaption;
};

// A whole number written in full, nothing before or after it.
bool ParseWhole(const std::string& text, long long* out) {
    if (text.empty() || text.size() > 12 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return false;
    *out = std::strtoll(text.c_str(), nullptr, 10);
    return true;
}

// "100-115", "100,200,300" or a mix: the seeds in the order given. False
// after reporting a list that is malformed, reversed, too long or outside
// the seed field's range.
bool ParseSeeds(const std::string& list, const PageField& seed, const char* kind,
                std::vector<Cell>* cells) {
    const std::string range =
        FormatFieldValue(seed, seed.min) + " .. " + FormatFieldValue(seed, seed.max);
    std::size_t at = 0;
    while (at <= list.size()) {
        const std::size_t comma = std::min(list.find(',', at), list.size());
        const std::string item = list.substr(at, comma - at);
        at = comma + 1;
        std::size_t dash = item.find('-');
        std::size_t after = dash + 1;
        if (dash == std::string::npos && (dash = item.find("..")) != std::string::npos)
            after = dash + 2;
        long long from, to;
        const bool single = dash == std::string::npos;
        if (single ? !ParseWhole(item, &from)
                   : !ParseWhole(item.substr(0, dash), &from) ||
                         !ParseWhole(item.substr(after), &to)) {
            Fail(
                "--seeds takes seeds and ranges separated by commas, such as 100-115 or "
                "100,250,400; not '" +
                item + "'");
            return false;
        }
        if (single) to = from;
        if (to < from) {
            Fail("the seed range " + item + " runs backwards; write " + std::to_string(to) + "-" +
                 std::to_string(from));
            return false;
        }
        if (from < seed.min || to > seed.max) {
            Fail(std::string(kind) + "'s seeds run " + range + "; " + item +
                 " lies outside them (try --seeds " + FormatFieldValue(seed, seed.min) + "-" +
                 FormatFieldValue(seed, seed.min + 15) + ")");
            return false;
        }
        if (to - from + 1 > kMostSheetCells - (long long)cells->size()) {
            Fail("a sheet holds at most " + std::to_string(kMostSheetCells) + " cells");
            return false;
        }
        for (long long s = from; s <= to; ++s) {
            Cell c;
            c.hasSeed = true;
            c.seed = s;
            c.caption = "seed " + std::to_string(s);
            c.shortCaption = std::to_string(s);
            cells->push_back(c);
        }
    }
    return true;
}

bool Sweepable(const PageField& f) {
    return f.type != FieldType::Fountain && f.type != FieldType::Colour;
}

std::string SweepableFields(const PageTable& t) {
    std::string s;
    for (int i = 0; i < t.count; ++i)
        if (Sweepable(t.fields[i])) s += std::string(s.empty() ? "" : ", ") + t.fields[i].name;
    return s;
}

// How a field's values are stepped: whole numbers, scroll positions, or
// any number (kept to the six digits its text shows).
bool Integral(const PageField& f) {
    return f.type != FieldType::F64 || f.control == Control::Edit;
}
double PositionOf(const PageField& f, double v) {
    return f.scrollScale >= 0 ? v * f.scrollScale : v / -f.scrollScale;
}
double ValueOfPosition(const PageField& f, double pos) {
    return f.scrollScale >= 0 ? pos / f.scrollScale : pos * -f.scrollScale;
}

// The nearest value the field takes: what its control can show.
double Accepted(const PageField& f, double v) {
    if (f.control == Control::ScrollBar)
        return ValueOfPosition(f, std::floor(PositionOf(f, v) + 0.5));
    if (Integral(f)) return std::floor(v + 0.5);
    return std::strtod(FormatFieldValue(f, v).c_str(), nullptr);
}

// The number of values the field takes from `from` to `to`; -1 when there
// is no counting them.
long long ValuesBetween(const PageField& f, double from, double to) {
    if (f.control == Control::ScrollBar)
        return (long long)(std::floor(PositionOf(f, to) + 0.5) -
                           std::floor(PositionOf(f, from) + 0.5)) +
               1;
    if (Integral(f)) return (long long)(std::floor(to + 0.5) - std::floor(from + 0.5)) + 1;
    return -1;
}

std::string StepText(const PageField& f) {
    if (f.control == Control::ScrollBar)
        return "steps of " + FormatFieldValue(f, ValueOfPosition(f, 1));
    return "whole numbers";
}

// An end of a sweep: a number, or an item's name for a drop list.
bool ParseEnd(const PageField& f, const std::string& text, double* out) {
    if (f.control == Control::DropList) {
        const int item = FindChoice(f.choices, text);
        if (item >= 0) {
            *out = item;
            return true;
        }
    }
    if (text.empty()) return false;
    char* end = nullptr;
    *out = std::strtod(text.c_str(), &end);
    return *end == 0 && std::isfinite(*out);
}

// The item's name in a drop list's choices.
std::string Choice(const char* choices, int index) {
    std::string item;
    for (const char* c = choices; *c; ++c) {
        if (*c == ';') {
            if (index-- == 0) return item;
            item.clear();
        } else {
            item += *c;
        }
    }
    return index == 0 ? item : std::string();
}

// FIELD=FROM..TO over `count` evenly spaced values (without a count: each
// value the range holds, up to kDefaultSweepCount). False after reporting
// what was wrong.
bool ParseSweep(const std::string& vary, bool hasCount, int count, const KindDescriptor& k,
                std::vector<Cell>* cells) {
    const PageTable& page = *k.page;
    const std::size_t eq = vary.find('='), dots = vary.find("..", eq == std::string::npos ? 0 : eq);
    if (eq == std::string::npos || dots == std::string::npos) {
        std::string example = "FIELD=FROM..TO";
        for (int i = 0; i < page.count; ++i) {
            const PageField& f = page.fields[i];
            if (f.role != Role::Plain || !Sweepable(f) || f.control == Control::None) continue;
            example = std::string(f.name) + "=" + FormatFieldValue(f, f.min) + ".." +
                      FormatFieldValue(f, f.max);
            break;
        }
        Fail("--vary takes FIELD=FROM..TO, such as --vary " + example + "; not '" + vary + "'");
        return false;
    }
    const std::string name = vary.substr(0, eq);
    const PageField* f = FindField(page, name);
    if (!f || !Sweepable(*f)) {
        Fail((f ? std::string(name) + " is a colour or colour map and cannot be swept"
                : "unknown field '" + name + "' of " + k.name) +
             "; the fields to sweep are: " + SweepableFields(page));
        return false;
    }
    const std::string fromText = vary.substr(eq + 1, dots - eq - 1);
    const std::string toText = vary.substr(dots + 2);
    double from, to;
    if (!ParseEnd(*f, fromText, &from) || !ParseEnd(*f, toText, &to)) {
        Fail("--vary " + name + " needs two values, FROM..TO; not '" + fromText + ".." + toText +
             "'");
        return false;
    }
    const std::string range = FormatFieldValue(*f, f->min) + " .. " + FormatFieldValue(*f, f->max);
    if (to < from) {
        Fail("the range " + fromText + ".." + toText + " runs backwards; write " + toText + ".." +
             fromText);
        return false;
    }
    if (from < f->min || to > f->max) {
        Fail(name + " runs " + range + "; " + fromText + ".." + toText + " lies outside it");
        return false;
    }
    const long long available = ValuesBetween(*f, from, to);
    if (!hasCount)
        count = available < 0 ? kDefaultSweepCount
                              : int(std::min<long long>(available, kDefaultSweepCount));
    if (count < 1) {
        Fail("--count takes 1 or more cells, not " + std::to_string(count));
        return false;
    }
    if (count > kMostSheetCells) {
        Fail("a sheet holds at most " + std::to_string(kMostSheetCells) + " cells, not " +
             std::to_string(count));
        return false;
    }
    if (count > 1 && Accepted(*f, from) == Accepted(*f, to)) {
        Fail("the range " + fromText + ".." + toText + " of " + name +
             " holds a single value; widen it or use --count 1");
        return false;
    }
    if (available >= 0 && count > available) {
        Fail(name + " takes " + StepText(*f) + ": " + fromText + ".." + toText + " holds " +
             std::to_string(available) + " values, fewer than --count " + std::to_string(count));
        return false;
    }
    for (int i = 0; i < count; ++i) {
        const double t = count == 1 ? 0 : double(i) / (count - 1);
        const double v = Accepted(*f, i == count - 1 ? to : from + (to - from) * t);
        if (!cells->empty() && cells->back().set == name + "=" + FormatFieldValue(*f, v)) {
            Fail(name + "=" + fromText + ".." + toText + " gives fewer than " +
                 std::to_string(count) + " different values; lower --count");
            return false;
        }
        Cell c;
        c.set = name + "=" + FormatFieldValue(*f, v);
        c.shortCaption =
            f->control == Control::DropList ? Choice(f->choices, int(v)) : FormatFieldValue(*f, v);
        c.caption = name + " " + c.shortCaption;
        cells->push_back(c);
    }
    return true;
}

// Gives every cell its size: width and depth where the kind has them, the
// side of a square picture where it has one Size; kinds whose picture size
// follows from other fields take none. *width and *depth receive the size
// the cells will have (0 where only a render tells); false after reporting.
bool SizeCells(const SheetRequest& r, const KindDescriptor& k, RenderRequest* cell, int* width,
               int* depth) {
    const PageTable& page = *k.page;
    const int side = r.cellSide >= 0 ? r.cellSide : kDefaultCellSide;
    const PageField* w = FieldWithRole(page, Role::Width);
    const PageField* d = FieldWithRole(page, Role::Depth);
    const PageField* size = FindField(page, "size");
    if (w && d) {
        cell->width = r.cell.width >= 0 ? r.cell.width : side;
        cell->depth = r.cell.depth >= 0 ? r.cell.depth : side;
        *width = int(std::clamp(double(cell->width), w->min, w->max));
        *depth = int(std::clamp(double(cell->depth), d->min, d->max));
        return true;
    }
    if (r.cell.width >= 0 || r.cell.depth >= 0) {
        Fail(std::string(k.name) + (size ? "'s pictures are square: give their side with --cell"
                                         : " has no --width or --depth"));
        return false;
    }
    if (size) {
        cell->sets.insert(cell->sets.begin(), std::string(size->name) + "=" + std::to_string(side));
        *width = *depth = int(std::clamp(double(side), size->min, size->max));
        return true;
    }
    if (r.cellSide >= 0) {
        Fail(std::string(k.name) +
             " has no picture size of its own (its fields set it); leave out --cell");
        return false;
    }
    *width = *depth = 0;
    return true;
}

// The grid: cells of the largest picture's size, each with its caption in
// a strip beneath it.
struct Layout {
    int columns = 1, rows = 1;
    int boxWidth = 0, boxDepth = 0;
    int scale = 1, strip = 0;
    static constexpr int kGap = 8, kPad = 3;

    long long Width() const { return (long long)columns * (boxWidth + kGap) + kGap; }
    long long Depth() const { return (long long)rows * (boxDepth + strip + kGap) + kGap; }
    int Left(int i) const { return kGap + (i % columns) * (boxWidth + kGap); }
    int Top(int i) const { return kGap + (i / columns) * (boxDepth + strip + kGap); }
};

Layout LayOut(int n, int columns, int boxWidth, int boxDepth, int scale) {
    Layout l;
    l.boxWidth = boxWidth;
    l.boxDepth = boxDepth;
    l.scale = scale;
    l.strip = TextHeight(scale) + 2 * Layout::kPad;
    if (columns > 0) {
        l.columns = std::min(columns, n);
    } else {
        // About as wide as deep, with no empty column at the right.
        const double aspect = double(boxDepth + l.strip + Layout::kGap) / (boxWidth + Layout::kGap);
        l.columns = std::clamp(int(std::ceil(std::sqrt(n * aspect))), 1, n);
        const int rows = (n + l.columns - 1) / l.columns;
        l.columns = (n + rows - 1) / rows;
    }
    l.rows = (n + l.columns - 1) / l.columns;
    return l;
}

bool SheetTooLarge(const Layout& l) {
    if (l.Width() <= kLargestPicture && l.Depth() <= kLargestPicture &&
        l.Width() * l.Depth() <= kMostSheetPixels)
        return false;
    Fail("the sheet would be " + std::to_string(l.Width()) + " x " + std::to_string(l.Depth()) +
         " pixels, more than the 8192 x 8192 pixels' worth a sheet may be (and at most " +
         std::to_string(kLargestPicture) + " a side); use smaller cells, fewer of them or other " +
         "--columns");
    return true;
}

// A rendered cell, freed with the sheet.
class Picture {
  public:
    explicit Picture(MemHandle h) : h_(h) {}
    Picture(Picture&& o) noexcept : h_(std::exchange(o.h_, 0)) {}
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { MemFree(h_); }
    MemHandle get() const { return h_; }

  private:
    MemHandle h_;
};

// Says which cell is rendering when a sheet takes longer than a second and
// stderr is a terminal.
class SheetProgress {
  public:
    explicit SheetProgress(int total) : total_(total), show_(isatty(STDERR_FILENO) != 0) {}
    ~SheetProgress() {
        if (shown_) std::fprintf(stderr, "\r%40s\r", "");
    }
    void Cell(int i) {
        if (!show_ || std::chrono::steady_clock::now() - start_ < std::chrono::seconds(1)) return;
        std::fprintf(stderr, "\rtsntxtr: rendering cell %d of %d", i + 1, total_);
        std::fflush(stderr);
        shown_ = true;
    }

  private:
    int total_;
    bool show_, shown_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

constexpr std::uint32_t kBackground = 0x202020, kFrame = 0x606060, kCaption = 0xE0E0E0;

// A one-pixel frame just outside the w x h picture at (x, y), so that a
// picture whose edges are as dark as the sheet still shows where it ends.
void Frame(const ImageView& v, int x, int y, int w, int h) {
    for (int i = -1; i <= w; ++i) {
        SetPixel(v, x + i, y - 1, kFrame);
        SetPixel(v, x + i, y + h, kFrame);
    }
    for (int j = 0; j < h; ++j) {
        SetPixel(v, x - 1, y + j, kFrame);
        SetPixel(v, x + w, y + j, kFrame);
    }
}

// Draws the rendered cells and their captions; 0 when memory runs out.
MemHandle DrawSheet(const Layout& l, const std::vector<Picture>& pictures,
                    const std::vector<std::string>& captions) {
    ImageView sheet;
    const MemHandle h = NewLockedImage(int(l.Width()), int(l.Depth()), &sheet);
    if (!h) return 0;
    for (int y = 0; y < sheet.depth; ++y)
        WriteRow24(sheet.Row(y), sheet.width, [](int) { return kBackground; });
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        ImageView cell;
        if (!LockImage(pictures[i].get(), &cell)) continue;
        const int left = l.Left(int(i)), top = l.Top(int(i));
        const int x = left + (l.boxWidth - cell.width) / 2, y = top + (l.boxDepth - cell.depth) / 2;
        Frame(sheet, x, y, cell.width, cell.depth);
        BlitTile(sheet, cell, x, y);
        UnlockImage(&cell);
        const std::string& text = captions[i];
        DrawText(sheet, left + (l.boxWidth - TextWidth(text, l.scale)) / 2,
                 top + l.boxDepth + Layout::kPad, text, l.scale, kCaption);
    }
    UnlockImage(&sheet);
    return h;
}

// The captions at the largest scale at which all of them fit their cells:
// "seed 100" or "xScale 12.5", or the values alone where those are too
// wide, cut to fit when even they are.
std::vector<std::string> Captions(const std::vector<Cell>& cells, int boxWidth, int* scale) {
    auto widest = [&](bool full, int s) {
        int most = 0;
        for (const Cell& c : cells)
            most = std::max(most, TextWidth(full ? c.caption : c.shortCaption, s));
        return most;
    };
    const bool full = widest(true, 1) <= boxWidth;
    *scale = boxWidth >= 256 && widest(full, 2) <= boxWidth ? 2 : 1;
    std::vector<std::string> out;
    for (const Cell& c : cells) {
        std::string text = full ? c.caption : c.shortCaption;
        while (TextWidth(text, *scale) > boxWidth) text.pop_back();
        out.push_back(text);
    }
    return out;
}

}  // namespace

int Sheet(const SheetRequest& r) {
    if (const std::string problem = OutputProblem(r.cell.output, r.cell.format); !problem.empty()) {
        Fail(problem);
        return 2;
    }
    // The kind, and every check render makes, once before the first cell;
    // the cell size is the sheet's to check.
    RenderRequest probe = r.cell;
    probe.width = probe.depth = -1;
    int code = 0;
    const int kind = KindOfRequest(probe, &code);
    if (kind < 0) return code;
    const KindDescriptor& k = KindOf(kind);
    if (!k.page) {
        Fail(std::string(k.name) + " has no parameters to draw a sheet of");
        return 2;
    }
    std::vector<Cell> cells;
    if (!r.seeds.empty()) {
        const PageField* seed = FieldWithRole(*k.page, Role::Seed);
        if (!seed) {
            Fail(std::string(k.name) + " has no random seed; sweep one of its fields with --vary");
            return 2;
        }
        if (!ParseSeeds(r.seeds, *seed, k.name, &cells)) return 2;
    } else if (!r.vary.empty()) {
        if (!ParseSweep(r.vary, r.hasCount, r.count, k, &cells)) return 2;
    } else {
        Fail("say what the cells differ in: --seeds 100-115, or --vary FIELD=FROM..TO");
        return 2;
    }
    RenderRequest base = r.cell;
    int width = 0, depth = 0;
    if (!SizeCells(r, k, &base, &width, &depth)) return 2;
    const int n = int(cells.size());
    int scale = 1;
    std::vector<std::string> captions = Captions(cells, width, &scale);
    if (width > 0 && SheetTooLarge(LayOut(n, r.columns, width, depth, scale))) return 2;

    std::vector<Picture> pictures;
    {
        SheetProgress progress(n);
        for (int i = 0; i < n; ++i) {
            progress.Cell(i);
            RenderRequest q = base;
            if (cells[i].hasSeed) {
                q.hasSeed = true;
                q.seed = cells[i].seed;
            } else {
                q.sets.push_back(cells[i].set);
            }
            // The options are the same for every cell: what the page
            // clamped is said once.
            const MemHandle image = RenderToImage(q, &code, i == 0);
            if (!image) return code;
            pictures.emplace_back(image);
            ImageView v;
            if (!LockImage(image, &v)) {
                Fail("rendering " + std::string(k.name) + " gave no picture");
                return 1;
            }
            const bool grew = v.width > width || v.depth > depth;
            width = std::max(width, v.width);
            depth = std::max(depth, v.depth);
            UnlockImage(&v);
            if (grew) {
                captions = Captions(cells, width, &scale);
                if (SheetTooLarge(LayOut(n, r.columns, width, depth, scale))) return 2;
            }
        }
    }
    const MemHandle sheet =
        DrawSheet(LayOut(n, r.columns, width, depth, scale), pictures, captions);
    if (!sheet) {
        Fail("out of memory");
        return 1;
    }
    std::string error;
    const bool written =
        WriteImageFile(sheet, r.cell.output, &error, r.cell.pngLevel, r.cell.format);
    MemFree(sheet);
    if (!written) {
        Fail(error);
        return 1;
    }
    return 0;
}

}  // namespace tsn::cli
