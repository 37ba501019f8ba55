#include "tests/windows_test.h"

#include <sddl.h>
#include <shlobj.h>
#include <wtsapi32.h>

#include "base/trace.h"
#include "imereg/keyboard_layout.h"
#include "imereg/layout_handle.h"
#include "imereg/layout_keys.h"
#include "imereg/user_hives.h"
#include "tests/simulated_machine.h"

// What the random machines do not show: what goes wrong, what is said about it, and where the lists are looked for.

namespace {

constexpr wchar_t kText[] = L"中文(简体) - 塔沃拼音输入法";

std::wstring traced;

void RecordTrace(const wchar_t* tag, const wchar_t* text)
{
    traced += std::wstring(tag) + L" / " + text + L"\n";
}

// A machine without a user in its session: the lists of the installer's own hive count.
struct t_layoutTest : testing::Test
{
    t_layoutTest() { n_trace::SetSink(&RecordTrace), traced.clear(); }
    ~t_layoutTest() override { n_trace::SetSink(nullptr); }

    int Install()
    {
        int status = 0;
        machine.RunAction([&] { status = InstallClassicLayout(0, kText); });
        return status;
    }
    int Remove(const wchar_t* imeFile)
    {
        int status = 0;
        machine.RunAction([&] { status = RemoveImeLayout(imeFile); });
        return status;
    }
    std::wstring LastListed() { return machine.State().at(L"\\own\\keyboard layout\\preload").back(); }

    t_simulatedMachine machine{6, 1};
    std::wstring calls;                // what was asked of the system, in order
    std::optional<DWORD> installError; // 0 leaves the last error as it is
    std::wstring systemDirectory = L"C:\\windows\\system32";
    HKEY defaultProfile = nullptr; // the hive, as the program opened it

    REPLACE(session, WTSQuerySessionInformationW, [](auto...) { return FALSE; });
    REPLACE(install, ImmInstallIMEW, [this](LPCWSTR file, LPCWSTR text) {
        calls += std::wstring(L"install ") + file + L"\n";
        SetLastError(installError.value_or(0) != 0 ? *installError : GetLastError());
        return installError ? nullptr : install.Original(file, text);
    });
    REPLACE(directory, GetSystemDirectoryW, [this](LPWSTR buffer, UINT units) {
        (systemDirectory + L'\0').copy(buffer, units);
        return static_cast<UINT>(systemDirectory.size());
    });
    REPLACE(privilege, LookupPrivilegeValueW, [this](LPCWSTR, LPCWSTR name, LUID*) { return calls += name, TRUE; });
    REPLACE(adjust, AdjustTokenPrivileges, [this](HANDLE, BOOL, TOKEN_PRIVILEGES* change, auto...) {
        return calls += FormatStr(L" %x\n", change->Privileges[0].Attributes), TRUE;
    });
    REPLACE(openHive, RegOpenKeyW, [this](HKEY root, LPCWSTR name, HKEY* key) {
        const LSTATUS result = openHive.Original(root, name, key);
        return defaultProfile = *key, result;
    });
    REPLACE(loadKey, RegLoadKeyW, [this](HKEY root, LPCWSTR name, LPCWSTR path) {
        const std::wstring_view file = path; // of which the last two components count
        calls += FormatStr(L"load %s%s\n", name, &path[file.rfind(L'\\', file.rfind(L'\\') - 1)]);
        return loadKey.Original(root, name, path);
    });
    REPLACE(unloadKey, RegUnLoadKeyW, [this](HKEY root, LPCWSTR name) {
        EXPECT_EQ(ERROR_INVALID_HANDLE, RegFlushKey(defaultProfile)) << "it would not unload";
        calls += L"unload hive\n";
        return unloadKey.Original(root, name);
    });
};

const std::wstring kEnabled = L"SeRestorePrivilege 2\nSeBackupPrivilege 2\n",
                   kInstalled = L"install C:\\windows\\system32\\TarvoPY.ime\n",
                   kLoaded = L"load default_user\\default\\NTUSER.DAT\n",
                   kRemoved = L"unload hive\nSeRestorePrivilege 4\nSeBackupPrivilege 4\n";

} // namespace

TEST_F(t_layoutTest, DefaultProfileIsLoadedForItsChange)
{
    EXPECT_EQ(0, Install());
    EXPECT_EQ(kInstalled + kEnabled + kLoaded + kRemoved, calls);
}

TEST_F(t_layoutTest, FailedInstallIsRecovered)
{
    installError = 1450;
    const t_keyHandle inUse = MakeKey(HKEY_USERS, L"default_user");

    // A layout of the file that is no IME layout serves, without a word.
    machine.AddLayout(0x00010804, L"TarvoPY.ime", false);
    EXPECT_EQ(0, Install());
    EXPECT_EQ(L"", traced);
    EXPECT_EQ(L"00010804", LastListed());
    EXPECT_EQ(kInstalled + kEnabled + kLoaded, calls) << "without the hive, nothing is taken back";

    // Without one the key is written directly, behind the highest number there is.
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, LayoutPath(0x00010804).c_str());
    machine.AddLayout(0xE0330804, L"other.ime", false);
    EXPECT_EQ(0, Install());
    EXPECT_EQ(L"安装错误 / ImmInstallIME() returns NULL, GetLastError() = 1450, Filename = "
              L"C:\\windows\\system32\\TarvoPY.ime\n",
              traced);
    EXPECT_EQ(FormatStr(L"[]\nIme File=1:TarvoPY.ime\nLayout File=1:kbdus.dll\nLayout Text=1:%s\n", kText),
              DumpKey(HKEY_LOCAL_MACHINE, LayoutPath(0xE0340804)));
    EXPECT_EQ(L"e0340804", LastListed());

    // When that fails too, the error of the installation is the result and no list is touched.
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, LayoutPath(0xE0340804).c_str());
    const t_machineState before = machine.State();
    REPLACE(create, RegCreateKeyExW, [](auto...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    EXPECT_EQ(1450, Install());
    EXPECT_EQ(before, machine.State());
    installError = 0;
    SetLastError(5);
    EXPECT_EQ(0, Install()) << "the error of an earlier call";
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
    for (const auto& [length, status, trace] : cases) {
        systemDirectory.assign(length, L'd');
        traced.clear();
        SetLastError(5);
        EXPECT_EQ(status, Install()) << length;
        EXPECT_EQ(trace, traced) << length;
        EXPECT_EQ(status == 0, calls.starts_with(L"install")) << length;
    }
}

TEST_F(t_layoutTest, RemovalSaysWhatFailed)
{
    REPLACE(unload, UnloadKeyboardLayout, [&](HKL layout) {
        const WINBOOL done = unload.Original(layout);
        return SetLastError(120), done;
    });
    EXPECT_EQ(kLayoutNotFound, Remove(L"TarvoTSF.ime"));
    machine.AddLayout(0xE0210804, L"TarvoPY.ime", false);
    EXPECT_EQ(120, Remove(L"TarvoPY.ime"));
    EXPECT_EQ(L"00000804", LastListed()) << "all the same";
    EXPECT_EQ(L"", traced);

    machine.AddLayout(0xE0220804, L"TarvoPY.ime", true);
    MakeKey(HKEY_LOCAL_MACHINE, LayoutPath(0xE0220804) + L"\\below");
    EXPECT_EQ(0, Remove(L"TarvoPY.ime"));
    EXPECT_EQ(L"删除键盘布局失败 / RegDeleteKey(System\\CurrentControlSet\\Control\\Keyboard Layouts\\E0220804) "
              L"returns 5\n",
              traced);
}

// The system may fill the buffer of a name to its end without a terminator, and list fewer layouts than it counted.
TEST_F(t_layoutTest, LoadedFileNameOfAnyLengthIsReadOfWhatIsListed)
{
    machine.AddLayout(0xE0210804, std::wstring(40, L'x').c_str(), true);
    const std::wstring name(32, L'X');
    EXPECT_EQ(HandleOf(0xE0210804), FindLoadedLayoutByImeFile(name.c_str()));
    REPLACE(list, GetKeyboardLayoutList, [&](int count, HKL* all) { return list.Original(count, all) - (count != 0); });
    EXPECT_EQ(nullptr, FindLoadedLayoutByImeFile(name.c_str()));
}

TEST_F(t_layoutTest, KlidSearchHonoursNamesValuesAndItsLimit)
{
    MakeKey(HKEY_LOCAL_MACHINE, LayoutPath(0) + std::wstring(240, L'0') + L"804");
    std::uint32_t klid = 0xE0510804;
    for (const auto& [units, bytes, found] : {std::tuple{5u, 10u, true}, {199u, 400u, true}, {200u, 402u, false}}) {
        const std::wstring file(units, L'A');
        WriteRaw(HKEY_LOCAL_MACHINE, LayoutPath(klid), L"Ime File", REG_SZ, file.c_str(), bytes);
        EXPECT_EQ(found ? klid : 0, FindLayoutKlidByImeFile(std::wstring(file.size(), L'a')));
        klid += 0x10000;
    }
    for (std::uint32_t i = 0; i < 250; ++i) {
        MakeKey(HKEY_LOCAL_MACHINE, LayoutPath(0x00000409 + (i << 16)));
    }
    machine.AddLayout(0xF0000804, L"late.ime", false);
    EXPECT_EQ(0u, FindLayoutKlidByImeFile(L"late.ime"));
}

TEST_F(t_layoutTest, LayoutTextIsRewrittenOnlyWhenItDiffers)
{
    const std::wstring path = LayoutPath(0xE0210804), kLong(260, L'x');
    const std::tuple<DWORD, std::wstring, DWORD, bool> cases[] = {
        {REG_SZ, L"abc", 8, false},  {REG_SZ, L"abc", 6, false}, {REG_SZ, L"ABC", 8, true},  {REG_SZ, L"abc", 5, true},
        {REG_DWORD, L"ab", 4, true}, {REG_SZ, L"", 0, true},     {REG_SZ, kLong, 522, false}};
    for (const auto& [type, stored, bytes, rewritten] : cases) {
        WriteRaw(HKEY_LOCAL_MACHINE, path, L"Layout Text", type, stored.c_str(), bytes);
        const std::wstring before = DumpKey(HKEY_LOCAL_MACHINE, path);
        EXPECT_EQ(bytes > 520 ? ERROR_MORE_DATA : ERROR_SUCCESS, UpdateLayoutText(0xE0210804, L"abc"));
        EXPECT_EQ(rewritten ? L"[]\nLayout Text=1:abc\\0\n" : before, DumpKey(HKEY_LOCAL_MACHINE, path));
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
    std::wstring asked, opened;
    REPLACE(query, WTSQuerySessionInformationW, [&](auto, DWORD sessionId, auto what, LPWSTR* text, auto) -> WINBOOL {
        EXPECT_EQ(WTS_CURRENT_SESSION, sessionId);
        const bool answered = answers[what] != L"!";
        *text = answered ? answers[what].data() : nullptr;
        return answered;
    });
    REPLACE(release, WTSFreeMemory, [](PVOID) {});
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
    REPLACE(open, RegOpenKeyExW, [&](HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) {
        opened += FormatStr(L"%x %x", options, access);
        return open.Original(root, name, options & ~REG_OPTION_OPEN_LINK, access, key);
    });
    const t_keyHandle hives[] = {MakeKey(HKEY_USERS, L"S-1-5-21-1-1001"), MakeKey(HKEY_USERS, L"S-1-5-21-2-1001")};

    // Domain and user, where "!" refuses the question; what is asked; the user's hive below HKEY_USERS, if any.
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
        answers = {{WTSDomainName, domain}, {WTSUserName, user}};
        asked.clear(), opened.clear();
        const t_keyHandle hive = OpenInteractiveUserHive();
        EXPECT_EQ(user == L"away" || !ofUser.empty() ? L"f003f f003f" : L"", opened);
        EXPECT_EQ(expected, asked);
        EXPECT_EQ(ofUser, hive ? FullNameOf(hive.Get()).substr(FullNameOf(hive.Get()).rfind(L'\\') + 1) : L"");
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
        machine.Upgrade(major, 2);
        profile = given;
        wchar_t path[MAX_PATH];
        EXPECT_EQ(expected, GetDefaultUserHivePath(path) ? path : L"") << given.size();
    }
    REPLACE(attributes, GetFileAttributesW, [](LPCWSTR) { return INVALID_FILE_ATTRIBUTES; });
    AddToDefaultUserHive(0xE0210804);
    EXPECT_EQ(kEnabled, calls) << "loading a missing file would make one";
}
