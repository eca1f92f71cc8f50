#include "tests/test_support.h"
#include "app/kind_list.h"
#include "kind/page_transfer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>

namespace tsn::test {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    std::random_device rd;
    const fs::path p = fs::temp_directory_path() / ("tsntxtr-test-" + std::to_string(rd()));
    fs::create_directories(p);
    path_ = p.string() + std::string(1, PathSeparator());
    SetAppDataOverride(path_.c_str());
}

TempFolder::~TempFolder() {
    SetAppDataOverride(nullptr);
    std::error_code ec;
    fs::remove_all(path_, ec);
}

std::vector<std::uint8_t> ReadAll(const std::string& path) {
    std::vector<std::uint8_t> out;
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
        std::uint8_t buf[65536];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.insert(out.end(), buf, buf + n);
        std::fclose(f);
    }
    return out;
}

bool WriteAll(const std::string& path, const void* data, std::size_t n) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = n == 0 || std::fwrite(data, 1, n, f) == n;
    return std::fclose(f) == 0 && ok;
}

bool FileExists(const std::string& path) {
    return fs::exists(path);
}

namespace {
std::uint64_t g_nextToken = 1, g_tokenStep = 1;
std::uint64_t NextToken() {
    const std::uint64_t t = g_nextToken;
    g_nextToken += g_tokenStep;
    return t;
}
}  // namespace

PredictableTemporaryNames::PredictableTemporaryNames(std::uint64_t first, std::uint64_t step) {
    g_nextToken = first;
    g_tokenStep = step;
    SetTemporaryTokenSource(NextToken);
}
PredictableTemporaryNames::~PredictableTemporaryNames() {
    SetTemporaryTokenSource(nullptr);
}
std::string PredictableTemporaryNames::For(const std::string& path, std::uint64_t token) {
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%016llx.tmp", static_cast<unsigned long long>(token));
    return path + suffix;
}

int TemporaryFilesIn(const std::string& folder) {
    int n = 0;
    for (const auto& e : fs::directory_iterator(folder)) n += e.path().extension() == ".tmp";
    return n;
}

std::vector<std::uint8_t> BlockBytes(MemHandle h) {
    if (!h) return {};
    const auto* p = static_cast<const std::uint8_t*>(MemLock(h));
    std::vector<std::uint8_t> out(p, p + MemSize(h));
    MemUnlock(h);
    return out;
}

Session::Session() {
    if (!StartHeadlessSession(&s, SessionArguments{})) std::abort();
}
Session::~Session() {
    EndHeadlessSession(&s);
}

void Enter(Session& s, int kind, const std::string& field, const std::string& value) {
    const KindDescriptor& info = KindOf(kind);
    ASSERT_NE(info.page, nullptr);
    const PageField* f = FindField(*info.page, field);
    ASSERT_NE(f, nullptr) << field;
    std::string error;
    std::uint8_t* block = BlockAt(s.rec(), info.blockOffset);
    ASSERT_TRUE(EnterFieldText(*f, value, s.rec()->dialog, block, &error)) << error;
    if (f->role == Role::Seed) SetFieldValue(*f, block, ReadPageInteger(s.rec()->dialog, f->id));
}

void Enter(Session& s, int kind, const std::string& settings) {
    std::istringstream in(settings);
    std::string pair;
    while (in >> pair) {
        const std::size_t eq = pair.find('=');
        ASSERT_NE(eq, std::string::npos) << pair;
        Enter(s, kind, pair.substr(0, eq), pair.substr(eq + 1));
    }
}

MemHandle Render(Session& s, int kind, const std::string& settings) {
    s.rec()->kindIndex = kind;
    Enter(s, kind, settings);
    return RenderSelectedKind(s.rec());
}

std::vector<std::uint8_t> RenderBytes(int kind, const std::string& settings) {
    Session s;
    const MemHandle h = Render(s, kind, settings);
    std::vector<std::uint8_t> bytes = BlockBytes(h);
    MemFree(h);
    return bytes;
}

Rendered RenderBy(int kind, const std::string& settings, RowRenderFn render) {
    const KindDescriptor& k = KindOf(kind);
    Session s;
    s.rec()->kindIndex = kind;
    Enter(s, kind, settings);
    std::uint8_t* block = BlockAt(s.rec(), k.blockOffset);
    PageToBlock(*k.page, s.rec()->dialog, block);
    const MemHandle img = render(s.rec());
    const std::uint8_t* table = s.rec()->colourTable;
    Rendered r{
        BlockBytes(img),
        k.greySlot ? BlockBytes(GreyImageAt(s.rec(), k.greySlot)) : std::vector<std::uint8_t>{},
        std::vector<std::uint8_t>(table, table + 768),
        std::vector<std::uint8_t>(block, block + k.blockSize)};
    MemFree(img);
    return r;
}

void ExpectSameAsLiteral(int kind, const std::vector<std::string>& cases, RowRenderFn literal) {
    for (const std::string& c : cases) {
        const Rendered fast = RenderBy(kind, c, KindAt(kind).render);
        const Rendered lit = RenderBy(kind, c, literal);
        ASSERT_FALSE(fast.image.empty()) << c;
        EXPECT_TRUE(fast.image == lit.image) << c << ": picture differs";
        EXPECT_TRUE(fast.grey == lit.grey) << c << ": grey image differs";
        EXPECT_TRUE(fast.table == lit.table) << c << ": colour table differs";
        EXPECT_TRUE(fast.block == lit.block) << c << ": block differs";
    }
}

Picture::Picture(MemHandle handle, bool owned) : h(handle), own(owned) {
    ok = LockImage(h, &v);
}
Picture::~Picture() {
    if (ok) UnlockImage(&v);
    if (own) MemFree(h);
}

std::uint32_t U32(const std::vector<std::uint8_t>& bytes, std::size_t at) {
    std::uint32_t v = 0;
    if (at + 4 <= bytes.size()) std::memcpy(&v, bytes.data() + at, 4);
    return v;
}

}  // namespace tsn::test
