// The record one texture session works on. Byte for byte it is also the
// remembered-settings file "texture.texture", so its layout is a file format.
#pragma once

#include <cstddef>
#include <cstdint>

#include "colour/fountain.h"
#include "core/packed.h"
#include "core/platform.h"

namespace tsn {

constexpr std::uint32_t kRecordSize = 30073;
constexpr std::uint32_t kBlocksOffset = 6193;
constexpr std::uint32_t kBlocksEnd = 30049;

#pragma pack(push, 1)
struct MasterTextureRecord {
    char signature[8];  // "VANTTSTT"
    std::uint32_t version;
    std::uint32_t size;
    std::uint32_t reserved0;
    std::uint64_t parent;  // session only
    std::uint64_t dialog;  // session only: the page the kinds read
    std::int32_t kindIndex;
    std::uint64_t image;  // session only
    std::uint32_t needsRender;
    std::uint32_t showMutations;
    std::uint8_t reserved1[64];
    std::uint64_t viewImage;    // session only
    std::uint64_t hostService;  // session only
    std::uint64_t viewContext;  // session only
    std::uint32_t width;
    std::uint32_t depth;
    std::uint32_t flags;
    std::uint8_t colourTable[768];
    FountainDefinition mutations[9];
    std::uint32_t mutationGeneration;
    std::uint8_t blocks[kBlocksEnd - kBlocksOffset];
    std::uint64_t transferSource;  // session only
    std::uint64_t transferTarget;  // session only
    std::uint32_t transferSourceSize;
    std::uint32_t transferTargetSize;
};
#pragma pack(pop)

static_assert(sizeof(MasterTextureRecord) == kRecordSize);
static_assert(offsetof(MasterTextureRecord, version) == 8);
static_assert(offsetof(MasterTextureRecord, size) == 12);
static_assert(offsetof(MasterTextureRecord, reserved0) == 16);
static_assert(offsetof(MasterTextureRecord, parent) == 20);
static_assert(offsetof(MasterTextureRecord, dialog) == 28);
static_assert(offsetof(MasterTextureRecord, kindIndex) == 36);
static_assert(offsetof(MasterTextureRecord, image) == 40);
static_assert(offsetof(MasterTextureRecord, needsRender) == 48);
static_assert(offsetof(MasterTextureRecord, showMutations) == 52);
static_assert(offsetof(MasterTextureRecord, reserved1) == 56);
static_assert(offsetof(MasterTextureRecord, viewImage) == 120);
static_assert(offsetof(MasterTextureRecord, hostService) == 128);
static_assert(offsetof(MasterTextureRecord, viewContext) == 136);
static_assert(offsetof(MasterTextureRecord, width) == 144);
static_assert(offsetof(MasterTextureRecord, depth) == 148);
static_assert(offsetof(MasterTextureRecord, flags) == 152);
static_assert(offsetof(MasterTextureRecord, colourTable) == 156);
static_assert(offsetof(MasterTextureRecord, mutations) == 924);
static_assert(offsetof(MasterTextureRecord, mutationGeneration) == 6189);
static_assert(offsetof(MasterTextureRecord, blocks) == kBlocksOffset);
static_assert(offsetof(MasterTextureRecord, transferSource) == 30049);
static_assert(offsetof(MasterTextureRecord, transferTarget) == 30057);
static_assert(offsetof(MasterTextureRecord, transferSourceSize) == 30065);
static_assert(offsetof(MasterTextureRecord, transferTargetSize) == 30069);

// Working slots that follow some kinds' blocks (grey images, caches). They
// hold handles of the running session, so a settings file's values for them
// are never used.
struct RecordRange {
    std::uint32_t offset, size;
};
constexpr RecordRange kWorkingSlots[] = {{6918, 8}, {7871, 8}, {21444, 24}, {26911, 8}};

// Clears every field that only means something inside the running session
// (handles, addresses), as a record is written for another session to read.
void ClearSessionFields(MasterTextureRecord* rec);

// Session flags.
constexpr std::uint32_t kFlagSizeValid = 1u << 0;
constexpr std::uint32_t kFlagNoSave = 1u << 1;
constexpr std::uint32_t kFlagNonInteractive = 1u << 2;
constexpr std::uint32_t kFlagDoneMode = 1u << 3;

// The kind block that starts at record offset `offset`.
inline std::uint8_t* BlockAt(MasterTextureRecord* rec, std::uint32_t offset) {
    return reinterpret_cast<std::uint8_t*>(rec) + offset;
}
template <class T>
T* BlockAs(MasterTextureRecord* rec, std::uint32_t offset) {
    return reinterpret_cast<T*>(BlockAt(rec, offset));
}

struct SessionArguments {
    std::uint64_t parent = 0;
    std::uint64_t viewContext = 0;
    std::uint64_t viewImage = 0;
    std::uint64_t hostService = 0;
    std::uint32_t flags = 0;
    const std::uint32_t* size = nullptr;  // width, depth; read only with kFlagSizeValid
};

// A new session's record: all zero, header, the host's arguments and the
// colour table (255, i, i). The kinds' blocks are filled by ResetAllKinds.
void InitRecord(MasterTextureRecord* rec, const SessionArguments& args);

// The settings file's full path under the application-data folder; false
// when the platform names no such folder.
bool SettingsFilePath(char out[kMaxPath + 1]);

// Reads a settings file over `rec`, keeping the session's live fields.
// Returns false (and leaves `rec` untouched) for a missing, short or foreign
// file.
bool LoadSettingsFile(MasterTextureRecord* rec, const char* path);
// Writes the record; a failed write leaves no file at `path`.
bool SaveSettingsFile(const MasterTextureRecord& rec, const char* path);

}  // namespace tsn
