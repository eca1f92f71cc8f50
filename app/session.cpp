#include "app/session.h"

#include "app/config_file.h"
#include "app/kind_list.h"
#include "app/matrix_library.h"
#include "core/image.h"
#include "core/tile_list.h"
#include "kind/page_transfer.h"
#include "kind/render_step.h"
#include "kinds/cgi.h"
#include "kinds/matrix/matrix.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tsn {

void OpenPages(MasterTextureRecord* rec) {
    // The Matrix page shows the current library (the built-in tile until
    // one is read) and the integral switch, both kept in the configuration.
    DefaultTiles(rec->dialog, kMatrixTileListId);
    char path[kMaxPath + 1];
    if (MatrixLibraryPath(Config().matrixCurrentLibrary, path))
        ReadLibraryFile(path, rec->dialog, kMatrixTileListId);
    Page().setCheck(rec->dialog, kMatrixIntegralId, Config().matrixIntegralDimensions != 0);
}

void KeepPageSettings(MasterTextureRecord* rec) {
    Config().matrixIntegralDimensions = Page().getCheck(rec->dialog, kMatrixIntegralId) ? 1 : 0;
}

void FreePageLists(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) {
        const PageTable* t = KindOf(i).page;
        for (int f = 0; t && f < t->count; ++f)
            if (t->fields[f].control == Control::ListBox)
                TileList().clear(rec->dialog, t->fields[f].id);
    }
}

void LoadPages(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        if (k.page) PageFromBlock(*k.page, BlockAt(rec, k.blockOffset), rec->dialog);
    }
}

bool TimingsRequested() {
    static const bool requested = std::getenv("TSNTXTR_TIMINGS") != nullptr;
    return requested;
}

MemHandle RenderSelectedKind(MasterTextureRecord* rec, const MapRequest& maps) {
    if (rec->kindIndex < 0 || rec->kindIndex >= kKindCount) return 0;
    const KindDescriptor& k = KindOf(rec->kindIndex);
    if (k.page) PageToBlock(*k.page, rec->dialog, BlockAt(rec, k.blockOffset));
    const bool report = TimingsRequested();
    const auto start = std::chrono::steady_clock::now();
    // What the kinds read from the configuration, handed over as values.
    SetPipesTones(PipesTonesOf(Config()));
    const bool beyondPage = maps.tileable || maps.height || maps.rows;
    const MemHandle image =
        beyondPage ? RenderTakingValues(k, rec, maps) : KindAt(rec->kindIndex).render(rec);
    if (report) {
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        ImageView v;
        if (!image && maps.rows) {
            std::fprintf(stderr, "render %s, handed on as painted: %.3f s\n", k.key, took.count());
        } else if (LockImage(image, &v)) {
            std::fprintf(stderr, "render %s %d x %d: %.3f s\n", k.key, v.width, v.depth,
                         took.count());
            UnlockImage(&v);
        } else {
            std::fprintf(stderr, "render %s failed: %.3f s\n", k.key, took.count());
        }
        std::fflush(stderr);
    }
    return image;
}

MemHandle MutationThumbnail(MasterTextureRecord* rec, int k, MemHandle grey, int boxWidth,
                            int boxHeight) {
    ImageView g;
    if (!LockImage(grey, &g)) return 0;
    const int pct = std::max(1, std::min(boxWidth * 100 / g.width, boxHeight * 100 / g.depth));
    UnlockImage(&g);
    FountainToColourTable(rec->mutations[k], rec->colourTable);
    return ColouredThumbnail(grey, rec->colourTable, pct);
}

bool StartHeadlessSession(HeadlessSession* s, const SessionArguments& args) {
    s->rec = new (std::nothrow) MasterTextureRecord;
    if (!s->rec) return false;
    InitRecord(s->rec, args);
    s->rec->dialog = RefOf(&s->page);
    // As the dialog starts: the grid is shown, so a settings file written
    // from here opens the dialog with it.
    s->rec->showMutations = 1;
    ResetAllKinds(s->rec);
    OpenPages(s->rec);
    LoadPages(s->rec);
    return true;
}

void EndHeadlessSession(HeadlessSession* s) {
    if (!s->rec) return;
    MemFree(s->rec->image);
    s->rec->image = 0;
    for (FountainDefinition& m : s->rec->mutations) {
        MemFree(m.cachedImage);
        m.cachedImage = 0;
    }
    ReleaseAllKinds(s->rec);
    FreePageLists(s->rec);
    delete s->rec;
    s->rec = nullptr;
}

void CgiRequest(MasterTextureRecord* rec, int member, NoiseImageRequest* out) {
    const KindDescriptor& k = CgiMemberKind(member);
    RenderValues values;
    TakeRenderValues(k, rec, &values);
    CgiRequestFromBlock(member, BlockAt(rec, k.blockOffset), out);
}

int BuildMutationSet(MasterTextureRecord* rec, int kindIndex) {
    if (!rec) return 0;
    // Thumbnails of the previous generation belong to the record; drop them
    // before their slots are overwritten.
    for (FountainDefinition& m : rec->mutations) {
        MemFree(m.cachedImage);
        m.cachedImage = 0;
    }
    std::uint32_t seed = rec->mutationGeneration;
    if (kindIndex >= 0 && kindIndex < kKindCount)
        seed += std::uint32_t(KindAt(kindIndex).query(rec, kQuerySeed));
    BuildMutationFountains(seed, rec->mutations);
    return 1;
}

}  // namespace tsn
