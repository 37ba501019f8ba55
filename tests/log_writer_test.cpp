#include "diag/log_writer.h"

#include <gtest/gtest.h>

#include <aclapi.h>

#include "base/security.h"
#include "base/singleton.h"
#include "runtime/runtime.h"
#include "tests/chain_entries.h"
#include "tests/child_process.h"
#include "tests/import_patch.h"
#include "tests/scratch_directory.h"
#include "tests/scratch_registry.h"

namespace {

constexpr wchar_t kKey[] = L"Software\\TarvoInput";

struct LogWriter : testing::Test
{
    LogWriter() { Enable(1); }

    void Enable(DWORD value) { WriteRaw(HKEY_CURRENT_USER, kKey, L"EnErrorLog", REG_DWORD, &value, sizeof(value)); }

    // Logs a chain of one entry to error.log and returns the file's bytes.
    std::string Log()
    {
        t_errorChain chain;
        chain.Fail(L"x");
        LogError(chain, 1, directory.Path().c_str());
        return directory.Read(L"error.log");
    }

    const std::wstring time = L"0000-00-00(0) 00:00:00\t", tail = L"\t\t进程名：diag_tests.exe\r\n";
    const std::size_t lineBytes = 2 * (time.size() + 1 + tail.size());
    t_scratchRegistry scratch{HKEY_CURRENT_USER};
    t_scratchDirectory directory;
};

TEST_F(LogWriter, MasksSelectBitsOfADword)
{
    for (const auto& [value, mask, enabled] :
         {std::tuple{1, 1, true}, {1, 2, false}, {3, 2, true}, {0, -1, false}, {-1, 0, false}}) {
        Enable(static_cast<DWORD>(value));
        EXPECT_EQ(enabled, IsErrorLogEnabled(static_cast<std::uint32_t>(mask))) << value << ' ' << mask;
    }
    WriteText(HKEY_CURRENT_USER, kKey, L"EnErrorLog", L"1");
    EXPECT_EQ("", Log());
}

TEST_F(LogWriter, WritesALinePerRequest)
{
    t_errorChain chain;
    chain.NewEntry() << L"第一";
    chain.Fail(L"second");
    LogSchedule(chain, 1, 4294967295, directory.Path().c_str());
    const std::string bytes = directory.Read(L"userschdule.log");
    std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    std::replace_if(
        text.begin(), text.begin() + 23, [](wchar_t unit) { return std::iswdigit(unit) != 0; }, L'0');
    EXPECT_EQ(L"\xFEFF" + time + L"4294967295\t第一\tsecond" + tail, text);
}

TEST_F(LogWriter, FullFileKeepsItsLaterPart)
{
    for (const auto& [size, kept] : {std::pair{102399, 102399}, {102400, 2 + 40960}, {130000, 2 + 61440}}) {
        std::string bytes(static_cast<std::size_t>(size), '\0');
        std::generate(bytes.begin(), bytes.end(), [i = 0]() mutable { return static_cast<char>(i++ % 251); });
        directory.Write(L"error.log", bytes);
        const std::string after = Log();
        EXPECT_EQ(static_cast<std::size_t>(kept) + lineBytes, after.size());
        EXPECT_TRUE(after.starts_with(size == kept ? bytes : "\xFF\xFE" + bytes.substr(61440, 61440)));
    }
}

TEST_F(LogWriter, OpensToEveryoneButLeavesLinksAlone)
{
    using t_calls = std::vector<std::tuple<SECURITY_INFORMATION, const ACL*, const ACL*>>;
    t_calls set;
    ImmImportPatch<decltype(&CreateFileW)> create("CreateFileW", [&](auto path, DWORD access, auto... rest) {
        SetLastError(ERROR_ACCESS_DENIED);
        return (access & WRITE_DAC) != 0 ? INVALID_HANDLE_VALUE : create.Original(path, access, rest...);
    });
    ImmImportPatch<decltype(&SetSecurityInfo)> security(
        "SetSecurityInfo", [&](HANDLE, auto, auto kind, auto, auto, ACL* accessList, ACL* label) {
            set.emplace_back(kind, accessList, label);
            return DWORD{ERROR_ACCESS_DENIED};
        });
    directory.Write(L"other", "owner's");
    ASSERT_TRUE(CreateHardLinkW(directory.Path(L"error.log").c_str(), directory.Path(L"other").c_str(), nullptr));
    EXPECT_EQ("owner's", Log());
    EXPECT_TRUE(set.empty());
    DeleteFileW(directory.Path(L"error.log").c_str());
    EXPECT_EQ(2 + lineBytes, Log().size());
    ASSERT_NE(nullptr, LowMandatoryLabel());
    const t_calls expected{{DACL_SECURITY_INFORMATION, OpenAccessList(), nullptr},
                           {LABEL_SECURITY_INFORMATION, nullptr, LowMandatoryLabel()}};
    EXPECT_EQ(expected, set);
}

// In a process of its own: the directory is looked up once.
TEST_F(LogWriter, DISABLED_RemembersThatThereIsNone)
{
    t_errorChain errors, tolerated;
    LogError(errors, 1, nullptr);
    ImmSingleton<t_runtime>::Instance()->Initialise(tolerated);
    LogError(errors, 1, nullptr);
    EXPECT_EQ(L"获取用户目录失败|获取用户目录失败", Entries(errors));
}

TEST_F(LogWriter, FindsTheUserDirectoryOnce)
{
    EXPECT_TRUE(t_childProcess("LogWriter.DISABLED_RemembersThatThereIsNone").Passed());
}

} // namespace
