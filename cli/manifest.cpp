#include "cli/manifest.h"

#include <cstring>

#include "cli/render_options.h"

namespace tsn::cli {

namespace {

// Characters that a shell would take as an operator or an expansion.
bool ShellSpecial(char c) {
    return std::strchr("$`;|&<>()", c) != nullptr;
}

// Walks a manifest's text a character at a time, collecting the words of
// one line after another.
class Splitter {
  public:
    explicit Splitter(const std::string& text) : text_(text) {}

    std::vector<ManifestLine> Lines() {
        line_.number = 1;
        while (at_ < text_.size()) Step();
        if (quote_) Malformed(std::string("a quote (") + quote_ + ") is not closed on its line");
        EndLine();
        return std::move(lines_);
    }

  private:
    char Next() const { return at_ + 1 < text_.size() ? text_[at_ + 1] : '\0'; }
    bool AtLineEnd() const { return text_[at_] == '\n'; }

    void EndWord() {
        if (inWord_) line_.words.push_back(word_);
        word_.clear();
        inWord_ = false;
    }
    void EndLine() {
        EndWord();
        if (!line_.error.empty()) line_.words.clear();
        if (!line_.words.empty() || !line_.error.empty()) lines_.push_back(line_);
        line_ = ManifestLine{};
        line_.number = physical_ + 1;
    }
    // Records the line's first fault; the rest of its physical line is
    // passed over.
    void Malformed(const std::string& why) {
        if (line_.error.empty()) line_.error = why;
        quote_ = 0;
        while (at_ < text_.size() && !AtLineEnd()) ++at_;
    }
    void NewLine() {
        EndLine();
        ++physical_;
        ++at_;
    }

    void Step() {
        const char c = text_[at_];
        if (c == '\r' && Next() == '\n') {  // a line written on Windows
            ++at_;
            return;
        }
        if (quote_ == '\'') {
            if (c == '\n') return Malformed("a quote (') is not closed on its line");
            if (c == '\'')
                quote_ = 0;
            else
                word_ += c;
            ++at_;
            return;
        }
        if (quote_ == '"') return InDoubleQuotes(c);
        switch (c) {
            case '\n':
                return NewLine();
            case ' ':
            case '\t':
                EndWord();
                break;
            case '\\':
                if (Next() == '\n' ||
                    (Next() == '\r' && at_ + 2 < text_.size() && text_[at_ + 2] == '\n')) {
                    at_ += Next() == '\r' ? 2 : 1;  // joins the next line to this one
                    ++physical_;
                } else if (at_ + 1 < text_.size()) {
                    word_ += text_[++at_];
                    inWord_ = true;
                }
                break;
            case '\'':
            case '"':
                quote_ = c;
                inWord_ = true;
                break;
            case '#':
                if (!inWord_) {
                    while (at_ < text_.size() && !AtLineEnd()) ++at_;
                    return;
                }
                word_ += c;
                break;
            default:
                if (ShellSpecial(c))
                    return Malformed(std::string("'") + c +
                                     "' would mean something to a shell; quote it to mean the "
                                     "character itself (nothing in a manifest is expanded or run)");
                word_ += c;
                inWord_ = true;
        }
        ++at_;
    }

    void InDoubleQuotes(char c) {
        if (c == '\n') return Malformed("a quote (\") is not closed on its line");
        if (c == '"') {
            quote_ = 0;
        } else if (c == '\\' && Next() == '\n') {
            ++at_;
            ++physical_;
        } else if (c == '\\' && Next() && std::strchr("\"\\$`", Next())) {
            word_ += text_[++at_];
        } else if (c == '$' || c == '`') {
            return Malformed(std::string("'") + c +
                             "' inside double quotes would mean something to a shell; write \\" +
                             c + " or use single quotes");
        } else {
            word_ += c;
        }
        ++at_;
    }

    const std::string& text_;
    std::size_t at_ = 0;
    int physical_ = 1;
    char quote_ = 0;
    std::string word_;
    bool inWord_ = false;
    ManifestLine line_;
    std::vector<ManifestLine> lines_;
};

bool ParseCount(const std::string& s, long* value) {
    if (s.empty() || s.size() > 9) return false;
    long v = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + (c - '0');
    }
    *value = v;
    return true;
}

}  // namespace

std::vector<ManifestLine> ReadManifestText(const std::string& text) {
    return Splitter(text).Lines();
}

bool ParseShard(const std::string& text, int* k, int* n, std::string* error) {
    const auto slash = text.find('/');
    long kv = 0, nv = 0;
    if (slash == std::string::npos || !ParseCount(text.substr(0, slash), &kv) ||
        !ParseCount(text.substr(slash + 1), &nv)) {
        *error = "--shard takes K/N, two whole numbers (such as 0/3), not '" + text + "'";
        return false;
    }
    if (nv < 1 || kv >= nv) {
        *error = "--shard " + text + ": K runs from 0 to N - 1 and N is at least 1";
        return false;
    }
    *k = int(kv);
    *n = int(nv);
    return true;
}

std::string FolderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return "";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string FromFolder(const std::string& folder, const std::string& path) {
    if (path.empty() || path[0] == '/' || folder.empty()) return path;
    return folder.back() == '/' ? folder + path : folder + "/" + path;
}

bool ParseRenderLine(const std::vector<std::string>& words, const std::string& folder,
                     RenderRequest* r, std::string* error) {
    *r = RenderRequest{};
    if (!words.empty() && (words[0] == "tsntxtr" || words[0] == "render")) {
        *error = "a line holds the arguments of render alone, without '" + words[0] + "'";
        return false;
    }
    CLI::App line{"a batch line"};
    line.set_help_flag();
    AddRenderOptions(&line, *r);
    std::vector<std::string> reversed(words.rbegin(), words.rend());
    try {
        line.parse(reversed);
    } catch (const CLI::ParseError& e) {
        *error = e.what();
        return false;
    }
    if (r->output == "-") {
        *error = "a batch line writes a file: -o - is not taken here";
        return false;
    }
    for (std::string* path : {&r->output, &r->height, &r->normal, &r->from, &r->saveSettings})
        *path = FromFolder(folder, *path);
    return true;
}

std::vector<std::string> OutputsOf(const RenderRequest& r) {
    std::vector<std::string> outputs{r.output};
    for (const std::string* path : {&r.height, &r.normal, &r.saveSettings})
        if (!path->empty()) outputs.push_back(*path);
    return outputs;
}

std::string CsvField(const std::string& s, bool quote) {
    if (!quote && s.find_first_of(",\"\r\n") == std::string::npos) return s;
    std::string q = "\"";
    for (char c : s) {
        if (c == '"') q += '"';
        q += c;
    }
    return q + "\"";
}

}  // namespace tsn::cli
