#include "diag/log_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <aclapi.h>
#include <shlobj.h>

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

void Enable(DWORD value)
{
    WriteRaw(HKEY_CURRENT_USER, kKey, L"EnErrorLog", REG_DWORD, &value, sizeof(value));
}

std::wstring Units(const std::string& bytes)
{
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
}

// A log line with every digit of its time made 0.
std::wstring Timeless(std::wstring line)
{
    for (std::size_t i = 0; i < std::min<std::size_t>(line.size(), 22); ++i) {
        line[i] = line[i] >= L'0' && line[i] <= L'9' ? L'0' : line[i];
    }
    return line;
}

struct LogWriter : testing::Test
{
    LogWriter() { Enable(1); }

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
    EXPECT_FALSE(IsErrorLogEnabled(1));
    EXPECT_EQ("", Log());
    RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    EXPECT_FALSE(IsErrorLogEnabled(1));
}

TEST_F(LogWriter, WritesALinePerRequest)
{
    t_errorChain chain;
    LogSchedule(chain, 1, 0, directory.Path().c_str());
    chain.NewEntry() << L"第一";
    chain.Fail(L"second");
    LogSchedule(chain, 1, 4294967295, directory.Path().c_str());
    const std::wstring text = Units(directory.Read(L"userschdule.log"));
    EXPECT_EQ(L"\xFEFF" + time + tail, L"\xFEFF" + Timeless(text.substr(1, text.find(L'\n'))));
    EXPECT_EQ(time + L"4294967295\t第一\tsecond" + tail, Timeless(text.substr(text.find(L'\n') + 1)));
    EXPECT_EQ(L"第一|second", Entries(chain));
    EXPECT_FALSE(chain.HasFailed());
    LogError(chain, 1, directory.Path(L"none").c_str());
    LogError(chain, 1, directory.Path(L"userschdule.log").c_str());
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(directory.Path()), {}));
}

TEST_F(LogWriter, FullFileKeepsItsLaterPart)
{
    for (const auto& [size, kept] : {std::pair{102399, 102399}, {102400, 2 + 40960}, {130000, 2 + 61440}}) {
        std::string bytes;
        for (int i = 0; i < size; ++i) {
            bytes += static_cast<char>(i % 251);
        }
        directory.Write(L"error.log", bytes);
        const std::string after = Log();
        EXPECT_EQ(static_cast<std::size_t>(kept) + lineBytes, after.size());
        EXPECT_TRUE(after.starts_with(size == kept ? bytes : "\xFF\xFE" + bytes.substr(61440, 61440)));
    }
    directory.Write(L"error.log", std::string(102400, 'x'));
    ImmImportPatch<decltype(&ReadFile)> read("ReadFile", [](auto...) { return FALSE; });
    t_errorChain chain;
    LogError(chain, 1, directory.Path().c_str());
    EXPECT_EQ(lineBytes, std::filesystem::file_size(directory.Path(L"error.log"))); // a mark more, an entry less
}

TEST_F(LogWriter, GivesUpSilentlyAtEveryFailure)
{
    for (int failing = 1; failing <= 3; ++failing) { // the mark, the kept bytes, the line
        directory.Write(L"error.log", std::string(102400, 'x'));
        ImmImportPatch<decltype(&WriteFile)> write("WriteFile", [&](HANDLE file, auto data, DWORD bytes, auto... rest) {
            return write.Original(file, data, write.calls == failing ? bytes - 1 : bytes, rest...);
        });
        Log();
        EXPECT_EQ(failing, write.calls);
    }
    directory.Write(L"error.log", "");
    const t_handle held = MakeFileHandle(CreateFileW(directory.Path(L"error.log").c_str(), GENERIC_READ,
                                                     FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ("", Log());
}

TEST_F(LogWriter, LeavesLinksAlone)
{
    directory.Write(L"other", "owner's");
    ASSERT_TRUE(CreateHardLinkW(directory.Path(L"error.log").c_str(), directory.Path(L"other").c_str(), nullptr));
    ImmImportPatch<decltype(&SetSecurityInfo)> security("SetSecurityInfo", [](auto...) { return DWORD{0}; });
    EXPECT_EQ("owner's", Log());
    DeleteFileW(directory.Path(L"error.log").c_str());
    DWORD attributes = FILE_ATTRIBUTE_REPARSE_POINT;
    ImmImportPatch<decltype(&GetFileInformationByHandle)> inform("GetFileInformationByHandle",
                                                                 [&](HANDLE file, auto* info) {
                                                                     const BOOL result = inform.Original(file, info);
                                                                     info->dwFileAttributes |= attributes;
                                                                     return result;
                                                                 });
    EXPECT_EQ("", Log());
    EXPECT_EQ(0, security.calls);
    attributes = 0;
    EXPECT_EQ(2 + lineBytes, Log().size());
    EXPECT_EQ(2, security.calls);
}

TEST_F(LogWriter, OpensToEveryoneWhereItMay)
{
    std::vector<DWORD> asked;
    std::vector<std::tuple<SECURITY_INFORMATION, ACL*, ACL*>> set;
    ImmImportPatch<decltype(&CreateFileW)> create(
        "CreateFileW",
        [&](auto path, DWORD access, DWORD share, auto security, DWORD disposition, DWORD flags, HANDLE like) {
            EXPECT_EQ(std::tuple(0, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT),
                      std::tuple(share, disposition, flags));
            asked.push_back(access);
            const bool refused = (access & WRITE_DAC) != 0;
            SetLastError(ERROR_ACCESS_DENIED);
            return refused ? INVALID_HANDLE_VALUE
                           : create.Original(path, access, share, security, disposition, flags, like);
        });
    ImmImportPatch<decltype(&SetSecurityInfo)> security(
        "SetSecurityInfo", [&](HANDLE, auto type, auto kind, auto, auto, ACL* accessList, ACL* label) {
            EXPECT_EQ(SE_FILE_OBJECT, type);
            set.emplace_back(kind, accessList, label);
            return DWORD{ERROR_ACCESS_DENIED};
        });
    EXPECT_EQ(2 + lineBytes, Log().size());
    EXPECT_THAT(asked, testing::ElementsAre(GENERIC_READ | GENERIC_WRITE | WRITE_DAC | WRITE_OWNER,
                                            GENERIC_READ | GENERIC_WRITE));
    ASSERT_NE(nullptr, LowMandatoryLabel());
    EXPECT_THAT(set, testing::ElementsAre(std::tuple(DACL_SECURITY_INFORMATION, OpenAccessList(), nullptr),
                                          std::tuple(LABEL_SECURITY_INFORMATION, nullptr, LowMandatoryLabel())));
}

// Each in a process of its own: the directory is looked up once.
TEST_F(LogWriter, DISABLED_UsesTheUserDirectory)
{
    ImmImportPatch<decltype(&GetProcAddress)> noLocalLow("GetProcAddress", [](auto...) { return nullptr; });
    ImmImportPatch<decltype(&SHGetFolderPathW)> folders("SHGetFolderPathW", [&](auto, auto, auto, auto, LPWSTR path) {
        lstrcpyW(path, directory.Path().c_str());
        return S_OK;
    });
    t_errorChain errors;
    ASSERT_TRUE(ImmSingleton<t_runtime>::Instance()->Initialise(errors)) << Entries(errors);
    LogError(errors, 1, nullptr);
    EXPECT_FALSE(std::filesystem::exists(directory.Path(L"TarvoPy")));
    std::filesystem::create_directories(directory.Path(L"TarvoPy"));
    LogError(errors, 1, nullptr);
    EXPECT_EQ(lineBytes, directory.Read(L"TarvoPy\\error.log").size());
    EXPECT_TRUE(errors.IsEmpty());
}

TEST_F(LogWriter, DISABLED_RemembersThatThereIsNone)
{
    t_errorChain errors, tolerated;
    LogError(errors, 1, nullptr);
    ImmSingleton<t_runtime>::Instance()->Initialise(tolerated);
    LogError(errors, 1, nullptr);
    Enable(0);
    LogError(errors, 1, nullptr);
    EXPECT_EQ(L"获取用户目录失败|获取用户目录失败", Entries(errors));
}

TEST_F(LogWriter, FindsTheUserDirectoryOnce)
{
    EXPECT_TRUE(t_childProcess("LogWriter.DISABLED_UsesTheUserDirectory").Passed());
    EXPECT_TRUE(t_childProcess("LogWriter.DISABLED_RemembersThatThereIsNone").Passed());
}

} // namespace
