#include "app/render_request.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

#include "app/config_file.h"
#include "app/kind_list.h"
#include "app/presets.h"
#include "core/page.h"
#include "core/text.h"
#include "core/tile_list.h"
#include "kind/page_transfer.h"
#include "kinds/matrix/matrix.h"

namespace tsn {

namespace {

std::string FieldNames(const PageTable& t) {
    std::string s;
    for (int i = 0; i < t.count; ++i)
        if (t.fields[i].type != FieldType::Fountain)
            s += std::string(s.empty() ? "" : ", ") + t.fields[i].name;
    return s;
}

// Loads the settings or preset file the request starts from. Returns the
// kind it names, or -1 after saying what was wrong.
int LoadStartingFile(MasterTextureRecord* rec, const std::string& path,
                     const RequestedSession& say) {
    char signature[9] = {};
    long length = 0;
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
        if (std::fread(signature, 1, 8, f) != 8) signature[0] = 0;
        if (std::fseek(f, 0, SEEK_END) != 0 || (length = std::ftell(f)) < 1) length = -1;
        std::fclose(f);
    } else {
        say.Error("cannot open '" + path + "': " + std::strerror(errno));
        return -1;
    }
    int kind;
    if (std::memcmp(signature, "VANTTSTT", 8) == 0) {
        if (!LoadSettingsFile(rec, path.c_str())) {
            say.Error("'" + path + "' is a damaged settings file (wrong length, version or size)");
            return -1;
        }
        ForgetAllUntrustedFountainNames(rec);
        kind = rec->kindIndex;
    } else {
        const auto dot = path.find_last_of('.');
        const std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
        // Two kinds share a signature; a preset's length tells them apart.
        kind = length > 0 ? FindKindBySignature(signature, ext.c_str(), std::uint64_t(length)) : -1;
        if (kind < 0 || !LoadPresetFile(rec, kind, path.c_str())) {
            say.Error("'" + path + "' is neither a settings file nor a preset of any kind");
            return -1;
        }
    }
    LoadPages(rec);
    return kind;
}

// Enters the request's values on the kind's page, as a user typing would,
// and remembers what was asked so clamping can be reported. False after
// saying which value or field does not exist.
bool ApplyOptions(MasterTextureRecord* rec, const KindDescriptor& kind, const SessionRequest& r,
                  std::vector<AskedValue>* asked, const RequestedSession& say) {
    const PageTable& page = *kind.page;
    std::uint8_t* block = BlockAt(rec, kind.blockOffset);
    auto enter = [&](const PageField& f, const std::string& text) {
        std::string error;
        double v = 0;
        if (!EnterFieldText(f, text, rec->dialog, block, &error, &v)) {
            say.Error(error);
            return false;
        }
        asked->push_back({&f, text, v});
        // The seed option takes effect at once: the seed the picture uses
        // is the block's, so it is set there too, clamped as the page clamps.
        if (f.role == Role::Seed) {
            const int clamped = ReadPageInteger(rec->dialog, f.id);
            SetFieldValue(f, block, clamped);
            Page().setText(rec->dialog, f.id, std::to_string(clamped).c_str());
        }
        return true;
    };
    struct Option {
        bool given;
        std::string value;
        Role role;
        const char* what;
    };
    auto text = [](const auto& v) { return v ? std::to_string(*v) : std::string(); };
    for (const Option& o : {Option{r.width.has_value(), text(r.width), Role::Width, "--width"},
                            Option{r.depth.has_value(), text(r.depth), Role::Depth, "--depth"},
                            Option{r.seed.has_value(), text(r.seed), Role::Seed, "random seed"}}) {
        if (!o.given) continue;
        const PageField* f = FieldWithRole(page, o.role);
        if (!f) {
            say.Error(std::string(kind.name) + " has no " + o.what);
            return false;
        }
        if (!enter(*f, o.value)) return false;
    }
    for (const std::string& set : r.sets) {
        const auto eq = set.find('=');
        const std::string name = set.substr(0, eq);
        const PageField* f = FindField(page, name);
        if (eq == std::string::npos || !f || f->type == FieldType::Fountain) {
            say.Error(eq == std::string::npos ? "--set takes FIELD=VALUE, not '" + set + "'"
                                              : "unknown field '" + name + "' of " + kind.name +
                                                    "; the fields are: " + FieldNames(page));
            return false;
        }
        if (!enter(*f, set.substr(eq + 1))) return false;
    }
    return true;
}

}  // namespace

void ReadConfigurationOnce(const MessageSink& sink) {
    static std::once_flag once;
    std::call_once(once, [&] {
        char path[kMaxPath + 1];
        std::string refused;
        if (!ConfigFilePath(path)) return;
        ReadConfigFile(&Config(), path, &refused);
        for (std::size_t at = 0, end; (end = refused.find('\n', at)) != std::string::npos;
             at = end + 1)
            sink(MessageKind::Note, std::string(path) + ": " + refused.substr(at, end - at));
    });
}

std::string KindKeys() {
    std::string s;
    for (int i = 0; i < kKindCount; ++i) s += std::string(i ? ", " : "") + KindOf(i).key;
    return s;
}

int ResolveKind(const std::string& name, const MessageSink& sink) {
    const int k = FindKind(name.c_str());
    if (k < 0)
        sink(MessageKind::Error, "unknown kind '" + name + "'; the kinds are: " + KindKeys());
    return k;
}

std::string FieldRangeText(const PageField& f) {
    if (f.type == FieldType::Fountain) return "-";
    if (f.type == FieldType::FlagBit || f.control == Control::CheckBox) return "0 | 1";
    return FormatFieldValue(f, f.min) + " .. " + FormatFieldValue(f, f.max);
}

bool ListsPresetName(const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& n) { return EqualNoCase(n.c_str(), name.c_str()); });
}

bool KindOffersMaps(const KindDescriptor& k, bool tileable, bool height, const MessageSink& sink) {
    if (tileable && !(k.maps & kMapsTile)) {
        sink(MessageKind::Error, std::string(k.name) +
                                     " cannot be made tileable: its picture has no period " +
                                     "(tsntxtr describe KIND says which kinds tile)");
        return false;
    }
    if (height && !(k.maps & kMapsHeight)) {
        sink(MessageKind::Error, std::string(k.name) +
                                     " has no height field for --height or --normal " +
                                     "(tsntxtr describe KIND says which kinds have one)");
        return false;
    }
    return true;
}

RequestedSession::RequestedSession(const SessionRequest& r, MessageSink sink, bool mustRender)
    : sink_(std::move(sink)) {
    // The configuration file's settings (the current matrix library the
    // session opens with, the Pipes effects' tone presets) apply here as they
    // do in the plug-in.
    ReadConfigurationOnce(sink_);
    if (!StartHeadlessSession(&s, SessionArguments{})) {
        Error("out of memory");
        code = 1;
        return;
    }
    MasterTextureRecord* rec = s.rec;
    int k = -1;
    if (!r.from.empty()) {
        k = LoadStartingFile(rec, r.from, *this);
        code = 1;
        if (k < 0) return;
    }
    code = 2;
    if (!r.kind.empty()) {
        k = ResolveKind(r.kind, sink_);
        if (k < 0) return;
    }
    if (k < 0 || k >= kKindCount) {
        Error(r.from.empty() ? "name a kind to render; the kinds are: " + KindKeys()
                             : "'" + r.from + "' names no kind; name one");
        return;
    }
    const KindDescriptor& d = KindOf(k);
    if ((!r.preset.empty() || r.storesPreset) && !d.presetList) {
        Error(std::string(d.name) + " has no presets");
        return;
    }
    if (!r.preset.empty()) {
        const auto names = ListPresets(k);
        if (!ListsPresetName(names, r.preset)) {
            Error(
                std::string(d.name) + " has no preset '" + r.preset + "'" +
                (names.empty() ? "" : "; `tsntxtr presets " + std::string(d.key) + "` lists them"));
            return;
        }
        if (!LoadPreset(rec, k, r.preset)) {
            Error("the preset '" + r.preset + "' of " + d.name +
                  " is damaged (wrong length or signature)");
            return;
        }
        LoadPages(rec);
    }
    if (mustRender && !KindRenders(d)) {
        Error(std::string(d.name) + " is not built yet; `tsntxtr list` shows which kinds render");
        code = 1;
        return;
    }
    rec->kindIndex = k;
    if (!ApplyOptions(rec, d, r, &asked, *this)) return;
    code = 0;
    kind = k;
}

RequestedSession::~RequestedSession() {
    EndHeadlessSession(&s);
}

void RequestedSession::ReportClamps() const {
    const std::uint8_t* block = BlockAt(s.rec, KindOf(kind).blockOffset);
    for (const AskedValue& a : asked) {
        const double used = GetFieldValue(*a.field, block);
        if (used == a.value) continue;
        Note(std::string(a.field->name) + " " + a.text + " is outside " + FieldRangeText(*a.field) +
             " or between its steps; used " + FormatFieldValue(*a.field, used));
    }
}

RenderFailure RequestedSession::ReportFailure() const {
    // Matrix draws a tile of its library: a selection past its end is no
    // shortage of memory.
    const int tiles = TileList().count(s.rec->dialog, kMatrixTileListId);
    const int selection = MatrixBlock(s.rec)->selection;
    if (&KindOf(kind) == &kMatrixKind && (selection < 0 || selection >= tiles)) {
        Error("the matrix library holds no tile " + std::to_string(selection) + " (it holds " +
              std::to_string(tiles) + "; see tsntxtr matrix list)");
        return RenderFailure::NoSuchTile;
    }
    Error(std::string("rendering ") + KindOf(kind).name + " failed: out of memory");
    return RenderFailure::OutOfMemory;
}

MemHandle RequestedSession::Draw(const MapRequest& maps) {
    renderNote_.clear();
    MapRequest noted = maps;
    noted.note = &renderNote_;
    return RenderSelectedKind(s.rec, noted);
}

void RequestedSession::ReportNote() const {
    if (!renderNote_.empty()) Note(renderNote_);
}

MemHandle RequestedSession::Render(const MapRequest& maps) {
    const MemHandle image = Draw(maps);
    ReportClamps();
    ReportNote();
    if (!image) ReportFailure();
    return image;
}

}  // namespace tsn
