#include "diag/error_list.h"

#include <cstring>

#include "base/mutex.h"
#include "tests/child_process.h"
#include "tests/windows_test.h"

namespace {

constexpr wchar_t kMemory[] = L"Local\\TVSM_ErrorList";
constexpr int kPosters = 3, kMessages = 200;

struct ErrorList : testing::Test
{
    t_errorChain errors;
    t_errorList list;
    t_str text;
    bool flag = false;
};

TEST_F(ErrorList, DISABLED_Posts)
{
    wchar_t poster[9] = {};
    GetEnvironmentVariableW(L"TARVO_TEST_POSTER", poster, 9);
    ASSERT_TRUE(list.Open(errors)) << Entries(errors);
    for (int i = 0; i < kMessages; ++i) {
        EXPECT_TRUE(list.Add(errors, FormatStr(L"%s:%d", poster, i).c_str(), true));
        EXPECT_TRUE(list.Add(errors, L"同一错误", false));
    }
}

TEST_F(ErrorList, DISABLED_ReadsUntilTheEnd)
{
    ASSERT_TRUE(list.Open(errors)) << Entries(errors);
    int seen[kPosters] = {};
    while (text != L"end") {
        ASSERT_TRUE(list.ReadNext(errors, text, flag)) << Entries(errors);
        if (flag) {
            const auto poster = static_cast<std::size_t>(text[0] - L'0');
            ASSERT_LT(poster, std::size(seen));
            EXPECT_EQ(FormatStr(L"%d:%d", static_cast<int>(poster), seen[poster]++), text);
        }
    }
    for (const int count : seen) {
        EXPECT_EQ(kMessages, count);
    }
}

TEST_F(ErrorList, CarriesEveryMessageOfSeveralProcesses)
{
    ASSERT_TRUE(list.Open(errors)) << Entries(errors);
    t_childProcess reader("ErrorList.DISABLED_ReadsUntilTheEnd");
    std::vector<t_childProcess> posters;
    for (int i = 0; i < kPosters; ++i) {
        SetEnvironmentVariableW(L"TARVO_TEST_POSTER", FormatStr(L"%d", i).c_str());
        posters.emplace_back("ErrorList.DISABLED_Posts");
    }
    for (t_childProcess& poster : posters) {
        EXPECT_TRUE(poster.Passed());
    }
    EXPECT_TRUE(list.Add(errors, L"end", false));
    EXPECT_TRUE(reader.Passed());
    EXPECT_FALSE(list.Contains(L"end"));
}

TEST_F(ErrorList, DISABLED_OpensAndDiesWriting)
{
    REPLACE(create, CreateFileMappingW, [](auto...) { return nullptr; });
    t_mutex mutex;
    ASSERT_TRUE(list.Open(errors)) << Entries(errors);
    ASSERT_TRUE(list.Contains(L"first"));
    ASSERT_TRUE(mutex.Create(errors, L"tvpy_mutex_error_list"));
    ASSERT_TRUE(mutex.Lock(errors));
    const t_handle mapping(OpenFileMappingW(FILE_MAP_WRITE, FALSE, kMemory));
    auto* const words = static_cast<std::uint32_t*>(MapViewOfFile(mapping.Get(), FILE_MAP_WRITE, 0, 0, 0));
    words[4 + words[4] / 4] = 0x58585858; // an entry that is never finished
    TerminateProcess(GetCurrentProcess(), 0);
}

TEST_F(ErrorList, IsOpenedBySecondProcessAndSurvivesItsDeath)
{
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(list.Open(errors)) << Entries(errors);
        ASSERT_TRUE(list.Add(errors, L"first", false)) << "there already the second time";
    }
    EXPECT_TRUE(t_childProcess("ErrorList.DISABLED_OpensAndDiesWriting").Passed());
    EXPECT_TRUE(list.Add(errors, L"second", true));
    for (const wchar_t* const expected : {L"first", L"second", L""}) {
        EXPECT_TRUE(list.ReadNext(errors, text, flag));
        EXPECT_EQ(expected, text);
        EXPECT_EQ(text == L"second", flag);
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
