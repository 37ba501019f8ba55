#pragma once

#include <windows.h>

#include <imm.h>
#include <shellapi.h>
#include <wtsapi32.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "tests/fake_os_version.h"
#include "tests/scratch_registry.h"

// What a machine holds of the product and its neighbours, as a person would list it.
struct t_machineState
{
    using t_list = std::vector<std::wstring>; // in order, letter case folded

    std::map<std::wstring, std::wstring> layouts; // IME layouts of the product: KLID and text
    std::map<std::wstring, t_list> preload;       // user, own, default, and the system accounts by their names
    t_list sortOrder;                             // of the user
    bool textService = false;
    bool layoutLoaded = false;
    bool defaultHiveLoaded = false;

    friend bool operator==(const t_machineState&, const t_machineState&) = default;
};
std::wstring Describe(const t_machineState& state);

// Thrown out of the middle of an action in place of the process's end: owners give back what the system would.
struct t_killed
{
};

// A Windows machine for whole actions: a registry of its own, a session with a user who is not the one the installer
// runs as, the default profile's hive file, the input-method manager and a regsvr32 that works at once. It begins with
// another maker's layouts in every list.
class t_simulatedMachine
{
public:
    t_simulatedMachine(WORD major, WORD minor);

    // Makes the machine another Windows, as an upgrade of the system does.
    void Upgrade(WORD major, WORD minor) { os.Set(major, minor); }

    // Runs one command line as a process of its own would.
    //   killAfter  number of changing calls after which the action is killed; 0 lets it end
    // Returns false when it was killed.
    bool Run(const wchar_t* option, std::size_t killAfter = 0);

    t_machineState State() const;

    // The number of changing calls that the last run made.
    std::size_t Changes() const { return changes; }

private:
    void Changed();
    template <class Result>
    Result Counted(Result result)
    {
        Changed();
        return result;
    }

    t_scratchRegistry registry;
    t_fakeOsVersion os;
    std::wstring userSid;
    std::vector<HKL> loaded;
    std::size_t changes = 0;
    std::size_t killPoint = 0;
    bool counting = false; // the machine's own calls are not the action's

#define COUNTED(member, function, tag)                                                                                 \
    ImmImportPatch<decltype(&function), tag> member                                                                    \
    {                                                                                                                  \
#function, [this](auto... arguments) { return Counted(member.Original(arguments...)); }                        \
    }
    COUNTED(setValue, RegSetValueExW, 0);
    COUNTED(deleteKey, RegDeleteKeyW, 1);
    COUNTED(deleteValue, RegDeleteValueW, 2);
#undef COUNTED
    ImmImportPatch<decltype(&RegCreateKeyExW)> createKey{
        "RegCreateKeyExW", [this](HKEY root, LPCWSTR name, auto... arguments) {
            const LSTATUS result = createKey.Original(root, name, arguments...);
            return *name != L'\0' ? Counted(result) : result; // an empty name only gives another handle
        }};
    ImmImportPatch<decltype(&RegLoadKeyW)> loadHive{"RegLoadKeyW",
                                                    [this](HKEY, LPCWSTR name, LPCWSTR) { return LoadHive(name); }};
    ImmImportPatch<decltype(&RegUnLoadKeyW), 3> unloadHive{"RegUnLoadKeyW",
                                                           [this](HKEY, LPCWSTR name) { return UnloadHive(name); }};
    ImmImportPatch<decltype(&GetFileAttributesW)> attributes{"GetFileAttributesW", [this](LPCWSTR path) {
                                                                 return std::wstring_view(path).ends_with(L"NTUSER.DAT")
                                                                            ? FILE_ATTRIBUTE_NORMAL
                                                                            : attributes.Original(path);
                                                             }};
    ImmImportPatch<decltype(&ImmInstallIMEW)> install{
        "ImmInstallIMEW", [this](LPCWSTR path, LPCWSTR text) { return InstallIme(path, text); }};
    ImmImportPatch<decltype(&GetKeyboardLayoutList)> list{
        "GetKeyboardLayoutList", [this](int count, HKL* layouts) {
            std::copy_n(loaded.begin(), std::min(loaded.size(), static_cast<std::size_t>(count)), layouts);
            return static_cast<int>(loaded.size());
        }};
    ImmImportPatch<decltype(&ImmGetIMEFileNameW)> file{
        "ImmGetIMEFileNameW",
        [this](HKL layout, LPWSTR buffer, UINT units) { return FileName(layout, buffer, units); }};
    ImmImportPatch<decltype(&UnloadKeyboardLayout)> unload{"UnloadKeyboardLayout", [this](HKL layout) -> WINBOOL {
                                                               const bool known = std::erase(loaded, layout) != 0;
                                                               Changed();
                                                               return known;
                                                           }};
    ImmImportPatch<decltype(&ShellExecuteExW)> execute{
        "ShellExecuteExW", [this](SHELLEXECUTEINFOW* info) -> WINBOOL { return Regsvr32(info->lpParameters); }};

    LSTATUS LoadHive(const wchar_t* name);
    LSTATUS UnloadHive(const wchar_t* name);
    HKL InstallIme(const wchar_t* path, const wchar_t* text);
    UINT FileName(HKL layout, wchar_t* buffer, UINT units);
    bool Regsvr32(const wchar_t* parameters);
};
