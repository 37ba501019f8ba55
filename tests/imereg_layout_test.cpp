#include "tests/windows_test.h"

#include <imm.h>
#include <sddl.h>
#include <shlobj.h>
#include <wtsapi32.h>

#include "base/singleton.h"
#include "base/trace.h"
#include "imereg/keyboard_layout.h"
#include "imereg/layout_keys.h"
#include "imereg/user_hives.h"
#include "tests/fake_os_version.h"
#include "tests/preload_text.h"

namespace {

constexpr wchar_t kLayouts[] = L"System\\CurrentControlSet\\Control\\Keyboard Layouts";
constexpr wchar_t kText[] = L"中文(简体) - 塔沃拼音输入法";

std::wstring traced;

void RecordTrace(const wchar_t* tag, const wchar_t* text)
{
    traced += std::wstring(tag) + L" / " + text + L"\n";
}

t_str LayoutPath(std::uint32_t klid)
{
    return FormatStr(L"%s\\%08X", kLayouts, klid);
}

void WriteLayout(std::uint32_t klid, const wchar_t* imeFile, const wchar_t* text = L"text")
{
    WriteText(HKEY_LOCAL_MACHINE, LayoutPath(klid), L"Ime File", imeFile);
    WriteText(HKEY_LOCAL_MACHINE, LayoutPath(klid), L"Layout Text", text);
}

// An empty registry, a fresh catalogue, and a session without layouts and without a user, unless a test says otherwise.
struct t_layoutTest : testing::Test
{
    t_layoutTest()
    {
        t_singletonRegistry::Process().DestroyAll();
        traced.clear();
        n_trace::SetSink(&RecordTrace);
        MakeKey(HKEY_LOCAL_MACHINE, kLayouts);
        WriteList(HKEY_CURRENT_USER, L"", L"1=00000804");
    }
    ~t_layoutTest() override
    {
        n_trace::SetSink(nullptr);
        t_singletonRegistry::Process().DestroyAll();
    }

    t_scratchRegistry registry;
    t_fakeOsVersion os{6, 1};
    std::wstring calls;                     // what was asked of the system, in order
    std::uintptr_t installedHandle = 0;     // result of ImmInstallIMEW; 0 fails
    std::optional<std::wstring> loadedFile; // IME file of the one loaded layout
    std::uintptr_t loadedHandle = 0;
    std::wstring systemDirectory = L"C:\\windows\\system32";
    bool hiveFileExists = true;
    HKEY defaultProfile = nullptr; // the hive, as the program opened it
    LSTATUS loadKeyResult = ERROR_SUCCESS;
    std::wstring defaultProfileBeforeUnload;

    REPLACE(install, ImmInstallIMEW, [this](LPCWSTR file, LPCWSTR) {
        calls += std::wstring(L"install ") + file + L"\n";
        SetLastError(installedHandle == 0 ? 1450u : 0u);
        return reinterpret_cast<HKL>(installedHandle);
    });
    REPLACE(list, GetKeyboardLayoutList, [this](int count, HKL* layouts) {
        std::fill_n(layouts, loadedFile && count > 0, reinterpret_cast<HKL>(loadedHandle));
        return loadedFile ? 1 : 0;
    });
    // Fills the buffer to its end without a terminator, as a system may.
    REPLACE(imeFileName, ImmGetIMEFileNameW,
            [this](HKL, LPWSTR buffer, UINT units) { return static_cast<UINT>(loadedFile->copy(buffer, units)); });
    REPLACE(unload, UnloadKeyboardLayout, [this](HKL layout) -> WINBOOL {
        calls += FormatStr(L"unload %I64x\n", reinterpret_cast<std::int64_t>(layout));
        SetLastError(120);
        return loadedFile.has_value();
    });
    REPLACE(directory, GetSystemDirectoryW, [this](LPWSTR buffer, UINT units) {
        (systemDirectory + L'\0').copy(buffer, units);
        return static_cast<UINT>(systemDirectory.size());
    });
    REPLACE(session, WTSQuerySessionInformationW, [](auto...) { return FALSE; });
    REPLACE(privilege, LookupPrivilegeValueW, [this](LPCWSTR, LPCWSTR name, LUID*) { return calls += name, TRUE; });
    REPLACE(adjust, AdjustTokenPrivileges, [this](HANDLE, BOOL, TOKEN_PRIVILEGES* change, auto...) {
        return calls += FormatStr(L" %x\n", change->Privileges[0].Attributes), TRUE;
    });
    REPLACE(openHive, RegOpenKeyW, [this](HKEY root, LPCWSTR name, HKEY* key) {
        const LSTATUS result = openHive.Original(root, name, key);
        defaultProfile = *key;
        return result;
    });
    REPLACE(loadKey, RegLoadKeyW, [this](HKEY, LPCWSTR name, LPCWSTR path) {
        const std::wstring_view file = path; // of which the last two components count
        calls += FormatStr(L"load %s%s\n", name, &path[file.rfind(L'\\', file.rfind(L'\\') - 1)]);
        if (loadKeyResult == ERROR_SUCCESS) {
            WriteList(HKEY_USERS, name, L"1=00000804");
        }
        return loadKeyResult;
    });
    REPLACE(unloadKey, RegUnLoadKeyW, [this](HKEY, LPCWSTR name) {
        EXPECT_EQ(ERROR_INVALID_HANDLE, RegFlushKey(defaultProfile)) << "it would not unload";
        defaultProfileBeforeUnload = ReadList(HKEY_USERS, name);
        calls += L"unload hive\n";
        return LSTATUS{ERROR_SUCCESS};
    });
    REPLACE(attributes, GetFileAttributesW, [this](LPCWSTR) { return hiveFileExists ? 0u : INVALID_FILE_ATTRIBUTES; });
};

const std::wstring kEnabled = L"SeRestorePrivilege 2\nSeBackupPrivilege 2\n",
                   kRemoved = L"unload hive\nSeRestorePrivilege 4\nSeBackupPrivilege 4\n";

} // namespace

TEST_F(t_layoutTest, NewLayoutReachesTheUserAndTheDefaultProfile)
{
    installedHandle = 0xFFFFFFFFE0210804;
    WriteLayout(0xE00E0804, L"IMSCPINYIN.IME");
    WriteLayout(0xE00F0411, L"imscother.ime");
    WriteLayout(0x00010804, L"xmsc.ime");
    EXPECT_EQ(0, InstallClassicLayout(0, kText));
    EXPECT_EQ(L"install C:\\windows\\system32\\TarvoPY.ime\n" + kEnabled + L"load default_user\\default\\NTUSER.DAT\n" +
                  kRemoved,
              calls);
    EXPECT_EQ(L"1=00000804- 2=E0210804- ", ReadList(HKEY_CURRENT_USER, L""));
    EXPECT_EQ(L"1=00000804- 2=E0210804- 3=E00E0804- ", defaultProfileBeforeUnload);
    EXPECT_EQ(L"", traced);
}

TEST_F(t_layoutTest, FailedInstallIsRecovered)
{
    const wchar_t* const trace = L"安装错误 / ImmInstallIME() returns NULL, GetLastError() = 1450, Filename = "
                                 L"C:\\windows\\system32\\TarvoPY.ime\n";
    loadKeyResult = ERROR_SHARING_VIOLATION;

    // A layout of the file that is no IME layout serves, without a word.
    WriteLayout(0x00010804, L"TarvoPY.ime");
    EXPECT_EQ(0, InstallClassicLayout(0, kText));
    EXPECT_EQ(L"", traced);
    EXPECT_EQ(L"1=00000804- 2=00010804- ", ReadList(HKEY_CURRENT_USER, L""));
    EXPECT_EQ(std::wstring::npos, calls.find(L"unload hive"));

    // Without one the key is written directly, behind the highest number there is.
    t_singletonRegistry::Process().DestroyAll();
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, LayoutPath(0x00010804).c_str());
    WriteLayout(0xE0200804, L"other.ime");
    EXPECT_EQ(0, InstallClassicLayout(0, kText));
    EXPECT_EQ(trace, traced);
    EXPECT_EQ(FormatStr(L"[]\nIme File=1:TarvoPY.ime\nLayout File=1:kbdus.dll\nLayout Text=1:%s\n", kText),
              DumpKey(HKEY_LOCAL_MACHINE, LayoutPath(0xE0210804)));
    EXPECT_EQ(L"1=00000804- 2=00010804- 3=E0210804- ", ReadList(HKEY_CURRENT_USER, L""));

    // When that fails too, the error of the installation is the result and no list is touched.
    t_singletonRegistry::Process().DestroyAll();
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, LayoutPath(0xE0210804).c_str());
    const std::wstring before = DumpKey(HKEY_CURRENT_USER, L"");
    REPLACE(create, RegCreateKeyExW, [](auto...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    EXPECT_EQ(1450, InstallClassicLayout(0, kText));
    EXPECT_EQ(before, DumpKey(HKEY_CURRENT_USER, L""));
}

TEST_F(t_layoutTest, UnusableSystemDirectoryIsTraced)
{
    const std::tuple<std::size_t, int, std::wstring> cases[] = {
        {0, -248, L"取系统目录失败 / GetSystemDirectory() returns 0, GetLastError = 5\n"},
        {259, -254, L"取系统目录失败 / GetSystemDirectory buffer overflow\n"},
        {258, -264, L"构造IME文件路径失败 / buffer overflow: " + std::wstring(258, L'd') + L"TarvoPY.ime\n"},
        {248, -264, L"构造IME文件路径失败 / buffer overflow: " + std::wstring(248, L'd') + L"TarvoPY.ime\n"},
        {247, 0, L""},
    };
    installedHandle = 0xE0210804;
    for (const auto& [length, status, trace] : cases) {
        systemDirectory.assign(length, L'd');
        traced.clear();
        SetLastError(5);
        EXPECT_EQ(status, InstallClassicLayout(0, kText)) << length;
        EXPECT_EQ(trace, traced) << length;
        EXPECT_EQ(status == 0, calls.starts_with(L"install")) << length;
    }
}

TEST_F(t_layoutTest, RemovalGoesOnWhenUnloadingFails)
{
    WriteLayout(0xE0200804, L"TARVOpy.ime");
    WriteList(HKEY_CURRENT_USER, L"", L"1=00000804 2=E0200804 3=00000409");
    WriteList(HKEY_USERS, L".DEFAULT", L"1=E0200804");
    WriteLayout(0xE0200411, L"TarvoTSF.ime");
    const std::wstring before = DumpKey(HKEY_LOCAL_MACHINE, L"");
    EXPECT_EQ(kLayoutNotFound, RemoveImeLayout(L"TarvoTSF.ime")) << "a layout of another language does not count";
    EXPECT_EQ(before, DumpKey(HKEY_LOCAL_MACHINE, L""));
    EXPECT_EQ(120, RemoveImeLayout(L"TarvoPY.ime"));
    EXPECT_EQ(L"unload ffffffffe0200804\n", calls);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, LayoutPath(0xE0200804)));
    EXPECT_EQ(L"1=00000804- 2=00000409- ", ReadList(HKEY_CURRENT_USER, L""));
    EXPECT_EQ(L"1=E0200804- ", ReadList(HKEY_USERS, L".DEFAULT")) << "removal visits the logged-on user only";
    EXPECT_EQ(L"", traced);
}

TEST_F(t_layoutTest, LoadedLayoutIsRemovedByItsHandle)
{
    loadedFile = L"TarvoPY.ime";
    loadedHandle = 0xFFFFFFFFE0220804;
    EXPECT_EQ(0, RemoveImeLayout(L"tarvopy.IME"));
    EXPECT_EQ(L"unload ffffffffe0220804\n", calls);
    EXPECT_EQ(FormatStr(L"删除键盘布局失败 / RegDeleteKey(%s) returns 2\n", LayoutPath(0xE0220804).c_str()), traced);

    loadedFile->assign(40, L'x');
    EXPECT_EQ(nullptr, FindLoadedLayoutByImeFile(L"TarvoPY.ime"));
}

TEST_F(t_layoutTest, KlidSearchHonoursNamesValuesAndItsLimit)
{
    MakeKey(HKEY_LOCAL_MACHINE, std::wstring(kLayouts) + L"\\" + std::wstring(240, L'0') + L"804");
    std::uint32_t klid = 0xE0010804;
    for (const auto& [units, bytes, found] : {std::tuple{5u, 10u, true}, {199u, 400u, true}, {200u, 402u, false}}) {
        const std::wstring file(units, L'A');
        WriteRaw(HKEY_LOCAL_MACHINE, LayoutPath(klid), L"Ime File", REG_SZ, file.c_str(), bytes);
        EXPECT_EQ(found ? klid : 0, FindLayoutKlidByImeFile(std::wstring(file.size(), L'a')));
        klid += 0x10000;
    }
    const t_scratchRegistry crowded{HKEY_LOCAL_MACHINE};
    for (std::uint32_t i = 0; i < 250; ++i) {
        MakeKey(HKEY_LOCAL_MACHINE, LayoutPath(0x00000409 + (i << 16)));
    }
    WriteLayout(0xF0000804, L"late.ime");
    EXPECT_EQ(0u, FindLayoutKlidByImeFile(L"late.ime"));
}

TEST_F(t_layoutTest, LayoutTextIsRewrittenOnlyWhenItDiffers)
{
    const std::wstring kLong(260, L'x');
    const std::tuple<DWORD, std::wstring, DWORD, bool> cases[] = {
        {REG_SZ, L"abc", 8, false},  {REG_SZ, L"abc", 6, false}, {REG_SZ, L"ABC", 8, true},  {REG_SZ, L"abc", 5, true},
        {REG_DWORD, L"ab", 4, true}, {REG_SZ, L"", 0, true},     {REG_SZ, kLong, 522, false}};
    for (const auto& [type, stored, bytes, rewritten] : cases) {
        WriteRaw(HKEY_LOCAL_MACHINE, LayoutPath(0xE0200804), L"Layout Text", type, stored.c_str(), bytes);
        const std::wstring before = DumpKey(HKEY_LOCAL_MACHINE, LayoutPath(0xE0200804));
        EXPECT_EQ(bytes > 520 ? ERROR_MORE_DATA : ERROR_SUCCESS, UpdateLayoutText(0xE0200804, L"abc"));
        EXPECT_EQ(rewritten ? L"[]\nLayout Text=1:abc\\0\n" : before,
                  DumpKey(HKEY_LOCAL_MACHINE, LayoutPath(0xE0200804)));
    }
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, UpdateLayoutText(0xE0990804, L"abc"));
}

TEST_F(t_layoutTest, LoggedOnUserIsLookedUpInTheSessionsDomain)
{
    const std::map<std::wstring, std::pair<SID_NAME_USE, const wchar_t*>> accounts = {
        {L"CORP\\alice", {SidTypeUser, L"S-1-5-21-1-1001"}}, {L"alice", {SidTypeUser, L"S-1-5-21-2-1001"}},
        {L"CORP\\staff", {SidTypeGroup, L"S-1-5-21-1-513"}}, {L"staff", {SidTypeUser, L"S-1-5-21-2-1001"}},
        {L"MACHINE", {SidTypeDomain, L"S-1-5-21-2"}},        {L"CORP\\away", {SidTypeUser, L"S-1-5-21-1-1002"}},
    };
    std::map<WTS_INFO_CLASS, std::wstring> answers;
    std::wstring asked;
    int held = 0;
    REPLACE(query, WTSQuerySessionInformationW,
            [&](HANDLE, DWORD sessionId, WTS_INFO_CLASS what, LPWSTR* text, DWORD*) -> WINBOOL {
                EXPECT_EQ(WTS_CURRENT_SESSION, sessionId);
                const bool answered = answers[what] != L"!";
                held += answered;
                *text = answered ? answers[what].data() : nullptr;
                return answered;
            });
    REPLACE(release, WTSFreeMemory, [&](PVOID) { --held; });
    REPLACE(lookUp, LookupAccountNameW,
            [&](LPCWSTR, LPCWSTR name, PSID sid, LPDWORD size, LPWSTR, LPDWORD domainLength, PSID_NAME_USE use) {
                EXPECT_EQ(1024u, *domainLength);
                const auto account = accounts.find(name);
                if (sid == nullptr) {
                    asked += std::wstring(name) + L" ";
                    *size = account == accounts.end() ? 0 : SECURITY_MAX_SID_SIZE;
                    return WINBOOL{FALSE};
                }
                t_localMemory known;
                ConvertStringSidToSidW(account->second.second, known.Put());
                *use = account->second.first;
                return CopySid(*size, sid, known.Get());
            });

    std::wstring opened;
    REPLACE(open, RegOpenKeyExW, [&](HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) {
        const bool isUsers = root == HKEY_USERS && std::wstring_view(name).ends_with(L"1001");
        opened += isUsers ? FormatStr(L"%x %x", options, access) : L"";
        return open.Original(root, name, options & ~REG_OPTION_OPEN_LINK, access, key);
    });

    // Domain and user, where "!" refuses the question; what is asked; the hive below HKEY_USERS, or the installer's
    // own.
    const std::tuple<std::wstring, std::wstring, std::wstring, std::wstring> cases[] = {
        {L"CORP", L"alice", L"CORP\\alice ", L"S-1-5-21-1-1001"}, // beside a local namesake
        {L"LAB", L"alice", L"LAB\\alice alice ", L"S-1-5-21-2-1001"},
        {L"", L"alice", L"alice ", L"S-1-5-21-2-1001"},
        {L"!", L"alice", L"alice ", L"S-1-5-21-2-1001"},
        {L"CORP", L"staff", L"CORP\\staff staff ", L"S-1-5-21-2-1001"}, // in the domain this is a group
        {L"LAB", L"MACHINE", L"LAB\\MACHINE MACHINE ", L""},
        {L"CORP", L"nobody", L"CORP\\nobody nobody ", L""},
        {L"CORP", L"away", L"CORP\\away ", L""}, // whose hive is not loaded
        {L"CORP", L"", L"", L""},
        {L"CORP", L"!", L"", L""},
    };
    for (const auto& [domain, user, expected, ofUser] : cases) {
        SCOPED_TRACE(domain + L"\\" + user);
        WriteList(HKEY_CURRENT_USER, L"", L"1=E0200804");
        WriteList(HKEY_USERS, L"S-1-5-21-1-1001", L"1=E0200804");
        WriteList(HKEY_USERS, L"S-1-5-21-2-1001", L"1=E0200804");
        WriteLayout(0xE0200804, L"TarvoPY.ime");
        answers = {{WTSDomainName, domain}, {WTSUserName, user}};
        asked.clear(), opened.clear();
        RemoveImeLayout(L"TarvoPY.ime");
        EXPECT_EQ(ofUser.empty() ? L"" : L"f003f f003f", opened);
        EXPECT_EQ(expected, asked);
        EXPECT_EQ(0, held) << "what the session answered is freed";
        for (const wchar_t* const hive : {L"S-1-5-21-1-1001", L"S-1-5-21-2-1001"}) {
            EXPECT_EQ(hive == ofUser ? L"" : L"1=E0200804- ", ReadList(HKEY_USERS, hive)) << hive;
        }
        EXPECT_EQ(ofUser.empty() ? L"" : L"1=E0200804- ", ReadList(HKEY_CURRENT_USER, L""));
    }
}

TEST_F(t_layoutTest, HivePathNeedsAProfileFolderWithRoom)
{
    std::wstring profile;
    REPLACE(folder, SHGetSpecialFolderPathW, [&](HWND, LPWSTR path, int folderId, WINBOOL create) -> WINBOOL {
        EXPECT_EQ(std::pair(CSIDL_PROFILE, FALSE), std::pair(folderId, create));
        lstrcpyW(path, profile.c_str());
        return !profile.empty();
    });
    const std::wstring room(237, L'u');
    const std::tuple<WORD, std::wstring, std::wstring> cases[] = {
        {WORD{6}, L"", L""},
        {WORD{6}, L"alice", L""},
        {WORD{6}, L"C:\\" + room + L"\\a", L"C:\\" + room + L"\\default\\NTUSER.DAT"},
        {WORD{6}, L"C:\\u" + room + L"\\a", L""},
        {WORD{5}, L"C:\\Users\\alice", L"C:\\Users\\Default User\\NTUSER.DAT"}};
    for (const auto& [major, given, expected] : cases) {
        os.Set(major, 2);
        profile = given;
        wchar_t path[MAX_PATH];
        EXPECT_EQ(expected, GetDefaultUserHivePath(path) ? path : L"") << given.size();
    }
    hiveFileExists = false;
    AddToDefaultUserHive(0xE0210804);
    EXPECT_EQ(kEnabled, calls) << "loading a missing file would make one";
}
