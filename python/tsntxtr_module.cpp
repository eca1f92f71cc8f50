// The Python module `tsntxtr`: the kinds, what `describe` says of them, and
// renders as NumPy arrays, through the same request path as the command, so
// the same arguments give the same pixels and the same messages. A render
// lets go of the interpreter while it works, so a thread pool keeps every
// core busy.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/kind_list.h"
#include "app/render_request.h"
#include "core/height_field.h"
#include "core/image.h"
#include "core/parallel.h"
#include "kind/descriptor.h"
#include "kind/page_table.h"

namespace py = pybind11;

namespace tsn::python {

namespace {

// What the request path said, kept until the interpreter is held again.
struct Messages {
    std::vector<std::string> errors, notes;
    MessageSink Sink() {
        return [this](MessageKind kind, const std::string& text) {
            (kind == MessageKind::Error ? errors : notes).push_back(text);
        };
    }
};

// The warning category of a value the page clamped (or a configuration
// entry it refused); set up with the module.
PyObject* g_clampWarning = nullptr;

// Issues the notes as warnings, then raises the errors, if any, as
// `category` (ValueError unless the render ran out of memory).
void Deliver(const Messages& m, PyObject* category = PyExc_ValueError) {
    for (const std::string& note : m.notes)
        if (PyErr_WarnEx(g_clampWarning, note.c_str(), 2) < 0) throw py::error_already_set();
    if (m.errors.empty()) return;
    std::string text;
    for (const std::string& e : m.errors) text += (text.empty() ? "" : "\n") + e;
    PyErr_SetString(category, text.c_str());
    throw py::error_already_set();
}

// A field's value as the command line would type it: check boxes as 0 or 1,
// whole numbers in decimal, reals as Python writes them (the shortest text
// that reads back as the same double), names and colour texts as given.
std::string ValueText(const std::string& field, const py::handle& value) {
    if (py::isinstance<py::bool_>(value)) return value.cast<bool>() ? "1" : "0";
    if (py::isinstance<py::str>(value)) return value.cast<std::string>();
    if (PyIndex_Check(value.ptr()))
        return py::str(py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr())))
            .cast<std::string>();
    if (PyFloat_Check(value.ptr()) || py::hasattr(value, "__float__"))
        return py::repr(py::float_(py::reinterpret_borrow<py::object>(value))).cast<std::string>();
    throw py::type_error("the value of " + field + " must be a number, a bool or a str, not " +
                         std::string(py::str(py::type::of(value).attr("__name__"))));
}

// The request a call's arguments make, read while the interpreter is held.
SessionRequest RequestOf(const std::optional<std::string>& kind, std::optional<int> width,
                         std::optional<int> depth, std::optional<long long> seed,
                         const py::object& fields, const py::object& fromFile,
                         const std::optional<std::string>& preset) {
    SessionRequest q;
    if (kind) q.kind = *kind;
    q.width = width;
    q.depth = depth;
    q.seed = seed;
    if (!fromFile.is_none())
        q.from = py::str(py::module_::import("os").attr("fspath")(fromFile)).cast<std::string>();
    if (preset) q.preset = *preset;
    if (!fields.is_none()) {
        if (!py::isinstance<py::dict>(fields))
            throw py::type_error("fields must be a dict of FIELD: value");
        for (const auto& [name, value] : fields.cast<py::dict>()) {
            const std::string field = py::str(name).cast<std::string>();
            q.sets.push_back(field + "=" + ValueText(field, value));
        }
    }
    return q;
}

// A picture's pixels as rows of red, green, blue, top row first.
struct Pixels {
    int width = 0, depth = 0;
    std::unique_ptr<std::uint8_t[]> rgb;
};

// What one render gives back; `failed` says why there is nothing.
struct Outcome {
    Pixels picture;
    HeightField height;
    bool failed = true;
    bool outOfMemory = false;
};

// Prepares and renders the request without touching the interpreter.
Outcome RenderUnlocked(const SessionRequest& q, bool tileable, bool wantHeight, Messages* m) {
    Outcome out;
    RequestedSession p(q, m->Sink());
    if (p.kind < 0) return out;
    if (!KindOffersMaps(KindOf(p.kind), tileable, wantHeight, m->Sink())) return out;
    const MemHandle image = p.Draw(MapRequest{tileable, wantHeight ? &out.height : nullptr});
    p.ReportClamps();
    p.ReportNote();
    if (!image) {
        out.outOfMemory = p.ReportFailure() == RenderFailure::OutOfMemory;
        return out;
    }
    ImageView v;
    if (wantHeight) {
        out.failed = false;  // the height field is the answer, not the picture
    } else if (LockImage(image, &v)) {
        Pixels& px = out.picture;
        px.width = v.width;
        px.depth = v.depth;
        const std::size_t stride = std::size_t(v.width) * 3;
        px.rgb = std::make_unique_for_overwrite<std::uint8_t[]>(stride * std::size_t(v.depth));
        // Blue, green, red rows from the bottom up become red, green, blue
        // rows from the top, on every core (a big picture's copy would
        // otherwise take a good part of its render's time).
        ParallelRows(v.depth, [&](int y0, int y1) {
            for (int y = y0; y < y1; ++y) {
                const std::uint8_t* row = v.Row(y);
                std::uint8_t* to = px.rgb.get() + std::size_t(y) * stride;
                for (int x = 0; x < v.width; ++x) {
                    to[3 * x] = row[3 * x + 2];
                    to[3 * x + 1] = row[3 * x + 1];
                    to[3 * x + 2] = row[3 * x];
                }
            }
        });
        UnlockImage(&v);
        out.failed = false;
    }
    MemFree(image);
    if (wantHeight && !out.failed && out.height.width <= 0) {
        m->errors.push_back("the render made no height field");
        out.failed = true;
    }
    return out;
}

// Renders with the interpreter released, then raises what went wrong.
Outcome RenderOrRaise(const SessionRequest& q, bool tileable, bool wantHeight) {
    Messages m;
    Outcome out;
    {
        py::gil_scoped_release released;
        out = RenderUnlocked(q, tileable, wantHeight, &m);
    }
    if (out.failed && m.errors.empty()) m.errors.push_back("the picture could not be read back");
    Deliver(m, out.outOfMemory ? PyExc_MemoryError : PyExc_ValueError);
    return out;
}

// An array that owns `data`, without copying it.
template <class T>
py::array_t<T> ArrayOf(std::vector<T>&& data, std::vector<py::ssize_t> shape) {
    auto* kept = new std::vector<T>(std::move(data));
    py::capsule owner(kept, [](void* p) { delete static_cast<std::vector<T>*>(p); });
    return py::array_t<T>(shape, kept->data(), owner);
}
py::array_t<std::uint8_t> ArrayOf(std::unique_ptr<std::uint8_t[]>&& data,
                                  std::vector<py::ssize_t> shape) {
    std::uint8_t* kept = data.release();
    py::capsule owner(kept, [](void* p) { delete[] static_cast<std::uint8_t*>(p); });
    return py::array_t<std::uint8_t>(shape, kept, owner);
}

py::array_t<std::uint8_t> Render(const std::optional<std::string>& kind, std::optional<int> width,
                                 std::optional<int> depth, std::optional<long long> seed,
                                 const py::object& fields, bool tileable,
                                 const py::object& fromFile,
                                 const std::optional<std::string>& preset) {
    const SessionRequest q = RequestOf(kind, width, depth, seed, fields, fromFile, preset);
    Outcome out = RenderOrRaise(q, tileable, false);
    const py::ssize_t w = out.picture.width, d = out.picture.depth;
    return ArrayOf(std::move(out.picture.rgb), {d, w, 3});
}

py::array_t<std::uint16_t> Height(const std::optional<std::string>& kind, std::optional<int> width,
                                  std::optional<int> depth, std::optional<long long> seed,
                                  const py::object& fields, bool tileable,
                                  const py::object& fromFile,
                                  const std::optional<std::string>& preset) {
    const SessionRequest q = RequestOf(kind, width, depth, seed, fields, fromFile, preset);
    Outcome out = RenderOrRaise(q, tileable, true);
    const py::ssize_t w = out.height.width, d = out.height.depth;
    return ArrayOf(std::move(out.height.level), {d, w});
}

py::list Kinds() {
    py::list keys;
    for (int i = 0; i < kKindCount; ++i) keys.append(KindOf(i).key);
    return keys;
}

// A field's value as Python holds it: whole-number types as int, reals as
// float.
py::object ValueOf(const PageField& f, double v) {
    if (f.type == FieldType::F64) return py::float_(v);
    return py::int_(static_cast<long long>(v));
}

py::dict FieldOf(const PageField& f) {
    py::dict d;
    d["name"] = f.name;
    d["label"] = f.label;
    d["type"] = FieldTypeName(f.type);
    d["control"] = ControlName(f.control);
    d["id"] = f.control == Control::None ? py::object(py::none()) : py::int_(f.id);
    const bool flag = f.type == FieldType::FlagBit || f.control == Control::CheckBox;
    if (f.type == FieldType::Fountain) {
        d["range"] = py::none();
        d["default"] = py::none();  // the kind's built-in colour map
    } else if (flag) {
        d["range"] = py::make_tuple(0, 1);
        d["default"] = py::int_(f.blockDefault != 0 ? 1 : 0);
    } else {
        d["range"] = py::make_tuple(ValueOf(f, f.min), ValueOf(f, f.max));
        d["default"] = ValueOf(f, f.blockDefault);
    }
    d["range_text"] = FieldRangeText(f);
    d["default_text"] = f.type == FieldType::Fountain ? std::string("built-in")
                                                      : FormatFieldValue(f, f.blockDefault);
    d["meaning"] = f.help;
    if (f.choices) {
        py::list items;
        std::string item;
        for (const char* s = f.choices;; ++s) {
            if (*s == ';' || *s == 0) {
                items.append(item);
                item.clear();
                if (*s == 0) break;
            } else {
                item += *s;
            }
        }
        d["choices"] = items;
    } else {
        d["choices"] = py::none();
    }
    return d;
}

py::dict Describe(const std::string& name) {
    Messages m;
    const int kind = ResolveKind(name, m.Sink());
    Deliver(m);
    const KindDescriptor& k = KindOf(kind);
    py::dict d;
    d["key"] = k.key;
    d["name"] = k.name;
    d["block_size"] = k.blockSize;
    d["signature"] = std::string(k.signature, 8);
    d["colour_map_mutable"] = (k.flags & kKindHasColourMap) != 0;
    d["renders"] = KindRenders(k);
    d["tileable"] = (k.maps & kMapsTile) != 0;
    d["height_map"] = (k.maps & kMapsHeight) != 0;
    py::list fields;
    for (int i = 0; k.page && i < k.page->count; ++i) fields.append(FieldOf(k.page->fields[i]));
    d["fields"] = fields;
    return d;
}

}  // namespace

}  // namespace tsn::python

PYBIND11_MODULE(tsntxtr, m) {
    using namespace tsn::python;
    m.doc() =
        "Textures and fractals: the kinds of the tsntxtr command, rendered into NumPy arrays.\n"
        "The same arguments give the same pixels as `tsntxtr render`.";
    m.attr("__version__") = TSN_VERSION;
    // pybind11 looks NumPy's interface up on first use, importing NumPy
    // under a once-only guard; were that first use in renders on several
    // threads at once, one would wait at the guard holding the interpreter
    // while the other needs the interpreter to finish the import. Doing it
    // here, under the import lock, it is done before any thread renders.
    py::array_t<std::uint8_t> warmUp(std::vector<py::ssize_t>{0});
    g_clampWarning = PyErr_NewExceptionWithDoc(
        "tsntxtr.ClampWarning",
        "A value was outside its field's range or between its steps; the render used the "
        "nearest value the page takes, as the command does.",
        PyExc_UserWarning, nullptr);
    if (!g_clampWarning) throw py::error_already_set();
    m.attr("ClampWarning") = py::handle(g_clampWarning);

    m.def("kinds", &Kinds, "The keys of the 23 kinds, in catalogue order.");
    m.def("describe", &Describe, py::arg("kind"),
          "A kind's parameters as `tsntxtr describe` shows them: a dict with its key, name,\n"
          "whether it tiles and has a height map, and 'fields', one dict per field (name,\n"
          "label, type, control, range, default, meaning, choices). Raises ValueError for an\n"
          "unknown kind.");
    const char* common =
        "kind: a key ('noise') or display name; may be left out with from_file.\n"
        "width, depth, seed: as --width, --depth and --seed.\n"
        "fields: {FIELD: value} as --set FIELD=VALUE (names as describe() gives them).\n"
        "tileable: as --tileable. from_file: a settings or preset file, as --from.\n"
        "preset: one of the kind's named presets, as --preset.\n"
        "A bad kind, field or value raises ValueError with the command's message; a value\n"
        "the page clamps gives a tsntxtr.ClampWarning. The interpreter is released while\n"
        "the picture renders.";
    m.def("render", &Render, py::arg("kind") = py::none(), py::kw_only(),
          py::arg("width") = py::none(), py::arg("depth") = py::none(),
          py::arg("seed") = py::none(), py::arg("fields") = py::none(), py::arg("tileable") = false,
          py::arg("from_file") = py::none(), py::arg("preset") = py::none(),
          (std::string("The picture as a uint8 array of shape (depth, width, 3), RGB, top row "
                       "first.\n") +
           common)
              .c_str());
    m.def("height", &Height, py::arg("kind") = py::none(), py::kw_only(),
          py::arg("width") = py::none(), py::arg("depth") = py::none(),
          py::arg("seed") = py::none(), py::arg("fields") = py::none(), py::arg("tileable") = false,
          py::arg("from_file") = py::none(), py::arg("preset") = py::none(),
          (std::string("The height field the picture is made from (as --height writes it): a "
                       "uint16 array of shape (depth, width).\n") +
           common)
              .c_str());
}
