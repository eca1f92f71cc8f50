// A render asked for in words, as the command line and the Python module
// take it: a kind by key or name, a settings or preset file to start from, a
// named preset, and FIELD=VALUE settings entered on the kind's page as a user
// typing would. Preparing one makes every check the command makes; what is
// wrong, and what the page clamped, goes to the caller's message sink, so
// each front end says it its own way (stderr, an exception, a warning).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/session.h"
#include "kind/descriptor.h"
#include "kind/page_table.h"

namespace tsn {

struct SessionRequest {
    std::string kind;  // key or display name; may be empty with `from`
    std::string from;  // settings or preset file
    std::optional<int> width, depth;
    std::optional<long long> seed;
    std::vector<std::string> sets;  // FIELD=VALUE
    std::string preset;             // start from this named preset of the kind
    // The caller will also store a preset: a kind without presets is refused.
    bool storesPreset = false;
};

// Errors stop the request; notes (a value the page clamped, a configuration
// entry refused) accompany a render that goes ahead.
enum class MessageKind { Error, Note };
using MessageSink = std::function<void(MessageKind, const std::string&)>;

// What the user asked a field to be, to report where the page clamped it.
struct AskedValue {
    const PageField* field;
    std::string text;
    double value;
};

// Why a render of a prepared request gave no picture.
enum class RenderFailure { OutOfMemory, NoSuchTile };

// A headless session set up for a request: kind, starting file, preset,
// options. `kind` is -1 when the request was refused (the sink has heard
// why) and `code` the command's exit code for it: 1 a file could not be read
// or the kind does not render, 2 the request itself was wrong.
class RequestedSession {
  public:
    // `mustRender` refuses a kind that is not built.
    RequestedSession(const SessionRequest& r, MessageSink sink, bool mustRender = true);
    ~RequestedSession();
    RequestedSession(const RequestedSession&) = delete;
    RequestedSession& operator=(const RequestedSession&) = delete;

    int kind = -1;
    int code = 0;
    HeadlessSession s;
    std::vector<AskedValue> asked;

    void Error(const std::string& message) const { sink_(MessageKind::Error, message); }
    void Note(const std::string& message) const { sink_(MessageKind::Note, message); }

    // Says, as notes, where the page clamped what was asked.
    void ReportClamps() const;
    // Says why the render gave nothing, as an error.
    RenderFailure ReportFailure() const;
    // Renders the prepared kind with the maps asked for and nothing said;
    // what the kind noted about the picture waits for ReportNote.
    MemHandle Draw(const MapRequest& maps);
    // Says, as a note, what the last Draw's kind noted (a tileable scale
    // rounded to whole cells), if anything.
    void ReportNote() const;
    // Renders the prepared kind with the maps asked for (no progress shown),
    // says where values were clamped and, on failure, why. The caller owns
    // the picture.
    MemHandle Render(const MapRequest& maps = {});

  private:
    MessageSink sink_;
    std::string renderNote_;
};

// Reads the configuration file into Config() once per process, the first
// time any caller asks; entries it refuses become notes to that caller's
// sink. Later calls do nothing, so sessions on several threads read the
// settings while nobody writes them.
void ReadConfigurationOnce(const MessageSink& sink);

// The kind a key or display name names, or -1 after saying which exist.
int ResolveKind(const std::string& name, const MessageSink& sink);
// "absnoise, cgigranite, ...": every kind's key.
std::string KindKeys();
// The range `describe` shows: "0 | 1" for a check box, "-" for a colour
// map, else "MIN .. MAX" as the field's values are entered.
std::string FieldRangeText(const PageField& f);
// Preset names are compared without regard to case, as the plug-in's lists
// compare them.
bool ListsPresetName(const std::vector<std::string>& names, const std::string& name);
// Whether the kind offers the maps asked for; false after saying why not.
bool KindOffersMaps(const KindDescriptor& k, bool tileable, bool height, const MessageSink& sink);

}  // namespace tsn
