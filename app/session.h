// Steps of a texture session that do not depend on the user interface, so
// the dialog, the command line and the tests run them identically.
#pragma once

#include "core/page.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/render_step.h"
#include "noisesvc/noise_request.h"

namespace tsn {

// Lets every kind fill its page's own lists (before LoadPages).
void OpenPages(MasterTextureRecord* rec);
// Stores what the pages show that lives in the configuration file rather
// than in a block (the Matrix page's integral switch), when a session is
// confirmed.
void KeepPageSettings(MasterTextureRecord* rec);
// Frees the blocks that the pages' list boxes own.
void FreePageLists(MasterTextureRecord* rec);

// Moves every kind's block values into its page controls.
void LoadPages(MasterTextureRecord* rec);

// True when the environment sets TSNTXTR_TIMINGS: then every render (in the
// plug-in and in tsntxtr alike) and every picture file written report how
// long they took on stderr, so the two front ends can be compared directly.
bool TimingsRequested();

// Preview: reads the selected kind's page into its block and renders it.
// The caller owns the returned image (0 on failure or for a kind that is not
// built).
// `maps` asks for what the command line offers beyond the page.
MemHandle RenderSelectedKind(MasterTextureRecord* rec, const MapRequest& maps = {});

// The request a CGI member sends the noise service: its page's Size and
// seed read into its block by the render step, then the block's request
// (the block's other fields as they stand).
void CgiRequest(MasterTextureRecord* rec, int member, NoiseImageRequest* out);

// Fills the record's nine mutation fountains for the kind at `kindIndex`
// from the seed its page shows plus the record's mutation generation.
// Returns 0 when there is no record.
int BuildMutationSet(MasterTextureRecord* rec, int kindIndex);

// Mutation k's thumbnail: the grey image in that mutation's colours,
// scaled by the largest whole percentage that fits a box x box (at least
// 1 %). 0 when memory runs out or there is no grey image.
MemHandle MutationThumbnail(MasterTextureRecord* rec, int k, MemHandle grey, int boxWidth,
                            int boxHeight);

// A session with no window: the record on the heap, its pages headless.
struct HeadlessSession {
    MasterTextureRecord* rec = nullptr;
    HeadlessPage page;
};
// Builds the record (all kinds reset, pages loaded); false when memory runs
// out.
bool StartHeadlessSession(HeadlessSession* s, const SessionArguments& args);
// Frees the image and everything the kinds keep, then the record.
void EndHeadlessSession(HeadlessSession* s);

}  // namespace tsn
