#include "cli/commands.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <thread>

#include "app/config_file.h"
#include "app/help_page.h"
#include "app/kind_list.h"
#include "app/matrix_library.h"
#include "app/presets.h"
#include "app/render_request.h"
#include "app/session.h"
#include "cli/image_io.h"
#include "colour/fountain_library.h"
#include "core/image.h"
#include "core/owners.h"
#include "core/parallel.h"
#include "core/text.h"
#include "core/tile_list.h"
#include "kind/page_transfer.h"
#include "kinds/cgi.h"
#include "kinds/matrix/matrix.h"
#include "kinds/matrix/matrix_tiles.h"

namespace tsn::cli {

namespace {

void Fail(const std::string& message) {
    std::fprintf(stderr, "tsntxtr: %s\n", message.c_str());
}

// The command's messages: every one on stderr after the program's name.
void Say(MessageKind, const std::string& message) {
    Fail(message);
}

int ResolveKind(const std::string& name) {
    return tsn::ResolveKind(name, Say);
}

// Shows progress on a terminal for renders that take longer than a second.
class ProgressLine {
  public:
    ProgressLine() : show_(isatty(STDERR_FILENO) != 0) {
        Progress().done = 0;
        Progress().total = 0;
        if (show_) thread_ = std::thread([this] { Run(); });
    }
    ~ProgressLine() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
        if (shown_) std::fprintf(stderr, "\r%30s\r", "");
    }

  private:
    void Run() {
        const auto start = std::chrono::steady_clock::now();
        while (!stop_) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            if (std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) continue;
            const long total = Progress().total, done = Progress().done;
            if (total <= 0) continue;
            std::fprintf(stderr, "\rtsntxtr: rendering %3ld%%", std::min(100L, done * 100 / total));
            shown_ = true;
        }
    }
    bool show_;
    std::atomic<bool> stop_{false};
    bool shown_ = false;
    std::thread thread_;
};

// Renders the prepared kind with the maps asked for; reports clamping (when
// `clamps`) and failures. `progress` shows a progress line on a terminal.
MemHandle RenderPrepared(RequestedSession& p, const MapRequest& maps = {}, bool progress = true,
                         bool clamps = true) {
    MemHandle image;
    if (progress) {
        ProgressLine line;
        image = p.Draw(maps);
    } else {
        image = p.Draw(maps);
    }
    if (clamps) p.ReportClamps();
    p.ReportNote();
    if (!image) p.ReportFailure();
    return image;
}

bool CheckOutput(const std::string& path, const std::string& format = "") {
    const std::string problem = OutputProblem(path, format);
    if (problem.empty()) return true;
    Fail(problem);
    return false;
}

bool StorePreset(MasterTextureRecord* rec, int kind, const std::string& name) {
    const std::string problem = NewPresetProblem(kind, name);
    if (!problem.empty()) {
        Fail(problem);
        return false;
    }
    if (!SavePreset(rec, kind, name)) {
        Fail("cannot write the preset '" + name + "' of " + KindOf(kind).name);
        return false;
    }
    return true;
}

}  // namespace

int ListKinds(bool markdown) {
    if (markdown) {
        std::printf("| # | key | kind | what it draws |\n| --- | --- | --- | --- |\n");
        for (int i = 0; i < kKindCount; ++i)
            std::printf("| %d | %s | %s | %s%s |\n", i, KindOf(i).key, KindOf(i).name,
                        KindRenders(KindOf(i)) ? "" : "(not built yet) ",
                        DescriptionOf(KindOf(i).key));
        return 0;
    }
    std::printf("%-3s %-14s %-16s %s\n", "#", "KEY", "NAME", "STATE");
    for (int i = 0; i < kKindCount; ++i)
        std::printf("%-3d %-14s %-16s %s\n", i, KindOf(i).key, KindOf(i).name,
                    KindRenders(KindOf(i)) ? "renders" : "not built yet");
    return 0;
}

int DescribeKind(const std::string& name, bool html, const std::string& output) {
    const int kind = ResolveKind(name);
    if (kind < 0) return 2;
    if (html) {
        const std::string page = KindHelpPage(kind);
        const auto put = [&](std::FILE* f) {
            return std::fwrite(page.data(), 1, page.size(), f) == page.size();
        };
        const bool ok = output.empty() ? put(stdout) && std::fflush(stdout) == 0
                                       : WriteFileBeside(output.c_str(), "w", put);
        if (!ok) Fail("cannot write '" + output + "'");
        return ok ? 0 : 1;
    }
    const KindDescriptor& info = KindOf(kind);
    std::printf("%s (key \"%s\"): %u-byte block %.8s%s\n", info.name, info.key, info.blockSize,
                info.signature, (info.flags & kKindHasColourMap) ? ", colour map mutable" : "");
    if (!info.page) {
        std::printf("Not built yet: its parameters are not defined.\n");
        return 0;
    }
    std::printf("Tileable (--tileable): %s. Height and normal maps (--height, --normal): %s.\n",
                (info.maps & kMapsTile) ? "yes" : "no", (info.maps & kMapsHeight) ? "yes" : "no");
    std::printf("%-14s %-9s %-13s %-6s %-17s %-9s %s\n", "FIELD", "TYPE", "CONTROL", "ID", "RANGE",
                "DEFAULT", "MEANING");
    const PageTable& t = *info.page;
    for (int i = 0; i < t.count; ++i) {
        const PageField& f = t.fields[i];
        const std::string id = f.control == Control::None ? "-" : std::to_string(f.id);
        const std::string def =
            f.type == FieldType::Fountain ? "built-in" : FormatFieldValue(f, f.blockDefault);
        std::printf("%-14s %-9s %-13s %-6s %-17s %-9s %s\n", f.name, FieldTypeName(f.type),
                    ControlName(f.control), id.c_str(), FieldRangeText(f).c_str(), def.c_str(),
                    f.help);
    }
    return 0;
}

namespace {

// The part of a command's request that sets the session up.
SessionRequest SessionPart(const RenderRequest& r) {
    SessionRequest q;
    q.kind = r.kind;
    q.from = r.from;
    // A negative --width or --depth is taken as not given.
    if (r.width >= 0) q.width = r.width;
    if (r.depth >= 0) q.depth = r.depth;
    if (r.hasSeed) q.seed = r.seed;
    q.sets = r.sets;
    q.preset = r.preset;
    q.storesPreset = !r.savePreset.empty();
    return q;
}

// A headless session prepared for the request: its output checked, then
// kind, file, options and the fountain library's colour map.
struct PreparedSession {
    std::optional<RequestedSession> session;
    int kind = -1;
    int code = 0;  // the exit code when kind < 0

    explicit PreparedSession(const RenderRequest& r, bool render = true) {
        if (render && !CheckOutput(r.output, r.format)) {
            code = 2;
            return;
        }
        session.emplace(SessionPart(r), Say, render);
        code = session->code;
        if (session->kind < 0) return;
        if (r.libraryFountain != 0 && !TakeLibraryFountain(r.libraryFountain)) {
            code = 2;
            return;
        }
        kind = session->kind;
    }
    MasterTextureRecord* rec() const { return session->s.rec; }
    MemHandle Render(const MapRequest& maps = {}) { return RenderPrepared(*session, maps); }

  private:
    // Colours the kind with entry n of the fountain library; false after
    // saying why not.
    bool TakeLibraryFountain(int n) {
        const KindDescriptor& k = KindOf(session->kind);
        const PageField* map = k.page ? FountainField(*k.page) : nullptr;
        if (!map) {
            Fail(std::string(k.name) + " has no colour map");
            return false;
        }
        auto* target =
            reinterpret_cast<FountainDefinition*>(BlockAt(rec(), k.blockOffset) + map->offset);
        return LibraryFountain(n, target);
    }
};

}  // namespace

// The maps a render asks for, checked against what the kind offers and
// the files' names; false after saying why.
bool CheckMaps(const RenderRequest& r, const KindDescriptor& k) {
    if (!KindOffersMaps(k, r.tileable, !r.height.empty() || !r.normal.empty(), Say)) return false;
    if (!r.height.empty() && !IsHeightExtension(r.height)) {
        Fail("cannot tell the format of '" + r.height + "': name it .png, .r16 or .raw");
        return false;
    }
    if (r.normal == "-") {
        Fail("--normal takes a file: only the picture (-o -) goes to standard output");
        return false;
    }
    return r.normal.empty() || CheckOutput(r.normal);
}

// Writes the height and normal maps the request asks for.
bool WriteMaps(const RenderRequest& r, const HeightField& field) {
    std::string error;
    if (field.width <= 0) {
        Fail("the render made no height field");
        return false;
    }
    if (!r.height.empty() && !WriteHeightFile(field, r.height, &error)) {
        Fail(error);
        return false;
    }
    if (r.normal.empty()) return true;
    const NormalOptions options{r.normalStrength, r.normalY == "down", r.tileable};
    const OwnedBlock normal(NormalMapImage(field, options));
    if (!normal) {
        Fail("writing the normal map failed: out of memory");
        return false;
    }
    if (!WriteImageFile(normal.get(), r.normal, &error, r.pngLevel)) {
        Fail(error);
        return false;
    }
    return true;
}

// The picture's size as the kind's page gives it: width by depth, or a
// square of Size, or Pipes' cells; 0 where only the render knows it.
long long PagePixels(const MasterTextureRecord* rec, const KindDescriptor& k) {
    const PageField* w = FieldWithRole(*k.page, Role::Width);
    const PageField* d = FieldWithRole(*k.page, Role::Depth);
    if (w && d)
        return (long long)ReadPageInteger(rec->dialog, w->id) * ReadPageInteger(rec->dialog, d->id);
    if (const PageField* size = FindField(*k.page, "size")) {
        const long long side = ReadPageInteger(rec->dialog, size->id);
        return side * side;
    }
    // Pipes: cells of 512 / reduction pixels.
    const PageField* across = FindField(*k.page, "widthCells");
    const PageField* down = FindField(*k.page, "depthCells");
    const PageField* reduction = FindField(*k.page, "reduction");
    if (across && down && reduction) {
        const long long cell = 512 / std::max(1, ReadPageInteger(rec->dialog, reduction->id));
        return ReadPageInteger(rec->dialog, across->id) * cell *
               (ReadPageInteger(rec->dialog, down->id) * cell);
    }
    return 0;
}

MemHandle RenderToImage(const RenderRequest& r, int* code, bool reportClamps) {
    PreparedSession p(r);
    if (p.kind < 0) {
        *code = p.code;
        return 0;
    }
    const MemHandle image = RenderPrepared(*p.session, {}, false, reportClamps);
    *code = image ? 0 : 1;
    return image;
}

int KindOfRequest(const RenderRequest& r, int* code) {
    PreparedSession p(r);
    *code = p.code;
    return p.kind;
}

int Render(const RenderRequest& r, const std::function<void(long long pixels)>& prepared) {
    PreparedSession p(r);
    if (p.kind < 0) return p.code;
    if (!CheckMaps(r, KindOf(p.kind))) return 2;
    if (prepared) prepared(PagePixels(p.rec(), KindOf(p.kind)));
    HeightField field;
    const bool wantsHeight = !r.height.empty() || !r.normal.empty();
    std::string error;
    const PictureOutcome outcome = RenderImageFile(
        [&](RowSink* rows) {
            ProgressLine line;
            return p.session->Draw(
                MapRequest{r.tileable, wantsHeight ? &field : nullptr, nullptr, rows});
        },
        r.output, &error, &p.rec()->image, r.pngLevel, r.format);
    p.session->ReportClamps();
    p.session->ReportNote();
    int code = 0;
    if (outcome == PictureOutcome::RenderFailed) {
        p.session->ReportFailure();
        code = 1;
    } else if (outcome == PictureOutcome::WriteFailed) {
        Fail(error);
        code = 1;
    } else if (wantsHeight && !WriteMaps(r, field)) {
        code = 1;
    }
    if (code == 0 && !r.savePreset.empty() && !StorePreset(p.rec(), p.kind, r.savePreset)) code = 1;
    if (code == 0 && !r.saveSettings.empty()) {
        // The file keeps what a plug-in session would remember; handles of
        // this process are of no use to it.
        MasterTextureRecord copy = *p.rec();
        ClearSessionFields(&copy);
        if (!SaveSettingsFile(copy, r.saveSettings.c_str())) {
            Fail("cannot write the settings file '" + r.saveSettings + "'");
            code = 1;
        }
    }
    return code;
}

namespace {

// The dialog's grid: three by three buttons, each showing the grey image in
// one mutation's colours, scaled by a whole percentage to fit, centred and
// framed. 0 when memory runs out.
MemHandle MutationGrid(MasterTextureRecord* rec, MemHandle grey) {
    constexpr int kCellW = 200, kCellH = 150, kGap = 6;
    constexpr std::uint32_t kFace = 0xF0F0F0, kShadow = 0xA0A0A0;
    MemHandle grid = NewImage(3 * kCellW + 4 * kGap, 3 * kCellH + 4 * kGap);
    ImageView g;
    if (!LockImage(grid, &g)) {
        MemFree(grid);
        return 0;
    }
    for (int y = 0; y < g.depth; ++y)
        for (int x = 0; x < g.width; ++x) SetPixel(g, x, y, kFace);
    bool ok = true;
    for (int k = 0; k < 9 && ok; ++k) {
        const MemHandle thumb = MutationThumbnail(rec, k, grey, kCellW, kCellH);
        ImageView t;
        ok = LockImage(thumb, &t);
        if (ok) {
            const int x = kGap + (k % 3) * (kCellW + kGap) + (kCellW - t.width) / 2;
            const int y = kGap + (k / 3) * (kCellH + kGap) + (kCellH - t.depth) / 2;
            for (int i = -1; i <= t.width; ++i) {
                SetPixel(g, x + i, y - 1, kShadow);
                SetPixel(g, x + i, y + t.depth, kShadow);
            }
            for (int j = -1; j <= t.depth; ++j) {
                SetPixel(g, x - 1, y + j, kShadow);
                SetPixel(g, x + t.width, y + j, kShadow);
            }
            BlitTile(g, t, x, y);
            UnlockImage(&t);
        }
        MemFree(thumb);
    }
    UnlockImage(&g);
    if (!ok) {
        MemFree(grid);
        return 0;
    }
    return grid;
}

}  // namespace

int Mutations(const RenderRequest& r) {
    PreparedSession p(r);
    if (p.kind < 0) return p.code;
    MasterTextureRecord* rec = p.rec();
    if (!(KindOf(p.kind).flags & kKindHasColourMap)) {
        Fail(std::string(KindOf(p.kind).name) + " has no colour map to mutate");
        return 2;
    }
    rec->image = p.Render();
    if (!rec->image) return 1;
    rec->mutationGeneration = std::uint32_t(r.generation);
    BuildMutationSet(rec, p.kind);
    const MemHandle grid =
        MutationGrid(rec, MemHandle(KindAt(p.kind).query(rec, kQueryIndexImage)));
    std::string error;
    int code = 0;
    if (!grid) {
        Fail("out of memory");
        code = 1;
    } else if (!WriteImageFile(grid, r.output, &error, kDefaultPngLevel, r.format)) {
        Fail(error);
        code = 1;
    }
    MemFree(grid);
    return code;
}

int Request(const RenderRequest& r) {
    PreparedSession p(r, false);
    if (p.kind < 0) return p.code;
    const int member = CgiMemberOf(KindOf(p.kind));
    if (member < 0) {
        Fail(std::string(KindOf(p.kind).name) + " sends no request to the noise service");
        return 2;
    }
    // The page's values reach the block as they do before a render.
    const KindDescriptor& k = KindOf(p.kind);
    PageToBlock(*k.page, p.rec()->dialog, BlockAt(p.rec(), k.blockOffset));
    NoiseImageRequest request;
    CgiRequest(p.rec(), member, &request);
    p.session->ReportClamps();
    const bool ok = WriteFileBeside(r.output.c_str(), "wb", [&](std::FILE* f) {
        return std::fwrite(&request, sizeof request, 1, f) == 1;
    });
    if (!ok) {
        Fail("cannot write '" + r.output + "'");
        return 1;
    }
    return 0;
}

int AddFountain(const RenderRequest& r) {
    PreparedSession p(r, false);
    if (p.kind < 0) return p.code;
    const KindDescriptor& k = KindOf(p.kind);
    // The colour map the mutations change, or else the page's first one.
    auto* map = reinterpret_cast<const FountainDefinition*>(
        static_cast<std::uintptr_t>(KindAt(p.kind).query(p.rec(), kQueryFountain)));
    const PageField* field = k.page ? FountainField(*k.page) : nullptr;
    if (!map && field)
        map = reinterpret_cast<const FountainDefinition*>(BlockAt(p.rec(), k.blockOffset) +
                                                          field->offset);
    if (!map) {
        Fail(std::string(k.name) + " has no colour map");
        return 2;
    }
    FountainDefinition f;
    std::memcpy(&f, map, sizeof f);
    char path[kMaxPath + 1], folder[kMaxPath + 1];
    if (!FountainLibraryPath(path) || !TextureFolder(folder)) {
        Fail("no application-data folder is known (set HOME)");
        return 1;
    }
    if (!MakeFolders(folder) || !AppendToFountainLibrary(path, f)) {
        Fail(std::string("There has been an error adding this library entry. (") + path + ")");
        return 1;
    }
    return 0;
}

int Presets(const RenderRequest& r, const std::string& save, const std::string& remove) {
    PreparedSession p(r, false);
    if (p.kind < 0) return p.code;
    if (!KindOf(p.kind).presetList) {
        Fail(std::string(KindOf(p.kind).name) + " has no presets");
        return 2;
    }
    if (!save.empty()) {
        const std::string problem = NewPresetProblem(p.kind, save);
        if (!problem.empty()) {
            Fail(problem);
            return 2;
        }
        return StorePreset(p.rec(), p.kind, save) ? 0 : 1;
    }
    if (!remove.empty()) {
        if (!ListsPresetName(ListPresets(p.kind), remove)) {
            Fail(std::string(KindOf(p.kind).name) + " has no preset '" + remove + "'");
            return 2;
        }
        if (!DeletePreset(p.kind, remove)) {
            Fail("cannot delete the preset '" + remove + "'");
            return 1;
        }
        return 0;
    }
    for (const std::string& name : ListPresets(p.kind)) std::printf("%s\n", name.c_str());
    return 0;
}

}  // namespace tsn::cli

namespace tsn::cli {

namespace {

constexpr std::uint32_t kTiles = 404;

std::vector<std::uint8_t> ReadFileBytes(const std::string& path) {
    std::vector<std::uint8_t> bytes;
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
        std::uint8_t buf[65536];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) bytes.insert(bytes.end(), buf, buf + n);
        std::fclose(f);
    }
    return bytes;
}

// A library's file name as the plug-in stores it: ".mtx" added unless the
// name already ends in it.
std::string LibraryFileName(const std::string& name) {
    const std::size_t n = name.size();
    if (n >= 4 && EqualNoCase(name.c_str() + n - 4, ".mtx")) return name;
    return name + ".mtx";
}

// The path of library `name` in the texture folder (an existing file whose
// name matches without case, or the name as given); false after saying why
// not: a library is a file name inside that folder, never a path.
bool LibraryPath(const std::string& name, char path[kMaxPath + 1], bool* exists) {
    const std::string problem = FolderNameProblem(name.c_str());
    if (!problem.empty()) {
        Fail("'" + name + "' is no library name (" + problem +
             "): a matrix library is a file in the texture folder");
        return false;
    }
    char folder[kMaxPath + 1];
    std::string file = name;
    if (!TextureFolder(folder) || !MatrixLibraryPath(name.c_str(), path)) {
        Fail("no folder for the matrix libraries is known (set HOME)");
        return false;
    }
    *exists = FindFileNoCase(folder, name.c_str(), &file);
    if (*exists) MatrixLibraryPath(file.c_str(), path);
    return true;
}

// Writes the configuration, saying so when it cannot.
int SaveConfiguration() {
    if (SaveConfigFile(Config())) return 0;
    char path[kMaxPath + 1];
    Fail(ConfigFilePath(path) ? std::string("cannot write the configuration file '") + path + "'"
                              : std::string("no application-data folder is known (set HOME)"));
    return 1;
}

// The tile list a page would show for library `path`: the default tile
// unless the library holds tiles. Freed at scope exit.
struct ShownTiles {
    HeadlessPage page;
    PageRef list = RefOf(&page);
    ShownTiles() { DefaultTiles(list, kTiles); }
    ~ShownTiles() { TileList().clear(list, kTiles); }
    bool Read(const char* path) {
        if (ReadLibraryFile(path, list, kTiles)) return true;
        Fail("There has been an error reading the matrix file.");
        return false;
    }
};

// "use": as the page's library command does. An existing library is read
// (a damaged one is refused and the current one stays current); a new name
// becomes a new library holding the current library's tiles, written at once.
int UseLibrary(const std::string& argument) {
    if (argument.empty()) {
        Fail("use takes the name of a library");
        return 2;
    }
    const std::string name = LibraryFileName(argument);
    char path[kMaxPath + 1], current[kMaxPath + 1], folder[kMaxPath + 1];
    bool exists = false, currentExists = false;
    if (!LibraryPath(name, path, &exists)) return 2;
    ShownTiles tiles;
    if (exists) {
        if (!tiles.Read(path)) return 1;
    } else {
        if (!LibraryPath(Config().matrixCurrentLibrary, current, &currentExists)) return 1;
        if (currentExists && !tiles.Read(current)) return 1;
        if (!TextureFolder(folder) || !MakeFolders(folder) ||
            !WriteLibraryFile(path, tiles.list, kTiles)) {
            Fail("There has been an error updating the matrix file.");
            return 1;
        }
        std::fprintf(stderr, "tsntxtr: made the new library %s with the %d tile(s) of %s\n", path,
                     TileList().count(tiles.list, kTiles), Config().matrixCurrentLibrary);
    }
    const std::string chosen = exists ? std::string(std::strrchr(path, PathSeparator()) + 1) : name;
    std::snprintf(Config().matrixCurrentLibrary, kMaxPath + 1, "%s", chosen.c_str());
    return SaveConfiguration();
}

// A new tile block from a .bmp (kept at its own depth) or .png file; 0
// after reporting why not.
MemHandle TileFromFile(const std::string& path) {
    const std::string ext =
        path.size() > 4 ? std::string(path.end() - 4, path.end()) : std::string();
    MemHandle tile = 0;
    if (EqualNoCase(ext.c_str(), ".bmp")) {
        const std::vector<std::uint8_t> bytes = ReadFileBytes(path);
        tile = PackedDibFromBmp(bytes.data(), bytes.size());
    } else if (EqualNoCase(ext.c_str(), ".png")) {
        RgbImage rgb;
        std::string error;
        const bool read = ReadPngFile(path, &rgb, &error, kMaxTileSide);
        if (!read && (rgb.width > kMaxTileSide || rgb.height > kMaxTileSide)) {
            Fail(kTileTooLargeMessage);
            return 0;
        }
        if (read && (tile = NewImage(rgb.width, rgb.height))) {
            ImageView v;
            LockImage(tile, &v);
            for (int y = 0; y < v.depth; ++y)
                for (int x = 0; x < v.width; ++x) {
                    const unsigned char* p = &rgb.rgb[(std::size_t(y) * v.width + x) * 3];
                    SetPixel(v, x, y, p[0] | p[1] << 8 | std::uint32_t(p[2]) << 16);
                }
            UnlockImage(&v);
        }
    } else {
        Fail("cannot tell the format of '" + path + "': name it .png or .bmp");
        return 0;
    }
    if (!tile) Fail("There has been an error reading the selected image.");
    return tile;
}

}  // namespace

void ReadConfiguration() {
    ReadConfigurationOnce(Say);
}

int Matrix(const std::string& action, const std::string& argument, const std::string& library) {
    if (action == "use") return UseLibrary(argument);
    if (action == "integral") {
        if (argument != "on" && argument != "off") {
            Fail("integral takes on or off");
            return 2;
        }
        Config().matrixIntegralDimensions = argument == "on";
        return SaveConfiguration();
    }
    char path[kMaxPath + 1], folder[kMaxPath + 1];
    bool exists = false;
    const std::string name =
        library.empty() ? std::string(Config().matrixCurrentLibrary) : LibraryFileName(library);
    if (!LibraryPath(name, path, &exists) || !TextureFolder(folder)) return 2;
    ShownTiles tiles;
    const PageRef list = tiles.list;
    if (exists && !tiles.Read(path)) return 1;
    const int count = TileList().count(list, kTiles);
    if (action == "list") {
        std::printf("%s\n", path);
        for (int i = 0; i < count; ++i) {
            TileView v;
            const MemHandle h = TileList().tile(list, kTiles, i);
            if (LockTile(h, &v)) {
                std::printf("%d: %d x %d, %d bits\n", i, v.width, v.height, v.bitCount);
                UnlockTile(&v);
            } else {
                std::printf("%d: not a bitmap (%zu bytes)\n", i, MemSize(h));
            }
        }
        return 0;
    }
    if (action == "add") {
        const MemHandle tile = TileFromFile(argument);
        if (!tile) return 1;
        TileView v;
        if (!LockTile(tile, &v)) {
            MemFree(tile);
            Fail("There has been an error reading the selected image.");
            return 1;
        }
        const bool tooLarge = v.width > kMaxTileSide || v.height > kMaxTileSide;
        UnlockTile(&v);
        if (tooLarge) {
            MemFree(tile);
            Fail(kTileTooLargeMessage);
            return 1;
        }
        if (!TileList().append(list, kTiles, tile)) {
            MemFree(tile);
            Fail("There has been an error adding new items to the current matrix.");
            return 1;
        }
    } else if (action == "delete") {
        char* end = nullptr;
        const long index = std::strtol(argument.c_str(), &end, 10);
        if (argument.empty() || *end || index < 0 || index >= count) {
            Fail("no tile '" + argument + "'; the library holds tiles 0 .. " +
                 std::to_string(count - 1));
            return 2;
        }
        if (count <= 1) {
            Fail("You can't delete all the images in a matrix file.");
            return 1;
        }
        TileList().remove(list, kTiles, int(index));
    } else {
        Fail("unknown matrix action '" + action + "': list, add, delete, use or integral");
        return 2;
    }
    if (!MakeFolders(folder) || !WriteLibraryFile(path, list, kTiles)) {
        Fail("There has been an error updating the matrix file.");
        return 1;
    }
    return 0;
}

}  // namespace tsn::cli
