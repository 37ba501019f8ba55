// The services that the report asks the system through.
#include <shlobj.h>

#include "base/default_browser.h"
#include "base/hook_check.h"
#include "base/loaded_modules.h"
#include "base/module_path.h"
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

namespace {

struct ReportSystem : testing::Test
{
    // The operations queued for a path, "source>target" or "source!target" each.
    std::wstring Pending(const std::wstring& path)
    {
        t_pendingOperations operations;
        EXPECT_TRUE(ListPendingOperations(errors, operations)) << Entries(errors);
        std::wstring text;
        for (const t_pendingOperation& operation : operations) {
            if (ConcernsPath(operation, path)) {
                text += operation.source + (operation.replaces ? L"!" : L">") + operation.target + L" ";
            }
        }
        return text;
    }

    t_errorChain errors;
};

std::wstring Joined(const itl::ImmSimpleArray<t_str>& texts)
{
    std::wstring joined;
    for (const t_str& text : texts) {
        joined += text + L";";
    }
    return joined;
}

// A library of the system's under another name, loaded for the life of a scope.
struct t_loadedCopy
{
    explicit t_loadedCopy(const t_scratchDirectory& folder) : path(folder.Path(L"Tarvo Copy.ime"))
    {
        t_path system;
        ReadSystemDirectory(system);
        CopyFileW((system + L"\\version.dll").c_str(), path.c_str(), FALSE);
        library.Reset(LoadLibraryW(path.c_str()));
        EXPECT_TRUE(library);
    }

    std::wstring path;
    t_library library;
};

} // namespace

TEST_F(ReportSystem, QueuesListsAndTakesBackOperations)
{
    const t_scratchDirectory folder;
    const std::wstring path = folder.Path(), old = folder.Path(L"old.ime"), made = folder.Path(L"new.ime");
    folder.Write(L"old.ime", "x");
    folder.Write(L"new.ime", "x");
    ASSERT_EQ(L"", Pending(path));
    EXPECT_TRUE(QueueDeletion(errors, old.c_str())) << Entries(errors);
    EXPECT_TRUE(QueueReplacement(errors, made.c_str(), old.c_str())) << Entries(errors);
    EXPECT_EQ(old + L"> " + made + L"!" + old + L" ", Pending(path));

    for (const auto& [taken, count, left] :
         {std::tuple{made, 1u, old + L"> "}, {path, 1u, std::wstring()}, {path, 0u, std::wstring()}}) {
        std::size_t removed = 9;
        EXPECT_TRUE(TakeBackPendingOperations(errors, taken, removed)) << Entries(errors);
        EXPECT_EQ(count, removed);
        EXPECT_EQ(left, Pending(path));
    }
    REPLACE(refused, MoveFileExW, [](auto...) { return SetLastError(ERROR_ACCESS_DENIED), FALSE; });
    EXPECT_FALSE(QueueDeletion(errors, L"C:\\x"));
    EXPECT_EQ(L"系统错误5|无法登记重启后的文件操作：C:\\x", Entries(errors));
}

TEST_F(ReportSystem, ReadsAndRewritesWhateverIsStoredAsPendingList)
{
    const t_scratchRegistry scratch;
    constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    constexpr wchar_t kValue[] = L"PendingFileRenameOperations";
    t_pendingOperations operations(1);
    EXPECT_FALSE(ListPendingOperations(errors, operations)); // no key
    EXPECT_TRUE(operations.empty());
    errors.Clear();
    MakeKey(HKEY_LOCAL_MACHINE, kKey);
    EXPECT_EQ(L"", Pending(L"C:\\a"));
    WriteRaw(HKEY_LOCAL_MACHINE, kKey, kValue, REG_MULTI_SZ, L"", 0);
    EXPECT_EQ(L"", Pending(L"C:\\a"));
    WriteRaw(HKEY_LOCAL_MACHINE, kKey, kValue, REG_MULTI_SZ, L"\\??\\C:\\a\0", 19); // half a unit at the end
    EXPECT_EQ(L"C:\\a> ", Pending(L"C:\\a"));
    std::size_t removed = 0;
    EXPECT_TRUE(TakeBackPendingOperations(errors, L"C:\\a", removed));
    EXPECT_EQ(L"[]\n", DumpKey(HKEY_LOCAL_MACHINE, kKey)); // no empty list is left
    WriteText(HKEY_LOCAL_MACHINE, kKey, kValue, L"text");
    EXPECT_FALSE(ListPendingOperations(errors, operations));
}

TEST_F(ReportSystem, FindsTheDefaultBrowserInTheOrderOfTheShell)
{
    const t_scratchRegistry scratch;
    const auto find = [this] {
        errors.Clear();
        t_defaultBrowser browser;
        return FindDefaultBrowser(errors, browser)
                   ? FormatStr(L"%d %s|%s", static_cast<int>(browser.source), browser.command.program.c_str(),
                               browser.command.arguments.c_str())
                   : t_str(L"none");
    };
    const std::wstring machine = L"SOFTWARE\\Clients\\StartMenuInternet", command = L"\\shell\\open\\command",
                       choice = L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\http\\UserChoice";
    const std::wstring ofMachine = L"2 C:\\m.exe|", ofClass = L"1 C:\\h.exe|\"%1\"";
    const std::tuple<HKEY, std::wstring, const wchar_t*, std::wstring, std::wstring> rows[] = {
        {HKEY_LOCAL_MACHINE, machine, L"", L"Machine", L"none"},
        {HKEY_LOCAL_MACHINE, machine + L"\\Machine" + command, L"", L"C:\\m.exe", ofMachine},
        {HKEY_CLASSES_ROOT, L"http" + command, L"", L"\"C:\\h.exe\" \"%1\"", ofClass},
        {HKEY_CURRENT_USER, choice, L"ProgId", L"Chosen", ofClass}, // a class without a command
        {HKEY_CLASSES_ROOT, L"Chosen" + command, L"", L"C:\\c.exe -u", L"0 C:\\c.exe|-u"},
        {HKEY_CURRENT_USER, choice, L"ProgId", L"", ofClass},
        {HKEY_CLASSES_ROOT, L"Chosen\\sub" + command, L"", L"C:\\s.exe", ofClass},
        {HKEY_CURRENT_USER, choice, L"ProgId", L"Chosen\\sub", ofClass},
        {HKEY_CLASSES_ROOT, L"http" + command, L"", L"\\\\server\\h.exe", ofMachine},
        {HKEY_CLASSES_ROOT, L"http" + command, L"", L"C:\\" + std::wstring(3000, L'x'), ofMachine},
    };
    for (const auto& [root, key, name, text, expected] : rows) {
        WriteText(root, key, name, text);
        EXPECT_EQ(expected, find()) << text;
        EXPECT_EQ(expected == L"none", Entries(errors).ends_with(L"|找不到默认浏览器")) << text;
    }
    constexpr wchar_t kExpanded[] = L"%SystemRoot%\\system32\\reg.exe -u %1";
    WriteRaw(HKEY_CLASSES_ROOT, L"http" + command, L"", REG_EXPAND_SZ, kExpanded, sizeof(kExpanded));
    EXPECT_EQ(FormatStr(L"1 %s\\system32\\reg.exe|-u %%1", _wgetenv(L"SystemRoot")), find());
}

TEST_F(ReportSystem, ListsTheProgramsThatHoldALibrary)
{
    const t_scratchDirectory folder;
    t_loadedCopy copy(folder);
    const auto find = [this](const std::wstring& path) {
        itl::ImmSimpleArray<t_program> programs;
        std::size_t unseen = 0;
        EXPECT_TRUE(FindProgramsHolding(errors, t_path(t_str(path)), programs, unseen)) << Entries(errors);
        t_str text;
        for (const t_program& program : programs) {
            text << program.processId << L" " << program.name << L";";
        }
        return text;
    };
    t_path self;
    ReadModulePath(nullptr, self);
    const t_str expected = FormatStr(L"%u %s;", GetCurrentProcessId(), std::wstring(FileNamePart(self)).c_str());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(expected, find(copy.path));
        CharUpperW(copy.path.data());
    }
    EXPECT_EQ(L"", find(copy.path + L"x"));
    copy.library.Reset();
    EXPECT_EQ(L"", find(copy.path));
}

TEST_F(ReportSystem, ReadsSessionElevationAndIntegrity)
{
    t_session session;
    ASSERT_TRUE(ReadCurrentSession(errors, session)) << Entries(errors);
    wchar_t name[100] = {};
    GetEnvironmentVariableW(L"USERNAME", name, 100);
    EXPECT_EQ(name, std::wstring(FileNamePart(session.user)));
    EXPECT_TRUE(KeyExists(HKEY_USERS, session.userSid));
    EXPECT_EQ(IsUserAnAdmin() != FALSE, IsProcessElevated());
    std::uint32_t level = 0;
    EXPECT_EQ(!RunsBeforeVista(), ReadIntegrityLevel(level));
    EXPECT_EQ(RunsBeforeVista() ? 0u : IsProcessElevated() ? 0x3000u : 0x2000u, level);

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

TEST_F(ReportSystem, FindsCodeThatIsNotTheFiles)
{
    const t_scratchDirectory folder;
    t_loadedCopy copy(folder);
    const wchar_t* const name = FileNamePart(copy.path).data();
    const t_systemFunction functions[] = {
        {name, "VerQueryValueW"}, {name, "GetFileVersionInfoW"}, {name, "NoSuchFunction"}, {L"none.dll", "X"}};
    const auto check = [&] {
        const t_hookCheck result = CheckForHooks(functions);
        return Joined(result.differing) + (result.unchecked.empty() ? L"" : L"?" + Joined(result.unchecked));
    };
    auto* const code =
        reinterpret_cast<BYTE*>(reinterpret_cast<void*>(GetProcAddress(copy.library.Get(), functions[0].name)));
    DWORD protection = 0;
    ASSERT_TRUE(VirtualProtect(code, 1, PAGE_EXECUTE_READWRITE, &protection));
    for (const wchar_t* const differing : {L"", L"Tarvo Copy.ime!VerQueryValueW;", L""}) {
        EXPECT_EQ(differing, check());
        *code = static_cast<BYTE>(*code ^ 0xFF);
    }

    // Found elsewhere than the file says.
    REPLACE(elsewhere, GetProcAddress,
            [](auto...) { return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&GetTickCount)); });
    EXPECT_EQ(L"Tarvo Copy.ime!VerQueryValueW;Tarvo Copy.ime!GetFileVersionInfoW;", check());
}

TEST_F(ReportSystem, ComparesTheSelectedFunctions)
{
    const t_hookCheck result = CheckForHooks(SelectedSystemFunctions());
    EXPECT_EQ(0u, result.differing.size()) << Joined(result.differing);
    EXPECT_EQ(0u, result.unchecked.size()) << Joined(result.unchecked);
}

TEST_F(ReportSystem, LooksAtTheErrorListWithoutTakingEntries)
{
    const auto peek = [this] {
        itl::ImmSimpleArray<t_postedError> entries;
        errors.Clear();
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
