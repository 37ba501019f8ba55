// The services that the report asks the system through.
#include <shlobj.h>

#include "base/default_browser.h"
#include "base/hook_check.h"
#include "base/os_version.h"
#include "base/pending_files.h"
#include "base/session.h"
#include "base/system_directory.h"
#include "diag/error_list.h"
#include "diag/error_list_peek.h"
#include "report/gather.h"
#include "runtime/runtime.h"
#include "tests/fake_os_version.h"
#include "tests/real_windows.h"
#include "tests/windows_test.h"

using namespace std::literals;

namespace {

struct ReportSystem : testing::Test
{
    t_errorChain errors;
};

// The operations that are queued, for a path or for all, "source>target" or "source!target" each; "failed" when they
// cannot be read.
std::wstring Pending(const wchar_t* path = nullptr)
{
    t_errorChain errors;
    t_pendingOperations operations(1);
    std::wstring text = ListPendingOperations(errors, operations) ? L"" : operations.empty() ? L"failed" : L"kept";
    for (const t_pendingOperation& operation : operations) {
        if (path == nullptr || ConcernsPath(operation, path)) {
            text += operation.source + (operation.replaces ? L"!" : L">") + operation.target + L" ";
        }
    }
    return text;
}

} // namespace

TEST_F(ReportSystem, QueuesListsAndTakesBackOperations)
{
    const t_scratchDirectory folder;
    const std::wstring path = folder.Path(), old = folder.Path(L"old.ime"), made = folder.Path(L"new.ime");
    folder.Write(L"old.ime", "x");
    folder.Write(L"new.ime", "x");
    ASSERT_EQ(L"", Pending(path.c_str()));
    EXPECT_TRUE(QueueDeletion(errors, old.c_str())) << Entries(errors);
    EXPECT_TRUE(QueueReplacement(errors, made.c_str(), old.c_str())) << Entries(errors);
    EXPECT_EQ(old + L"> " + made + L"!" + old + L" ", Pending(path.c_str()));
    std::size_t removed = 0;
    EXPECT_TRUE(TakeBackPendingOperations(errors, path, removed)) << Entries(errors);
    EXPECT_EQ(2u, removed);
    EXPECT_EQ(L"", Pending(path.c_str()));
    REPLACE(refused, MoveFileExW, [](auto...) { return SetLastError(ERROR_ACCESS_DENIED), FALSE; });
    EXPECT_FALSE(QueueDeletion(errors, L"C:\\x"));
    EXPECT_EQ(L"系统错误5|无法登记重启后的文件操作：C:\\x", Entries(errors));
}

TEST_F(ReportSystem, ReadsAndRewritesWhateverIsStoredAsPendingList)
{
    const t_scratchRegistry scratch;
    constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                      kValue[] = L"PendingFileRenameOperations", kText[] = L"\\??\\C:\\a\0";
    EXPECT_EQ(L"failed", Pending()); // no key
    const t_keyHandle key = MakeKey(HKEY_LOCAL_MACHINE, kKey);
    EXPECT_EQ(L"", Pending());
    for (const auto& [type, bytes, expected] : {std::tuple{REG_SZ, 20u, L"failed"},
                                                {REG_MULTI_SZ, 0u, L""},
                                                {REG_MULTI_SZ, 19u, L"C:\\a> "}}) { // half a unit
        WriteRaw(HKEY_LOCAL_MACHINE, kKey, kValue, type, kText, bytes);
        EXPECT_EQ(expected, Pending()) << bytes;
    }
    constexpr auto kMixed = L"\\??\\C:\\Tarvo\\A.ime\0\0*2\\??\\C:\\other\0!\\??\\c:\\TARVO\0\\??\\C:\\Tarvo2\0\0\0"sv,
                   kRest = kMixed.substr(20), kNoSource = L"\0\\??\\C:\\x\0\\??\\C:\\a\0\0\0"sv;
    constexpr wchar_t kOperations[] = L"C:\\Tarvo\\A.ime> C:\\other!c:\\TARVO C:\\Tarvo2> ";
    // What is stored and listed; a path, how many operations concern it, and what is stored without them.
    const std::tuple<std::wstring_view, const wchar_t*, const wchar_t*, std::size_t, std::wstring_view> rows[] = {
        {kMixed, kOperations, L"C:\\", 0, kMixed},
        {kMixed, kOperations, L"C:\\Tarvo\\A.im", 0, kMixed},
        {kMixed, kOperations, L"C:\\tarvo\\a.ime", 1, kRest},
        {kMixed, kOperations, L"C:\\Tarvo", 2, L"\\??\\C:\\Tarvo2\0\0\0"sv},
        {L"*1\\??\\C:\\a\0\\??\\C:\\b\0\0"sv, L"C:\\a>C:\\b ", L"C:\\b", 1, L""},
        {L"\\??\\UNC\\server\\a\0\0\0"sv, L"\\\\server\\a> ", L"\\\\server", 1, L""},
        {kNoSource, L"C:\\a> ", L"C:\\x", 0, kNoSource},
        {kNoSource, L"C:\\a> ", L"C:\\a", 1, L"\0\\??\\C:\\x\0\0"sv},
        {L"\0"sv, L"", L"C:\\a", 0, L"\0"sv},
        {L"\\??\\C:\\a!"sv.substr(0, 8), L"C:\\a> ", L"C:\\a", 1, L""}, // no terminator, even behind it
        {L"\\??\\C:\\a\0!"sv, L"C:\\a! ", L"C:\\a", 1, L""},
        {L"*12\0"sv, L"> ", L"C:\\a", 0, L"*12\0"sv},
    };
    for (const auto& [stored, listed, path, count, rest] : rows) {
        WriteRaw(HKEY_LOCAL_MACHINE, kKey, kValue, REG_MULTI_SZ, stored.data(), static_cast<DWORD>(stored.size() * 2));
        EXPECT_EQ(listed, Pending());
        std::size_t removed = 99;
        EXPECT_TRUE(TakeBackPendingOperations(errors, path, removed)) << Entries(errors);
        EXPECT_EQ(count, removed) << path;
        wchar_t left[99];
        DWORD bytes = sizeof(left);
        const bool isThere = RegQueryValueExW(key.Get(), kValue, nullptr, nullptr, reinterpret_cast<BYTE*>(left),
                                              &bytes) == ERROR_SUCCESS;
        EXPECT_EQ(rest, std::wstring(left, isThere ? bytes / 2 : 0)) << path;
        EXPECT_EQ(rest.empty(), !isThere); // no empty list is left
    }
}

TEST_F(ReportSystem, FindsTheDefaultBrowserInTheOrderOfTheShell)
{
    const t_scratchRegistry scratch;
    const auto find = [] {
        t_errorChain unread;
        t_defaultBrowser browser;
        return FindDefaultBrowser(unread, browser)
                   ? FormatStr(L"%d %s|%s", static_cast<int>(browser.source), browser.command.program.c_str(),
                               browser.command.arguments.c_str())
                   : t_str(Entries(unread).substr(Entries(unread).rfind(L'|') + 1));
    };
    const std::wstring machine = L"SOFTWARE\\Clients\\StartMenuInternet", command = L"\\shell\\open\\command",
                       choice = L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\http\\UserChoice";
    constexpr wchar_t kUnquoted[] = L"C:\\Program Files\\Internet Explorer\\iexplore.exe"; // the file is there
    const std::wstring ofMachine = L"2 C:\\m.exe|", ofClass = L"1 C:\\h.exe|\"%1\"";
    const std::tuple<HKEY, std::wstring, const wchar_t*, std::wstring, std::wstring> rows[] = {
        {HKEY_LOCAL_MACHINE, machine, L"", L"Machine", L"找不到默认浏览器"},
        {HKEY_LOCAL_MACHINE, machine + L"\\Machine" + command, L"", L"C:\\m.exe", ofMachine},
        {HKEY_CLASSES_ROOT, L"http" + command, L"", L"\"C:\\h.exe\" \"%1\"", ofClass},
        {HKEY_CURRENT_USER, choice, L"ProgId", L"Chosen", ofClass}, // a class without a command
        {HKEY_CLASSES_ROOT, L"Chosen" + command, L"", L"C:\\c.exe -u", L"0 C:\\c.exe|-u"},
        {HKEY_CURRENT_USER, choice, L"ProgId", L"", ofClass},
        {HKEY_CLASSES_ROOT, L"Chosen\\sub" + command, L"", L"C:\\s.exe", ofClass},
        {HKEY_CURRENT_USER, choice, L"ProgId", L"Chosen\\sub", ofClass},
        {HKEY_CLASSES_ROOT, L"http" + command, L"", kUnquoted + L" %1"s, L"1 "s + kUnquoted + L"|%1"},
        {HKEY_CLASSES_ROOT, L"http" + command, L"", L"C:\\" + std::wstring(3000, L'x'), ofMachine},
    };
    for (const auto& [root, key, name, text, expected] : rows) {
        WriteText(root, key, name, text);
        EXPECT_EQ(expected, find()) << text;
    }
    SetEnvironmentVariableW(L"tarvo_long", std::wstring(2048, L'x').c_str());
    const std::wstring expanded = L"1 "s + _wgetenv(L"SystemRoot") + L"\\reg.exe|-u %1";
    for (const auto& [text, expected] :
         {std::pair{L"%SystemRoot%\\reg.exe -u %1"s, expanded}, {L"C:\\e.exe %tarvo_long%", ofMachine}}) { // too long
        const auto bytes = static_cast<DWORD>(text.size() * 2 + 2);
        WriteRaw(HKEY_CLASSES_ROOT, L"http" + command, L"", REG_EXPAND_SZ, text.c_str(), bytes);
        EXPECT_EQ(expected, find());
    }
}

TEST_F(ReportSystem, ReadsSessionElevationAndIntegrity)
{
    t_session session;
    ASSERT_TRUE(ReadCurrentSession(errors, session)) << Entries(errors);
    wchar_t name[100] = {};
    GetEnvironmentVariableW(L"USERNAME", name, 100);
    EXPECT_EQ(name, std::wstring(FileNamePart(session.user)));
    EXPECT_EQ(IsUserAnAdmin() != FALSE, IsProcessElevated());
    std::uint32_t level = 0;
    EXPECT_EQ(!RunsBeforeVista(), ReadIntegrityLevel(level));
    EXPECT_EQ(RunsBeforeVista() ? 0u : IsProcessElevated() ? 0x3000u : 0x2000u, level);

    REPLACE(none, OpenProcessToken, [](auto...) { return FALSE; });
    EXPECT_FALSE(ReadIntegrityLevel(level));
    REPLACE(lookup, LookupAccountNameW, [](auto...) { return SetLastError(ERROR_NONE_MAPPED), FALSE; });
    EXPECT_FALSE(ReadCurrentSession(errors, session));
    EXPECT_EQ(name, session.user);
    EXPECT_EQ(L"", session.userSid);
    EXPECT_EQ(L"系统错误1332|无法读取会话用户", Entries(errors));
}

TEST(OsVersion, IsUnknownWhenItCannotBeRead)
{
    OSVERSIONINFOW version{};
    EXPECT_TRUE(GetOsVersionFromKernel32(version));
    const t_fakeOsVersion none(0, 0);
    EXPECT_FALSE(GetOsVersionFromKernel32(version));
    REPLACE(read, GetFileVersionInfoW, [](auto...) { return FALSE; });
    EXPECT_FALSE(GetOsVersionFromKernel32(version));
}

// Of the system's own functions the report of a whole machine shows that none differs.
TEST_F(ReportSystem, FindsCodeThatIsNotTheFiles)
{
    const t_scratchDirectory folder;
    t_path system;
    ReadSystemDirectory(system);
    CopyFileW((system + L"\\version.dll").c_str(), folder.Path(L"Tarvo Copy.ime").c_str(), FALSE);
    const t_library library(LoadLibraryW(folder.Path(L"Tarvo Copy.ime").c_str()));
    constexpr wchar_t kName[] = L"Tarvo Copy.ime", kDiffers[] = L"Tarvo Copy.ime!VerQueryValueW";
    const t_systemFunction functions[] = {
        {kName, "VerQueryValueW"}, {kName, "GetFileVersionInfoW"}, {kName, "NoSuchFunction"}, {L"none.dll", "X"}};
    const auto check = [&] {
        const t_hookCheck result = CheckForHooks(functions);
        EXPECT_TRUE(result.unchecked.empty());
        return result.differing;
    };
    auto* const code =
        reinterpret_cast<BYTE*>(reinterpret_cast<void*>(GetProcAddress(library.Get(), functions[0].name)));
    DWORD protection = 0;
    ASSERT_TRUE(VirtualProtect(code, 1, PAGE_EXECUTE_READWRITE, &protection));
    for (const n_report::t_texts& differing : {n_report::t_texts(), {kDiffers}, {}}) {
        EXPECT_EQ(differing, check());
        *code = static_cast<BYTE>(*code ^ 0xFF);
    }

    // Found elsewhere than the file says.
    REPLACE(elsewhere, GetProcAddress,
            [](auto...) { return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&GetTickCount)); });
    EXPECT_EQ((n_report::t_texts{kDiffers, L"Tarvo Copy.ime!GetFileVersionInfoW"}), check());
}

TEST_F(ReportSystem, LooksAtTheErrorListWithoutTakingEntries)
{
    const auto peek = [this] {
        itl::ImmSimpleArray<t_postedError> entries;
        std::wstring text = PeekErrorList(errors, entries) ? L"" : L"failed ";
        for (const t_postedError& entry : entries) {
            text += entry.text + (entry.flag ? L"!" : L"") + L";";
        }
        return text;
    };
    EXPECT_EQ(L"", peek());
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, L"Local\\TVSM_ErrorList")); // still none
    EXPECT_EQ(nullptr, OpenMutexW(SYNCHRONIZE, FALSE, L"Local\\tvpy_mutex_error_list"));

    t_errorList list;
    t_str text;
    bool flag = false;
    ASSERT_TRUE(list.Open(errors)) << Entries(errors);
    EXPECT_TRUE(list.Add(errors, L"旧", false));
    EXPECT_TRUE(list.ReadNext(errors, text, flag));
    for (const auto& [posted, postedFlag] : {std::pair{L"一", true}, {L"", true}, {L"二", false}}) {
        EXPECT_TRUE(list.Add(errors, posted, postedFlag));
    }
    EXPECT_EQ(L"一!;!;二;", peek());
    EXPECT_EQ(3u, n_report::GatherMessages(t_runtime()).unread.size());
    EXPECT_TRUE(list.ReadNext(errors, text, flag));
    EXPECT_EQ(L"!;二;", peek());

    REPLACE(held, WaitForSingleObject, [](auto...) { return DWORD{WAIT_TIMEOUT}; });
    EXPECT_EQ(L"failed ", peek());
    EXPECT_EQ(L"系统错误1460|无法读取消息缓存", Entries(errors));
}
