#include "plugin/session.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace tsn {

void LoadPages(MasterTextureRecord* rec) {
    for (int i = 0; i < kKindCount; ++i) {
        const KindInfo& info = KindInfoAt(i);
        if (info.page) PageFromBlock(*info.page, BlockAt(rec, info.blockOffset), rec->dialog);
    }
}

MemHandle RenderSelectedKind(MasterTextureRecord* rec) {
    if (rec->kindIndex < 0 || rec->kindIndex >= kKindCount) return 0;
    const KindInfo& info = KindInfoAt(rec->kindIndex);
    if (info.page) PageToBlock(*info.page, rec->dialog, BlockAt(rec, info.blockOffset));
    return KindAt(rec->kindIndex).render(rec);
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
        const KindInfo& info = KindInfoAt(kind);
        ok = got == std::size_t(oldSize) && HasSignature(buffer, info.signature) &&
             Transfer(rec, kind, kQueryConvertIn, buffer, std::uint32_t(oldSize),
                      BlockAt(rec, info.blockOffset), std::uint32_t(size));
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
    bool ok = Transfer(rec, kind, kQueryConvertOut, BlockAt(rec, KindInfoAt(kind).blockOffset),
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
