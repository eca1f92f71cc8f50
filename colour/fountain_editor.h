// The rules of the colour-map editor that do not depend on windows: its
// geometry, hit testing, the run-time state it keeps in the last 28 bytes of
// its fountain, and the marker operations (add, delete, move, sort, the
// free-position search). The Windows control calls these, so they are tested
// without a window.
#pragma once

#include <cstdint>

#include "colour/fountain.h"

namespace tsn {

// The editor's state, kept in FountainDefinition::editorState.
#pragma pack(push, 1)
struct FountainEditorState {
    std::int32_t selected;  // -1 start, -2 end, 0 .. count - 1 inner marker
    std::uint32_t drawn;    // a drag triangle is drawn inverted
    std::uint32_t dragging;
    std::int32_t pressX, pressY;
    std::int32_t lastX, lastY;
};
#pragma pack(pop)
static_assert(sizeof(FountainEditorState) == 28);

FountainEditorState GetEditorState(const FountainDefinition& f);
void SetEditorState(FountainDefinition* f, const FountainEditorState& s);

// The control's client rectangle.
struct EditorRect {
    int left, top, right, bottom;
};
constexpr int GradientWidth(const EditorRect& r) {
    return r.right - r.left - 16;
}
constexpr int GradientHeight(const EditorRect& r) {
    return r.bottom - r.top - 20;
}

// x of inner marker i in client coordinates.
int MarkerX(const FountainDefinition& f, int i, const EditorRect& r);
// The first inner marker (in stored order) whose hit box holds the point,
// or -1.
int HitInnerMarker(const FountainDefinition& f, const EditorRect& r, int x, int y);
// -1 on the start colour's hit box, -2 on the end colour's, 0 on neither.
int HitEndColour(const EditorRect& r, int x, int y);
bool InMarkerStrip(const EditorRect& r, int x, int y);
bool InGradient(const EditorRect& r, int x, int y);
// The position 0 .. 255 under x (not clamped).
int PositionAtX(const EditorRect& r, int x);
// Where a dragged marker's triangle is drawn: x kept inside the gradient,
// at least one pixel right of its left edge.
int ClampDragX(const EditorRect& r, int x);
// The position a marker dropped at x takes: that of the clamped x, 1 .. 255
// (an inner marker never sits at 0, which marks an unused word).
int DropPosition(const EditorRect& r, int x);

// Sorts the first `count` markers by position, unused (position 0) last.
void SortMarkers(FountainDefinition* f);
// From position p, a position no inner marker holds: upward from below 1,
// downward from 63 and above, otherwise alternating around p. False when
// there are 64 markers or the search finds nothing in a bounded number of
// steps.
bool FindFreePosition(const FountainDefinition& f, int* p);
// Adds a marker of `colour` at the free position nearest p (as searched
// above) and sorts; false when there is no room.
bool AddMarker(FountainDefinition* f, int p, std::uint32_t colour);
// Removes inner marker n and sorts; false for no such marker.
bool DeleteMarker(FountainDefinition* f, int n);
// Moves inner marker n to the free position nearest p, keeping its colour;
// when no position is free the marker stays where it was. False for no such
// marker.
bool MoveMarker(FountainDefinition* f, int n, int p);
// The colour word of marker n (-1 start, -2 end, inner); false for no such
// marker.
bool GetMarkerWord(const FountainDefinition& f, int n, std::uint32_t* word);
bool SetMarkerWord(FountainDefinition* f, int n, std::uint32_t word);

}  // namespace tsn
