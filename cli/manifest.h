// Reading a batch manifest: one render per line, written as the arguments
// of `tsntxtr render` are written in a shell. The manifest is data: its
// words are split and unquoted as a shell would, but nothing is expanded
// or run, and a line that cannot be read is an error of that line alone.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/commands.h"

namespace tsn::cli {

// One render line: the physical line it starts on (from 1) and its words,
// or why they could not be read.
struct ManifestLine {
    int number = 0;
    std::vector<std::string> words;
    std::string error;  // set: the line is malformed and `words` is empty
};

// The render lines of a manifest's text. Words are separated by blanks;
// '...' keeps everything literally, "..." everything but \" \\ \$ \`, and a
// backslash outside quotes keeps the character after it. A backslash at a
// line's end joins the next line to it, '#' at the start of a word begins a
// comment, and lines holding only blanks or a comment are left out. A quote
// must close on its line; characters a shell would treat as commands or
// expansions ($ ` ; | & < > ( )) must be quoted, so a manifest never means
// something other than it seems.
std::vector<ManifestLine> ReadManifestText(const std::string& text);

// "K/N" with 0 <= K < N: the share of the lines this run takes. False with
// the reason in *error.
bool ParseShard(const std::string& text, int* k, int* n, std::string* error);
// Whether render line `index` (counted from 0 over the render lines alone)
// falls in shard k of n: every n-th from k.
inline bool InShard(std::size_t index, int k, int n) {
    return index % std::size_t(n) == std::size_t(k);
}

// The folder of a manifest path ("" for a name without a folder).
std::string FolderOf(const std::string& path);
// A path a manifest line names, seen from the manifest's folder: relative
// paths are taken from `folder`, absolute ones stay as they are.
std::string FromFolder(const std::string& folder, const std::string& path);

// Reads a line's words with the options of `render` into *r, its files
// taken from `folder`. False with the reason in *error.
bool ParseRenderLine(const std::vector<std::string>& words, const std::string& folder,
                     RenderRequest* r, std::string* error);
// The files a request writes: the picture, then its height map, normal map
// and settings file where it asks for them.
std::vector<std::string> OutputsOf(const RenderRequest& r);

// A CSV field (RFC 4180): quoted when it holds a comma, quote or line break,
// or when `quote` asks, with its quotes doubled.
std::string CsvField(const std::string& s, bool quote = false);

}  // namespace tsn::cli
