#include "plugin/session.h"

#include "common/image.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

namespace tsn {

void LoadPages(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        if (k.page) PageFromBlock(*k.page, BlockAt(rec, k.blockOffset), rec->dialog);
    }
}

MemHandle RenderSelectedKind(MasterTextureRecord* rec) {
    if (rec->kindIndex < 0 || rec->kindIndex >= kKindCount) return 0;
    const KindDescriptor& k = KindOf(rec->kindIndex);
    if (k.page) PageToBlock(*k.page, rec->dialog, BlockAt(rec, k.blockOffset));
    return KindAt(rec->kindIndex).render(rec);
}

MemHandle MutationThumbnail(MasterTextureRecord* rec, int k, MemHandle grey, int boxWidth,
                            int boxHeight) {
    ImageView g;
    if (!LockImage(grey, &g)) return 0;
    const int pct = std::max(1, std::min(boxWidth * 100 / g.width, boxHeight * 100 / g.depth));
    UnlockImage(&g);
    FountainToColourTable(rec->mutations[k], rec->colourTable);
    const MemHandle coloured = ColouriseImage(grey, rec->colourTable);
    const MemHandle thumb = coloured ? ScaleImage(coloured, pct) : 0;
    MemFree(coloured);
    return thumb;
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
    delete s->rec;
    s->rec = nullptr;
}

namespace {

// Runs a conversion query with the transfer fields set, then clears them:
// they hold addresses that mean nothing after the call.
bool Transfer(MasterTextureRecord* rec, int kind, int code, void* from, std::uint32_t fromSize,
              void* to, std::uint32_t toSize) {
    rec->transferSource = reinterpret_cast<std::uintptr_t>(from);
    rec->transferTarget = reinterpret_cast<std::uintptr_t>(to);
    rec->transferSourceSize = fromSize;
    rec->transferTargetSize = toSize;
    const bool ok = KindAt(kind).query(rec, code) == 1;
    rec->transferSource = rec->transferTarget = 0;
    rec->transferSourceSize = rec->transferTargetSize = 0;
    return ok;
}

}  // namespace

bool LoadPresetFile(MasterTextureRecord* rec, int kind, const char* path) {
    const std::int64_t size = KindAt(kind).query(rec, kQueryBlockSize);
    const std::int64_t oldSize = KindAt(kind).query(rec, kQueryOldBlockSize);
    if (size < 1 || oldSize < 1) return false;
    auto* buffer = new (std::nothrow) std::uint8_t[std::size_t(oldSize) + 16]();
    if (!buffer) return false;
    bool ok = false;
    if (std::FILE* f = std::fopen(path, "rb")) {
        const std::size_t got = std::fread(buffer, 1, std::size_t(oldSize), f);
        std::fclose(f);
        const KindDescriptor& k = KindOf(kind);
        ok = got == std::size_t(oldSize) && HasSignature(buffer, k.signature) &&
             Transfer(rec, kind, kQueryConvertIn, buffer, std::uint32_t(oldSize),
                      BlockAt(rec, k.blockOffset), std::uint32_t(size));
    }
    delete[] buffer;
    return ok;
}

bool SavePresetFile(MasterTextureRecord* rec, int kind, const char* path) {
    const std::int64_t size = KindAt(kind).query(rec, kQueryBlockSize);
    const std::int64_t oldSize = KindAt(kind).query(rec, kQueryOldBlockSize);
    if (size < 1 || oldSize < 1) return false;
    auto* buffer = new (std::nothrow) std::uint8_t[std::size_t(oldSize) + 16]();
    if (!buffer) return false;
    bool ok = Transfer(rec, kind, kQueryConvertOut, BlockAt(rec, KindOf(kind).blockOffset),
                       std::uint32_t(size), buffer, std::uint32_t(oldSize));
    if (ok) {
        std::FILE* f = std::fopen(path, "wb");
        ok = f && std::fwrite(buffer, 1, std::size_t(oldSize), f) == std::size_t(oldSize);
        if (f && std::fclose(f) != 0) ok = false;
        if (!ok) DeleteFileAt(path);
    }
    delete[] buffer;
    return ok;
}

}  // namespace tsn
