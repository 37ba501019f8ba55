#include "diag/error_list.h"

#include <cstring>
#include <thread>

#include "base/mutex.h"
#include "tests/windows_test.h"

namespace {

constexpr wchar_t kMemory[] = L"Local\\TVSM_ErrorList";

struct ErrorList : testing::Test
{
    t_errorChain errors;
    t_errorList list;
    t_str text;
    bool flag = false;
};

// Whoever else has the list open, in this process or another one, takes the mutex too.
TEST_F(ErrorList, HoldsTheMutexInEveryOperation)
{
    REPLACE(wait, WaitForSingleObject, [&](auto... all) { return wait.Original(all...); });
    REPLACE(release, ReleaseMutex, [&](HANDLE mutex) { return release.Original(mutex); });
    REPLACE(map, MapViewOfFile, [&](auto... all) {
        EXPECT_EQ(1, wait.calls - release.calls);
        return map.Original(all...);
    });
    ASSERT_TRUE(list.Open(errors)) << Entries(errors);
    EXPECT_TRUE(list.Add(errors, L"a", true));
    EXPECT_TRUE(list.Contains(L"\1a"));
    EXPECT_TRUE(list.ReadNext(errors, text, flag));
    EXPECT_EQ(std::tuple(L"a", true), std::tuple(text, flag));
    EXPECT_TRUE(list.MarkAllRead(errors));
    EXPECT_EQ(std::pair(5, 5), std::pair(wait.calls, release.calls));
}

TEST_F(ErrorList, IsOpenedASecondTimeAndSurvivesTheDeathOfAWriter)
{
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(list.Open(errors)) << Entries(errors);
        ASSERT_TRUE(list.Add(errors, L"first", false)) << "there already the second time";
    }
    std::jthread([&] {
        REPLACE(create, CreateFileMappingW, [](auto...) { return nullptr; });
        t_errorList second;
        t_mutex mutex;
        EXPECT_TRUE(second.Open(errors)) << Entries(errors);
        EXPECT_TRUE(second.Contains(L"first"));
        EXPECT_TRUE(mutex.Create(errors, L"tvpy_mutex_error_list"));
        EXPECT_TRUE(mutex.Lock(errors)); // ends with the thread
        const t_handle mapping(OpenFileMappingW(FILE_MAP_WRITE, FALSE, kMemory));
        auto* const words = static_cast<std::uint32_t*>(MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 0, 0));
        words[4 + words[4] / 4] = 0x58585858; // an entry that is never finished
        UnmapViewOfFile(words);
    }).join();
    EXPECT_TRUE(list.Add(errors, L"second", true));
    for (const auto& expected : {std::tuple(L"first", false), {L"second", true}, {L"", false}}) {
        EXPECT_TRUE(list.ReadNext(errors, text, flag));
        EXPECT_EQ(expected, std::tuple(text, flag));
    }
}

TEST(SharedMemory, RefusesASizeThatItsHeaderDoesNotFitInto)
{
    t_errorChain errors;
    EXPECT_FALSE(t_sharedMemory().Open(errors, L"Local\\tarvo_test_memory", 0xFFFFFFF4));
    EXPECT_EQ(L"系统错误87|创建共享内存失败：Local\\tarvo_test_memory", Entries(errors));
}

TEST_F(ErrorList, RefusesForeignMemory)
{
    using t_header = std::array<std::uint32_t, 3>; // of the block, before the list's own
    const std::tuple<DWORD, DWORD, t_header, const wchar_t*> rows[] = {
        {4096, SEC_COMMIT, {}, L"系统错误5|映射共享内存失败："},
        {1048588, SEC_RESERVE, {}, L"共享内存格式不符："},
        {1048588, SEC_COMMIT, {1, 1, 1048576}, L"共享内存格式不符："},
        {1048588, SEC_COMMIT, {0x4D535654, 2, 1048576}, L"共享内存格式不符："},
        {1048588, SEC_COMMIT, {0x4D535654, 1, 1048575}, L"共享内存格式不符："}};
    for (const auto& [bytes, kind, header, entries] : rows) {
        const t_handle foreign(
            CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | kind, 0, bytes, kMemory));
        if (kind == SEC_COMMIT) {
            void* const view = MapViewOfFile(foreign.Get(), FILE_MAP_WRITE, 0, 0, 0);
            std::memcpy(view, header.data(), sizeof(header));
            UnmapViewOfFile(view);
        }
        t_errorList each;
        t_errorChain said;
        EXPECT_FALSE(each.Open(said));
        EXPECT_EQ(entries + std::wstring(kMemory), Entries(said));
    }
}

} // namespace
