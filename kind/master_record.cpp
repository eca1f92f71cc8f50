#include "kind/master_record.h"

#include <cstdio>
#include <cstring>

#include "core/owners.h"
#include "core/platform.h"

namespace tsn {

void InitRecord(MasterTextureRecord* rec, const SessionArguments& args) {
    std::memset(rec, 0, sizeof *rec);
    WriteHeader(rec, "VANTTSTT", kRecordSize);
    rec->parent = args.parent;
    rec->viewContext = args.viewContext;
    rec->viewImage = args.viewImage;
    rec->hostService = args.hostService;
    rec->flags = args.flags;
    if ((args.flags & kFlagSizeValid) && args.size) {
        rec->width = args.size[0];
        rec->depth = args.size[1];
    }
    for (int i = 0; i < 256; ++i) {
        rec->colourTable[3 * i] = 255;
        rec->colourTable[3 * i + 1] = std::uint8_t(i);
        rec->colourTable[3 * i + 2] = std::uint8_t(i);
    }
}

void ClearSessionFields(MasterTextureRecord* rec) {
    rec->parent = rec->dialog = rec->image = 0;
    rec->viewImage = rec->hostService = rec->viewContext = 0;
    for (FountainDefinition& m : rec->mutations) m.cachedImage = 0;
    rec->transferSource = rec->transferTarget = 0;
    rec->transferSourceSize = rec->transferTargetSize = 0;
    for (const RecordRange& r : kWorkingSlots)
        std::memset(reinterpret_cast<std::uint8_t*>(rec) + r.offset, 0, r.size);
}

bool SettingsFilePath(char out[kMaxPath + 1]) {
    if (!TextureFolder(out)) return false;
    PathAppend(out, "texture.texture", false);
    return true;
}

bool LoadSettingsFile(MasterTextureRecord* rec, const char* path) {
    std::FILE* f = std::fopen(path, "rb");
    if (!f) return false;
    // Read into a copy so a rejected file leaves the live record untouched.
    static_assert(kRecordSize < 64 * 1024);
    const OwnedBlock scratch(MemAlloc(sizeof(MasterTextureRecord)));
    const LockedBlock<MasterTextureRecord> locked(scratch.get());
    MasterTextureRecord* loaded = locked.get();
    if (!loaded) {
        std::fclose(f);
        return false;
    }
    std::size_t got = std::fread(loaded, 1, kRecordSize, f);
    std::fclose(f);
    bool ok = got == kRecordSize && loaded->version == kVersion && loaded->size == kRecordSize &&
              HasSignature(loaded, "VANTTSTT");
    if (ok) {
        // Handles and host values of a past session mean nothing now: the
        // live ones stay.
        loaded->parent = rec->parent;
        loaded->dialog = rec->dialog;
        loaded->viewImage = rec->viewImage;
        loaded->hostService = rec->hostService;
        loaded->viewContext = rec->viewContext;
        loaded->width = rec->width;
        loaded->depth = rec->depth;
        loaded->flags = rec->flags;
        loaded->image = 0;
        loaded->needsRender = 0;
        // Further session-only values: a handle or address from a past
        // session must never be used, so they are cleared as well.
        for (FountainDefinition& m : loaded->mutations) m.cachedImage = 0;
        loaded->transferSource = loaded->transferTarget = 0;
        loaded->transferSourceSize = loaded->transferTargetSize = 0;
        for (const RecordRange& r : kWorkingSlots)
            std::memcpy(reinterpret_cast<std::uint8_t*>(loaded) + r.offset,
                        reinterpret_cast<const std::uint8_t*>(rec) + r.offset, r.size);
        std::memcpy(rec, loaded, kRecordSize);
    }
    return ok;
}

bool SaveSettingsFile(const MasterTextureRecord& rec, const char* path) {
    // A failed write leaves no settings file behind, not even an older one.
    const bool ok = WriteFileBeside(path, "wb", [&](std::FILE* f) {
        return std::fwrite(&rec, 1, kRecordSize, f) == kRecordSize;
    });
    if (!ok) DeleteFileAt(path);
    return ok;
}

}  // namespace tsn
