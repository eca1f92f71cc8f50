#include "tests/test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

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

}  // namespace tsn::test
