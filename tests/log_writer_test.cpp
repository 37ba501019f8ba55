#include "diag/log_writer.h"

#include <aclapi.h>

#include "base/security.h"
#include "base/singleton.h"
#include "base/system_function.h"
#include "runtime/runtime.h"
#include "tests/child_process.h"
#include "tests/known_folder.h"
#include "tests/windows_test.h"

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
    REPLACE(format, FormatMessageW, [](auto...) { return 0; });
    WriteText(HKEY_CURRENT_USER, kKey, L"EnErrorLog", L"1");
    EXPECT_EQ("", Log());
    RegDeleteKeyW(HKEY_CURRENT_USER, kKey);
    EXPECT_EQ("", Log());
    EXPECT_EQ(0, format.calls) << "texts are made of what nobody reads";
}

TEST_F(LogWriter, WritesALinePerRequest)
{
    t_errorChain chain;
    chain.NewEntry() << L"第一";
    chain.Fail(L"second");
    LogSchedule(chain, 1, 4294967295, directory.Path().c_str());
    const std::string bytes = directory.Read(L"userschdule.log");
    std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    std::replace_if(text.begin(), text.begin() + 23, &iswdigit, L'0');
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

using t_finalPathFunction = DWORD(WINAPI*)(HANDLE, wchar_t*, DWORD, DWORD);
using t_changePath = std::wstring (*)(const std::wstring& path);

// What the functions that are looked up at run time answer: the real final path, or that changed, and the kind of a
// link.
const auto realFinalPath = FindSystemFunction<t_finalPathFunction>(L"kernel32.dll", "GetFinalPathNameByHandleW");
t_changePath changeFinalPath;
DWORD reparseTag;

DWORD WINAPI AnswerFinalPath(HANDLE file, wchar_t* buffer, DWORD units, DWORD flags)
{
    const DWORD length = realFinalPath(file, buffer, units, flags);
    const std::wstring path(buffer, length);
    return static_cast<DWORD>((changeFinalPath != nullptr ? changeFinalPath(path) : path).copy(buffer, units - 1));
}

BOOL WINAPI AnswerAttributeTag(HANDLE, int kind, DWORD* answer, DWORD)
{
    EXPECT_EQ(9, kind);
    answer[1] = reparseTag;
    return reparseTag != 0;
}

std::wstring BehindDevice(const std::wstring& path)
{
    return path.substr(path.find(L'\\', std::size(L"\\Device\\")));
}

enum t_outcome
{
    neverMade,
    leftAlone, // empty, and open to nobody
    written,
};

struct LogFile : LogWriter
{
    void SetUp() override
    {
        CreateDirectoryW(folder.c_str(), nullptr);
        changeFinalPath = nullptr;
        if (realFinalPath == nullptr) {
            GTEST_SKIP() << "XP has no call for the path of an open file that could be answered otherwise";
        }
    }

    // What became of the folder's log file, which is missing at first.
    t_outcome LogIn(const std::wstring& asked)
    {
        const std::wstring path = folder + L"\\error.log";
        DeleteFileW(path.c_str());
        relaxed.clear();
        t_errorChain chain;
        LogError(chain, 1, asked.c_str());
        const bool isWritten = !directory.Read(L"a longer name\\error.log").empty();
        EXPECT_EQ(isWritten, !relaxed.empty());
        return isWritten ? written : std::filesystem::exists(path) ? leftAlone : neverMade;
    }

    const std::wstring folder = directory.Path(L"a longer name");
    t_lookupPatch lookUp{{{"GetFinalPathNameByHandleW", reinterpret_cast<void*>(&AnswerFinalPath)},
                          {"GetFileInformationByHandleEx", reinterpret_cast<void*>(&AnswerAttributeTag)}}};
    std::vector<std::pair<SECURITY_INFORMATION, const ACL*>> relaxed;
    REPLACE(security, SetSecurityInfo, [this](HANDLE, auto, auto kind, auto, auto, ACL* accessList, ACL* label) {
        relaxed.emplace_back(kind, kind == DACL_SECURITY_INFORMATION ? accessList : label);
        return DWORD{ERROR_ACCESS_DENIED};
    });
};

TEST_F(LogFile, IsOpenedToEveryone)
{
    REPLACE(create, CreateFileW, [&](auto path, DWORD access, auto... rest) {
        SetLastError(ERROR_ACCESS_DENIED);
        return (access & WRITE_DAC) != 0 ? INVALID_HANDLE_VALUE : create.Original(path, access, rest...);
    });
    EXPECT_EQ(written, LogIn(folder));
    ASSERT_NE(nullptr, LowMandatoryLabel());
    const decltype(relaxed) expected{{DACL_SECURITY_INFORMATION, OpenAccessList()},
                                     {LABEL_SECURITY_INFORMATION, LowMandatoryLabel()}};
    EXPECT_EQ(expected, relaxed);
}

TEST_F(LogFile, LiesInTheFolderThatWasAskedFor)
{
    wchar_t shortForm[MAX_PATH] = {};
    GetShortPathNameW(folder.c_str(), shortForm, MAX_PATH);
    std::wstring capitals = folder + L"\\";
    CharUpperW(capitals.data());
    const t_changePath throughDrive = [](auto& path) { return L"\\Device\\Mup\\server\\share" + BehindDevice(path); };
    const t_changePath onTheWay = [](auto& path) { return path + L"x"; };
    const t_changePath atTheEnd = [](auto& path) { return path.ends_with(L".log") ? path + L"x" : path; };
    const t_changePath elsewhere = [](auto& path) {
        return BehindDevice(path).size() > 1 ? L"\\Device\\x" + BehindDevice(path) : path;
    };
    constexpr int kNewer = 0, kSandbox = 1, kXp = 2, kXpWithLink = 3, kXpThenWithLink = 4;
    const std::tuple<const char*, std::wstring, int, t_changePath, t_outcome> rows[] = {
        {"plain", folder, kNewer, nullptr, written},
        {"other letters", capitals, kNewer, nullptr, written},
        {"short name", shortForm, kNewer, nullptr, written},
        {"dots", folder + L"\\..\\a longer name/.", kNewer, nullptr, written},
        {"mapped drive", folder, kNewer, throughDrive, written},
        {"link on the way", folder, kNewer, onTheWay, neverMade},
        {"link at the end", folder, kNewer, atTheEnd, leftAlone},
        {"the same path of another drive", folder, kNewer, elsewhere, neverMade},
        {"drive may not be asked", folder, kSandbox, elsewhere, written},
        {"link on the way, drive may not be asked", folder, kSandbox, onTheWay, neverMade},
        {"no answer", folder, kNewer, [](auto&) { return std::wstring(); }, neverMade},
        {"cannot be asked", folder, kXp, nullptr, written},
        {"cannot be asked, link on the way", folder, kXpWithLink, nullptr, neverMade},
        {"cannot be asked, link comes late", folder, kXpThenWithLink, nullptr, leftAlone}};
    int system = kNewer;
    REPLACE(create, CreateFileW, [&](LPCWSTR path, auto... rest) {
        return system == kSandbox && path[3] == L'\0' ? INVALID_HANDLE_VALUE : create.Original(path, rest...);
    });
    REPLACE(attributes, GetFileAttributesW, [&](LPCWSTR path) {
        const bool linked = system >= kXpWithLink && path == directory.Path() &&
                            (system == kXpWithLink || std::filesystem::exists(folder + L"\\error.log"));
        return attributes.Original(path) | (linked ? FILE_ATTRIBUTE_REPARSE_POINT : 0);
    });
    for (const auto& [what, asked, onSystem, change, outcome] : rows) {
        system = onSystem;
        changeFinalPath = change;
        lookUp.answers["GetFinalPathNameByHandleW"] =
            system >= kXp ? nullptr : reinterpret_cast<void*>(&AnswerFinalPath);
        EXPECT_EQ(outcome, LogIn(asked)) << what;
    }
}

TEST_F(LogFile, IsNoLinkNorHasASecondNameButMayBeStoredInAnotherForm)
{
    constexpr int kFile = 0, kInFolder = 1, kExchanged = 2, kSecondName = 3;
    int place = kFile;
    const std::tuple<int, DWORD, t_outcome> rows[] = {{kFile, 0xA000000C, leftAlone}, // symbolic link
                                                      {kFile, 0x80000013, written},   // deduplicated
                                                      {kFile, 0x9000101A, written},   // cloud
                                                      {kFile, 0, leftAlone},          // of a kind that cannot be asked
                                                      {kInFolder, 0xA0000003, neverMade}, // mount point
                                                      {kInFolder, 0x9000101A, written},
                                                      {kExchanged, 0x80000013, leftAlone},
                                                      {kSecondName, 0, leftAlone}};
    DWORD flags = 0, identity = 0;
    REPLACE(create, CreateFileW, [&](auto... asked) {
        flags = std::get<5>(std::tuple(asked...));
        return create.Original(asked...);
    });
    REPLACE(information, GetFileInformationByHandle, [&](HANDLE handle, BY_HANDLE_FILE_INFORMATION* info) {
        const BOOL answered = information.Original(handle, info);
        const bool isFolder = (info->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        const bool isPlain = isFolder != (place == kInFolder) || place == kSecondName;
        info->dwFileAttributes |= isPlain ? 0 : FILE_ATTRIBUTE_REPARSE_POINT;
        info->nFileIndexLow += place == kExchanged ? ++identity : 0;
        info->nNumberOfLinks += place == kSecondName ? 1 : 0;
        return answered;
    });
    for (const auto& [where, tag, outcome] : rows) {
        place = where, reparseTag = tag;
        EXPECT_EQ(outcome, LogIn(folder)) << where << ' ' << tag;
        if (outcome == written) {
            EXPECT_EQ(place != kFile, (flags & FILE_FLAG_OPEN_REPARSE_POINT) != 0) << tag;
        }
    }
    place = kFile, reparseTag = 0x80000013;
    lookUp.answers["GetFileInformationByHandleEx"] = nullptr;
    EXPECT_EQ(leftAlone, LogIn(folder));
}

TEST_F(LogFile, OfABareDriveLiesInItsRoot)
{
    std::wstring opened;
    REPLACE(create, CreateFileW, [&](LPCWSTR path, auto...) { return opened = path, INVALID_HANDLE_VALUE; });
    SetEnvironmentVariableW(L"=C:", folder.c_str()); // the drive's current directory
    LogIn(L"C:");
    SetEnvironmentVariableW(L"=C:", nullptr);
    EXPECT_EQ(L"C:\\", opened);
}

TEST_F(LogWriter, DISABLED_RemembersThatThereIsNone)
{
    t_errorChain errors, tolerated;
    LogError(errors, 1, nullptr);
    ImmSingleton<t_runtime>::Instance()->Initialise(tolerated);
    LogError(errors, 1, nullptr);
    EXPECT_EQ(L"获取用户目录失败|获取用户目录失败", Entries(errors));
}

TEST_F(LogWriter, DISABLED_WritesIntoTheUserDirectory)
{
    const t_lookupPatch lookUp{{{"SHGetKnownFolderPath", reinterpret_cast<void*>(&AnswerKnownFolder)}}};
    t_errorChain errors, tolerated;
    knownFolder = directory.Path();
    ImmSingleton<t_runtime>::Instance()->Initialise(tolerated);
    directory.Write(L"TarvoPy\\other", "");
    LogError(errors, 1, nullptr);
    EXPECT_NE("", directory.Read(L"TarvoPy\\error.log"));
}

// In processes of their own: the directory is looked up once.
TEST_F(LogWriter, FindsTheUserDirectoryOnce)
{
    EXPECT_TRUE(PassesAlone("LogWriter.DISABLED_RemembersThatThereIsNone"));
    EXPECT_TRUE(PassesAlone("LogWriter.DISABLED_WritesIntoTheUserDirectory"));
}

} // namespace
