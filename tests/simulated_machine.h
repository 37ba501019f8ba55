#pragma once

#include <windows.h>

#include <imm.h>
#include <shellapi.h>
#include <shlobj.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/action_options.h"
#include "tests/fake_os_version.h"
#include "tests/scratch_registry.h"

// What the registry of a machine holds: the paths of the keys below HKEY_LOCAL_MACHINE and HKEY_USERS, with their
// values as texts, whatever their types. Letter case is folded. And whether layouts are loaded.
using t_machineState = std::map<std::wstring, std::vector<std::wstring>>;

// The path of a layout's key below HKEY_LOCAL_MACHINE.
std::wstring LayoutPath(std::uint32_t klid);

// A Windows machine for whole actions: a registry of its own, a session with a user who is not the one the installer
// runs as, the default profile's hive file, the input-method manager and a regsvr32 that works at once. It begins with
// another maker's layouts in every list.
class t_simulatedMachine
{
public:
    t_simulatedMachine(WORD major, WORD minor);

    // Makes the machine another Windows, as an upgrade of the system does.
    void Upgrade(WORD major, WORD minor) { os.Set(major, minor); }

    // Registers an IME layout, which is loaded already or not.
    void AddLayout(std::uint32_t klid, const wchar_t* imeFile, bool isLoaded);

    // Keeps what the registry holds, and puts back what has changed since.
    void Keep();
    void Restore();

    // Runs one command line as a process of its own would.
    //   option  none when it is empty
    //   mode    the mode without options
    void Run(const wchar_t* option, t_actionMode mode = t_actionMode::Install);

    // Runs an action of the caller's own like that.
    void RunAction(const std::function<void()>& action);

    // The keys that were changed or deleted since the machine was kept or restored, as paths below the one that stands
    // for all predefined keys: "80000002\\System\\…".
    const std::set<std::wstring>& Touched() const { return touched; }

    // What the last run asked of the input-method manager and of regsvr32, in order.
    const std::wstring& Steps() const { return steps; }

    t_machineState State() const;

private:
    static constexpr wchar_t kHiveFile[] = L"file of the default profile";

    // Notes that a key, or what is named below it, is not what it was.
    void Touch(HKEY key, const wchar_t* name);

    t_scratchRegistry registry;
    t_fakeOsVersion os;
    std::vector<HKL> loaded;
    std::vector<HKL> keptLoaded;
    std::set<std::wstring> touched;
    std::wstring steps;
    std::optional<t_scratchLink> loadedHive;

#define PATCH(member, function, tag, ...)                                                                              \
    ImmImportPatch<decltype(&function), tag> member                                                                    \
    {                                                                                                                  \
#function, __VA_ARGS__                                                                                         \
    }
    PATCH(setValue, RegSetValueExW, 0,
          [this](HKEY key, auto... all) { return Touch(key, L""), setValue.Original(key, all...); });
    PATCH(deleteKey, RegDeleteKeyW, 1,
          [this](HKEY key, LPCWSTR name) { return Touch(key, name), deleteKey.Original(key, name); });
    PATCH(deleteValue, RegDeleteValueW, 2,
          [this](HKEY key, LPCWSTR name) { return Touch(key, L""), deleteValue.Original(key, name); });
    PATCH(createKey, RegCreateKeyExW, 0, [this](HKEY root, LPCWSTR name, auto... all) {
        *name != L'\0' ? Touch(root, name) : void(); // an empty name only gives another handle
        return createKey.Original(root, name, all...);
    });
    // The hive's file is a key beside the one through which a loaded hive is reached.
    PATCH(loadHive, RegLoadKeyW, 0, [this](HKEY users, LPCWSTR name, LPCWSTR) -> LSTATUS {
        if (OpenKey(users, name)) {
            return ERROR_SHARING_VIOLATION;
        }
        loadedHive.emplace(users, name, OpenKey(users, kHiveFile).Get());
        return ERROR_SUCCESS;
    });
    PATCH(unloadHive, RegUnLoadKeyW, 3, [this](HKEY, LPCWSTR) { return loadedHive.reset(), LSTATUS{ERROR_SUCCESS}; });
    PATCH(attributes, GetFileAttributesW, 0, [this](LPCWSTR path) {
        const bool hive = std::wstring_view(path).ends_with(L"NTUSER.DAT");
        return hive ? FILE_ATTRIBUTE_NORMAL : attributes.Original(path);
    });
    // The system would write into the registry to answer.
    PATCH(folder, SHGetSpecialFolderPathW, 0,
          [](HWND, LPWSTR path, auto...) -> WINBOOL { return lstrcpyW(path, L"C:\\users\\own") != nullptr; });
    PATCH(install, ImmInstallIMEW, 0, [this](LPCWSTR path, LPCWSTR text) { return InstallIme(path, text); });
    PATCH(list, GetKeyboardLayoutList, 0, [this](int count, HKL* layouts) {
        std::copy_n(loaded.begin(), std::min(loaded.size(), static_cast<std::size_t>(count)), layouts);
        return static_cast<int>(loaded.size());
    });
    PATCH(file, ImmGetIMEFileNameW, 0, [this](auto... all) { return FileName(all...); });
    PATCH(unload, UnloadKeyboardLayout, 0, [this](HKL layout) -> WINBOOL { return Unload(layout); });
    PATCH(execute, ShellExecuteExW, 0, [this](auto* info) -> WINBOOL { return Regsvr32(info->lpParameters); });
    PATCH(process, CreateProcessW, 0, [this](LPCWSTR, LPWSTR line, auto...) -> WINBOOL { return Regsvr32(line); });
#undef PATCH

    HKL InstallIme(const wchar_t* path, const wchar_t* text);
    UINT FileName(HKL layout, wchar_t* buffer, UINT units);
    bool Unload(HKL layout);
    bool Regsvr32(std::wstring_view commandLine);
};
