#include "tests/fuzz/fuzz_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "app/kind_list.h"
#include "app/presets.h"
#include "app/session.h"
#include "core/page.h"
#include "core/parallel.h"
#include "core/platform.h"
#include "kind/page_table.h"
#include "kind/page_transfer.h"

namespace tsn::fuzz {

InputFile::InputFile(const std::uint8_t* data, std::size_t size) {
    const char* dir = std::getenv("TMPDIR");
    path_ = std::string(dir && *dir ? dir : "/tmp") + "/tsn-fuzz-" + std::to_string(getpid());
    std::FILE* f = std::fopen(path_.c_str(), "wb");
    if (!f) return;
    ok_ = (size == 0 || std::fwrite(data, 1, size, f) == size);
    ok_ = std::fclose(f) == 0 && ok_;
}

InputFile::~InputFile() {
    std::remove(path_.c_str());
}

void ExpectNoLeak(long liveBefore, const char* what) {
    const long now = MemLiveBlocks();
    if (now != liveBefore) {
        std::fprintf(stderr, "%s: %ld memory blocks left allocated\n", what, now - liveBefore);
        std::abort();
    }
}

namespace {
std::string g_textureFolder;

void OnlyInsideTheTextureFolder(const char* path) {
    const std::size_t n = g_textureFolder.size();
    if (std::strncmp(path, g_textureFolder.c_str(), n) == 0 && !std::strchr(path + n, '/')) return;
    std::fprintf(stderr, "a file from disk made us write outside the texture folder: %s\n", path);
    std::abort();
}

void RemoveAppData() {
    std::filesystem::remove_all(
        std::filesystem::path(g_textureFolder).parent_path().parent_path().parent_path());
}

void WatchWrites() {
    if (!g_textureFolder.empty()) return;
    const char* dir = std::getenv("TMPDIR");
    const std::string appData = std::string(dir && *dir ? dir : "/tmp") + "/tsn-fuzz-appdata-" +
                                std::to_string(getpid()) + "/";
    SetAppDataOverride(appData.c_str());
    char folder[kMaxPath + 1];
    if (!TextureFolder(folder) || !MakeFolders(folder)) std::abort();
    g_textureFolder = folder;
    std::atexit(RemoveAppData);
    SetWriteObserver(OnlyInsideTheTextureFolder);
}
}  // namespace

void WriteAsASessionWould(MasterTextureRecord& rec, int kind) {
    WatchWrites();
    ForgetAllUntrustedFountainNames(&rec);
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        for (int j = 0; k.page && j < k.page->count; ++j) {
            if (k.page->fields[j].type != FieldType::Fountain) continue;
            FountainDefinition f;
            std::memcpy(&f, BlockAt(&rec, k.blockOffset) + k.page->fields[j].offset, sizeof f);
            WriteFountainBack(f);
        }
    }
    for (const FountainDefinition& m : rec.mutations) WriteFountainBack(m);
    char path[kMaxPath + 1];
    if (SettingsFilePath(path)) SaveSettingsFile(rec, path);
    if (kind >= 0 && KindOf(kind).presetList) SavePreset(&rec, kind, "fuzz");
}

namespace {
HeadlessSession session;
void EndSession() {
    EndHeadlessSession(&session);
}
}  // namespace

MasterTextureRecord& FreshRecord() {
    static MasterTextureRecord start;
    if (!session.rec) {
        // One thread: the fuzzer's coverage counters are shared, and two
        // cores bumping the same counters in a pixel loop run a hundred
        // times slower than one.
        SetWorkerThreads(1);
        if (!StartHeadlessSession(&session, SessionArguments{})) std::abort();
        // The page's tile list lives outside the record; freeing it at exit
        // keeps the leak checker's report to the inputs' own faults.
        std::atexit(EndSession);
        std::memcpy(&start, session.rec, sizeof start);
    } else {
        ReleaseAllKinds(session.rec);
        std::memcpy(session.rec, &start, sizeof start);
    }
    return *session.rec;
}

void RenderSmall(MasterTextureRecord* rec, int kind) {
    const KindDescriptor& k = KindOf(kind);
    rec->kindIndex = kind;
    PageFromBlock(*k.page, BlockAt(rec, k.blockOffset), rec->dialog);
    for (Role role : {Role::Width, Role::Depth})
        if (const PageField* f = FieldWithRole(*k.page, role))
            Page().setText(rec->dialog, f->id, "1");
    MemFree(RenderSelectedKind(rec));
    KindAt(kind).release(rec);  // the grey image some kinds keep
}

}  // namespace tsn::fuzz
