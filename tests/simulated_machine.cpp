#include "tests/simulated_machine.h"

#include <gtest/gtest.h>

#include <sddl.h>
#include <shlwapi.h>

#include "app/dispatcher.h"
#include "base/ascii_case.h"
#include "base/path.h"
#include "base/singleton.h"
#include "imereg/layout_handle.h"

namespace {

constexpr wchar_t kLayouts[] = L"System\\CurrentControlSet\\Control\\Keyboard Layouts";
constexpr wchar_t kSortOrder[] = L"\\SoftWare\\Microsoft\\CTF\\SortOrder\\AssemblyItem\\0x00000804\\{34745C63}";
constexpr wchar_t kTextService[] = L"SoftWare\\Microsoft\\CTF\\TIP\\{7C2B4E10-5D3A-4F86-9B1C-2E60A4D7F305}";
constexpr wchar_t kHiveFile[] = L"file of the default profile";
constexpr wchar_t kKept[] = L"kept\\";
constexpr wchar_t kDefaultUser[] = L"default_user";
constexpr const wchar_t* kAccounts[] = {L".DEFAULT", L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"};

// The name of a predefined key in the scratch registry.
std::wstring RootName(HKEY root)
{
    return FormatStr(L"%08x", static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(root)));
}

std::wstring PreloadOf(const std::wstring& hive)
{
    return hive + L"\\Keyboard Layout\\Preload";
}

void WriteList(const std::wstring& hive, std::initializer_list<const wchar_t*> klids)
{
    int position = 0;
    MakeKey(HKEY_USERS, PreloadOf(hive));
    for (const wchar_t* const klid : klids) {
        WriteText(HKEY_USERS, PreloadOf(hive), FormatStr(L"%d", ++position).c_str(), klid);
    }
}

std::wstring ReadText(HKEY key, const wchar_t* value)
{
    wchar_t text[261] = {};
    DWORD size = sizeof(text) - sizeof(wchar_t);
    return RegQueryValueExW(key, value, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) == ERROR_SUCCESS ? text
                                                                                                                 : L"";
}

std::wstring ReadText(HKEY root, const std::wstring& path, const wchar_t* value)
{
    t_keyHandle key;
    return RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS ? ReadText(key.Get(), value)
                                                                                      : L"";
}

std::vector<std::wstring> SubKeys(HKEY root, const std::wstring& path)
{
    std::vector<std::wstring> names;
    wchar_t name[256];
    t_keyHandle key;
    RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.Put());
    for (DWORD index = 0; RegEnumKeyW(key.Get(), index, name, 256) == ERROR_SUCCESS; ++index) {
        names.emplace_back(name);
    }
    return names;
}

t_machineState::t_list ReadList(const std::wstring& hive)
{
    t_keyHandle key;
    if (RegOpenKeyExW(HKEY_USERS, PreloadOf(hive).c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
        return {L"no key"};
    }
    t_machineState::t_list list;
    for (int position = 1;; ++position) {
        const std::wstring text = ReadText(key.Get(), FormatStr(L"%d", position).c_str());
        if (text.empty()) {
            return list;
        }
        list.push_back(FoldCase(text));
    }
}

// Copies a hive between its file and the place where it is loaded.
void CopyHive(const wchar_t* from, const wchar_t* to)
{
    t_keyHandle source;
    RegOpenKeyExW(HKEY_USERS, from, 0, KEY_READ, source.Put());
    SHDeleteKeyW(HKEY_USERS, to);
    SHCopyKeyW(source.Get(), nullptr, MakeKey(HKEY_USERS, to).Get(), 0);
}

} // namespace

t_simulatedMachine::t_simulatedMachine(WORD major, WORD minor) : os(major, minor)
{
    // The session's user is Wine's only one; the hive that the installer runs with is another.
    t_handle token;
    BYTE user[256];
    DWORD size = 0;
    wchar_t* text = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put());
    GetTokenInformation(token.Get(), TokenUser, user, sizeof(user), &size);
    ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user)->User.Sid, &text);
    userSid = text;
    LocalFree(text);

    for (const auto& [klid, imeFile] : {std::pair(L"E0010804", L"IMSCDEMO.IME"), {L"E0200804", L"DEMOWB.IME"}}) {
        WriteText(HKEY_LOCAL_MACHINE, std::wstring(kLayouts) + L"\\" + klid, L"Ime File", imeFile);
    }
    WriteList(userSid, {L"E0010804", L"00000804", L"e0200804"});
    WriteList(L"own", {L"00000804", L"E0210804"});
    WriteList(kHiveFile, {L"00000804"});
    for (const wchar_t* const account : kAccounts) {
        WriteList(account, {L"00000804", L"E0210804", L"00000409"});
    }
    const DWORD chinese = 0x0804;
    WriteRaw(HKEY_USERS, userSid + kSortOrder + L"\\00000000", L"KeyboardLayout", REG_DWORD, &chinese, 4);
    RegOverridePredefKey(HKEY_CURRENT_USER, MakeKey(HKEY_USERS, L"own").Get());
}

void t_simulatedMachine::AddLayout(std::uint32_t klid, const wchar_t* imeFile, bool isLoaded)
{
    WriteText(HKEY_LOCAL_MACHINE, FormatStr(L"%s\\%08X", kLayouts, klid), L"Ime File", imeFile);
    if (isLoaded) {
        loaded.push_back(HandleOf(klid));
    }
}

void t_simulatedMachine::Keep()
{
    SHDeleteKeyW(HKEY_CLASSES_ROOT, kKept);
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_USERS}) {
        SHCopyKeyW(root, nullptr, MakeKey(HKEY_CLASSES_ROOT, kKept + RootName(root)).Get(), 0);
    }
    keptLoaded = loaded;
    touched.clear();
}

void t_simulatedMachine::Restore()
{
    for (const std::wstring& path : touched) {
        const HKEY root = path.starts_with(RootName(HKEY_USERS)) ? HKEY_USERS : HKEY_LOCAL_MACHINE;
        const std::wstring below = path.substr(RootName(root).size() + 1);
        SHDeleteKeyW(root, below.c_str());
        t_keyHandle kept;
        if (RegOpenKeyExW(HKEY_CLASSES_ROOT, (kKept + path).c_str(), 0, KEY_READ, kept.Put()) == ERROR_SUCCESS) {
            SHCopyKeyW(kept.Get(), nullptr, MakeKey(root, below).Get(), 0);
        }
    }
    loaded = keptLoaded;
    touched.clear();
}

bool t_simulatedMachine::Run(const wchar_t* option, std::size_t killAfter, t_actionMode mode)
{
    return RunAction(
        [&] {
            std::wstring program = L"TarvoLayout.exe", text = option;
            wchar_t* arguments[] = {program.data(), text.data()};
            t_errorChain errors;
            EXPECT_TRUE(ParseAndDispatch(errors, arguments, text.empty() ? 1 : 2, &mode));
            EXPECT_TRUE(errors.IsEmpty());
        },
        killAfter);
}

bool t_simulatedMachine::RunAction(const std::function<void()>& action, std::size_t killAfter)
{
    changes = 0;
    steps.clear();
    killPoint = killAfter;
    counting = true;
    bool ended = true;
    try {
        action();
    } catch (const t_killed&) {
        ended = false;
    }
    counting = false;
    t_singletonRegistry::Process().DestroyAll();
    return ended;
}

void t_simulatedMachine::Changed()
{
    if (!counting) {
        return;
    }
    if (++changes == killPoint) {
        throw t_killed();
    }
}

void t_simulatedMachine::Touch(HKEY key, const wchar_t* name)
{
    const std::wstring path = FullNameOf(key);
    // Behind the number of this process, where the scratch registry is.
    const std::size_t begin = path.find(L"\\8000000");
    touched.insert(path.substr(begin + 1) + (*name != L'\0' ? L"\\" : L"") + name);
}

LSTATUS t_simulatedMachine::LoadHive(const wchar_t* name)
{
    counting = false;
    if (KeyExists(HKEY_USERS, name)) {
        counting = true;
        return ERROR_SHARING_VIOLATION;
    }
    Touch(HKEY_USERS, name);
    Touch(HKEY_USERS, kHiveFile);
    CopyHive(kHiveFile, name);
    counting = true;
    Changed();
    return ERROR_SUCCESS;
}

LSTATUS t_simulatedMachine::UnloadHive(const wchar_t* name)
{
    counting = false;
    CopyHive(name, kHiveFile);
    SHDeleteKeyW(HKEY_USERS, name);
    counting = true;
    Changed();
    return ERROR_SUCCESS;
}

HKL t_simulatedMachine::InstallIme(const wchar_t* path, const wchar_t* text)
{
    counting = false;
    std::uint32_t klid = 0xE0200804;
    while (KeyExists(HKEY_LOCAL_MACHINE, FormatStr(L"%s\\%08X", kLayouts, klid))) {
        klid += 0x10000;
    }
    const t_str key = FormatStr(L"%s\\%08X", kLayouts, klid);
    Touch(HKEY_LOCAL_MACHINE, key.c_str());
    AddLayout(klid, std::wstring(FileNamePart(path)).c_str(), true);
    WriteText(HKEY_LOCAL_MACHINE, key, L"Layout Text", text);
    steps += std::wstring(L"install ") + text + L"; ";
    counting = true;
    Changed();
    return loaded.back();
}

UINT t_simulatedMachine::FileName(HKL layout, wchar_t* buffer, UINT units)
{
    const t_str key = FormatStr(L"%s\\%08X", kLayouts, KlidOf(layout));
    return static_cast<UINT>((ReadText(HKEY_LOCAL_MACHINE, key, L"Ime File") + L'\0').copy(buffer, units));
}

bool t_simulatedMachine::Unload(HKL layout)
{
    const bool known = std::erase(loaded, layout) != 0;
    steps += FormatStr(L"unload %I64x; ", reinterpret_cast<std::int64_t>(layout));
    Changed();
    return known;
}

bool t_simulatedMachine::Regsvr32(std::wstring_view commandLine)
{
    counting = false;
    Touch(HKEY_LOCAL_MACHINE, kTextService);
    const std::wstring_view parameters = commandLine.substr(commandLine.find(L"/s"));
    const std::wstring switches(parameters.substr(0, parameters.find(L':') - 1));
    steps += switches + std::wstring(FileNamePart(parameters)) + L"; ";
    if (switches == L"/s ") {
        MakeKey(HKEY_LOCAL_MACHINE, kTextService);
    } else {
        SHDeleteKeyW(HKEY_LOCAL_MACHINE, kTextService);
    }
    counting = true;
    Changed();
    return true;
}

t_machineState t_simulatedMachine::State() const
{
    t_machineState state;
    for (const std::wstring& name : SubKeys(HKEY_LOCAL_MACHINE, kLayouts)) {
        const std::wstring key = std::wstring(kLayouts) + L"\\" + name;
        if (EqualIgnoringCase(ReadText(HKEY_LOCAL_MACHINE, key, L"Ime File"), L"TarvoPY.ime")) {
            state.layouts[FoldCase(name)] = ReadText(HKEY_LOCAL_MACHINE, key, L"Layout Text");
        }
    }
    state.preload[L"user"] = ReadList(userSid);
    state.preload[L"own"] = ReadList(L"own");
    state.defaultHiveLoaded = KeyExists(HKEY_USERS, kDefaultUser);
    state.preload[L"default"] = ReadList(state.defaultHiveLoaded ? kDefaultUser : kHiveFile);
    for (const wchar_t* const account : kAccounts) {
        state.preload[account] = ReadList(account);
    }
    for (const std::wstring& item : SubKeys(HKEY_USERS, userSid + kSortOrder)) {
        DWORD klid = 0, size = sizeof(klid);
        t_keyHandle key;
        RegOpenKeyExW(HKEY_USERS, (userSid + kSortOrder + L"\\" + item).c_str(), 0, KEY_READ, key.Put());
        RegQueryValueExW(key.Get(), L"KeyboardLayout", nullptr, nullptr, reinterpret_cast<BYTE*>(&klid), &size);
        state.sortOrder.push_back(FormatStr(L"%08x", klid));
    }
    state.textService = KeyExists(HKEY_LOCAL_MACHINE, kTextService);
    state.layoutLoaded = !loaded.empty();
    return state;
}

std::wstring Describe(const t_machineState& state)
{
    t_str text;
    for (const auto& [klid, layoutText] : state.layouts) {
        text << L"layout " << klid << L" " << layoutText << L"\n";
    }
    for (const auto& [hive, list] : state.preload) {
        text << hive << L":";
        for (const std::wstring& entry : list) {
            text << L" " << entry;
        }
        text << L"\n";
    }
    text << L"sort order:";
    for (const std::wstring& entry : state.sortOrder) {
        text << L" " << entry;
    }
    text << (state.textService ? L"\ntext service" : L"\nno text service")
         << (state.layoutLoaded ? L"\nlayout loaded" : L"\nno layout loaded")
         << (state.defaultHiveLoaded ? L"\ndefault_user loaded" : L"\nno default_user") << L"\n";
    return text;
}
