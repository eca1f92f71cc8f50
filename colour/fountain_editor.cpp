#include "colour/fountain_editor.h"

#include <algorithm>
#include <cstring>

namespace tsn {

FountainEditorState GetEditorState(const FountainDefinition& f) {
    FountainEditorState s;
    std::memcpy(&s, f.editorState, sizeof s);
    return s;
}

void SetEditorState(FountainDefinition* f, const FountainEditorState& s) {
    std::memcpy(f->editorState, &s, sizeof s);
}

namespace {
int Count(const FountainDefinition& f) {
    return f.count < 64 ? int(f.count) : 64;
}
bool InBox(int cx, int x, int y, const EditorRect& r) {
    return x >= cx - 5 && x <= cx + 5 && y >= r.top + 4 && y <= r.top + 10;
}
}  // namespace

int MarkerX(const FountainDefinition& f, int i, const EditorRect& r) {
    return r.left + 8 + TruncToInt(MarkerPosition(f.markers[i]) / 255.0 * GradientWidth(r));
}

int HitInnerMarker(const FountainDefinition& f, const EditorRect& r, int x, int y) {
    for (int i = 0; i < Count(f); ++i)
        if (InBox(MarkerX(f, i, r), x, y, r)) return i;
    return -1;
}

int HitEndColour(const EditorRect& r, int x, int y) {
    if (InBox(r.left + 8, x, y, r)) return -1;
    if (InBox(r.right - 8, x, y, r)) return -2;
    return 0;
}

bool InMarkerStrip(const EditorRect& r, int x, int y) {
    return x >= r.left + 8 && x < r.right - 8 && y >= r.top + 3 && y < r.top + 11;
}

bool InGradient(const EditorRect& r, int x, int y) {
    return x >= r.left + 8 && x < r.right - 8 && y >= r.top + 16 && y < r.bottom - 4;
}

int PositionAtX(const EditorRect& r, int x) {
    const int w = GradientWidth(r);
    return w > 0 ? TruncToInt(double(x - (r.left + 8)) / w * 255) : 0;
}

int ClampDragX(const EditorRect& r, int x) {
    return std::clamp(x, r.left + 9, std::max(r.left + 9, r.right - 8));
}

int DropPosition(const EditorRect& r, int x) {
    return std::clamp(PositionAtX(r, ClampDragX(r, x)), 1, 255);
}

void SortMarkers(FountainDefinition* f) {
    // Position 0 marks an unused word and sorts after every position.
    auto key = [](std::uint32_t m) {
        const std::uint32_t p = MarkerPosition(m);
        return p == 0 ? 256u : p;
    };
    std::uint32_t words[64];
    std::memcpy(words, f->markers, sizeof words);
    std::stable_sort(words, words + Count(*f),
                     [&](std::uint32_t a, std::uint32_t b) { return key(a) < key(b); });
    std::memcpy(f->markers, words, sizeof words);
}

bool FindFreePosition(const FountainDefinition& f, int* p) {
    const int count = Count(f);
    if (f.count >= 64) return false;
    auto taken = [&](int q) {
        for (int i = 0; i < count; ++i)
            if (int(MarkerPosition(f.markers[i])) == q) return true;
        return false;
    };
    bool hitTop = false, hitBottom = false;
    int q = *p, step = -1;
    // Below 63 the walk only alternates between two positions, so a few
    // hundred steps are more than any search that can succeed takes.
    for (int steps = 0; steps < 600; ++steps) {
        if (hitTop && hitBottom) return false;
        if (count == 0 || !taken(q)) {
            *p = q;
            return true;
        }
        if (q < 1) {
            q = q + 1;
            hitBottom = true;
            step = -1;
        } else if (q >= 63) {
            hitTop = true;
            q = q - 1;
            step = +1;
        } else {
            q = q + step;
            step = -step;
        }
    }
    return false;
}

bool AddMarker(FountainDefinition* f, int p, std::uint32_t colour) {
    if (!FindFreePosition(*f, &p)) return false;
    f->markers[f->count] = MakeMarker(std::uint32_t(p), colour);
    f->count = f->count + 1;
    SortMarkers(f);
    return true;
}

bool DeleteMarker(FountainDefinition* f, int n) {
    if (n < 0 || n >= Count(*f)) return false;
    f->markers[n] = 0;
    SortMarkers(f);
    f->count = f->count - 1;
    return true;
}

bool MoveMarker(FountainDefinition* f, int n, int p) {
    if (n < 0 || n >= Count(*f)) return false;
    const std::uint32_t word = f->markers[n];
    DeleteMarker(f, n);
    if (!AddMarker(f, p, word)) {
        f->markers[f->count] = word;
        f->count = f->count + 1;
        SortMarkers(f);
    }
    return true;
}

// By value: the record is packed, so a pointer to one of its words would be
// misaligned.
bool GetMarkerWord(const FountainDefinition& f, int n, std::uint32_t* word) {
    if (n == -1)
        *word = f.start;
    else if (n == -2)
        *word = f.end;
    else if (n >= 0 && n < Count(f))
        *word = f.markers[n];
    else
        return false;
    return true;
}

bool SetMarkerWord(FountainDefinition* f, int n, std::uint32_t word) {
    if (n == -1)
        f->start = word;
    else if (n == -2)
        f->end = word;
    else if (n >= 0 && n < Count(*f))
        f->markers[n] = word;
    else
        return false;
    return true;
}

}  // namespace tsn
