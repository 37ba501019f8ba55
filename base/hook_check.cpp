#include "base/hook_check.h"

#include <windows.h>

#include <map>

#include "base/image_code.h"
#include "base/module_path.h"
#include "base/open_file.h"

namespace {

using t_bytes = itl::ImmSimpleArray<std::uint8_t>;

constexpr std::size_t kMaxLibraryBytes = std::size_t{64} << 20; // several times the largest of the libraries

// Since Windows 7 most functions of kernel32.dll and advapi32.dll only lead to those of kernelbase.dll.
constexpr t_systemFunction kSelected[] = {
    {L"ntdll.dll", "LdrLoadDll"},
    {L"ntdll.dll", "NtCreateFile"},
    {L"ntdll.dll", "NtOpenKey"},
    {L"ntdll.dll", "NtQueryValueKey"},
    {L"ntdll.dll", "NtReadFile"},
    {L"ntdll.dll", "NtSetValueKey"},
    {L"kernel32.dll", "CreateFileW"},
    {L"kernel32.dll", "CreateProcessW"},
    {L"kernel32.dll", "GetProcAddress"},
    {L"kernel32.dll", "LoadLibraryExW"},
    {L"kernelbase.dll", "CreateFileW"},
    {L"kernelbase.dll", "CreateProcessW"},
    {L"kernelbase.dll", "LoadLibraryExW"},
    {L"kernelbase.dll", "RegOpenKeyExW"},
    {L"kernelbase.dll", "RegQueryValueExW"},
    {L"kernelbase.dll", "RegSetValueExW"},
    {L"advapi32.dll", "RegOpenKeyExW"},
    {L"advapi32.dll", "RegQueryValueExW"},
    {L"advapi32.dll", "RegSetValueExW"},
    {L"user32.dll", "GetKeyboardLayoutList"},
    {L"imm32.dll", "ImmGetIMEFileNameW"},
};

bool ReadLibrary(HMODULE module, t_fileContent& content)
{
    t_path path;
    if (!ReadModulePath(module, path)) {
        return false;
    }
    const t_openFile file(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING,
                          FILE_FLAG_SEQUENTIAL_SCAN);
    return file && file.ReadAll(content, kMaxLibraryBytes);
}

// Copies this process's own memory: pages that a hook has left unreadable fail the call instead of the program.
bool ReadMemory(const void* address, t_bytes& bytes)
{
    SIZE_T read = 0;
    return ReadProcessMemory(GetCurrentProcess(), address, bytes.data(), bytes.size(), &read) && read == bytes.size();
}

// A library of this process with the file it came from.
struct t_loadedLibrary
{
    explicit t_loadedLibrary(const wchar_t* name)
        : module(GetModuleHandleW(name)), fileIsRead(module != nullptr && ReadLibrary(module, content)),
          image({reinterpret_cast<const std::uint8_t*>(content.Data()), content.size})
    {
    }
    t_loadedLibrary(const t_loadedLibrary&) = delete;
    t_loadedLibrary& operator=(const t_loadedLibrary&) = delete;

    HMODULE module;
    t_fileContent content;
    bool fileIsRead;
    t_imageFile image;
};

// Whether the function is found where the file puts it and its code is the file's.
bool IsAsInFile(const t_loadedLibrary& library, const char* name, std::uint32_t address, bool& comparable)
{
    const BYTE* const expected = reinterpret_cast<const BYTE*>(library.module) + address;
    const t_bytes stored = library.image.ReadFunction(address, reinterpret_cast<std::uintptr_t>(library.module));
    t_bytes present(stored.size());
    comparable = !stored.empty() && ReadMemory(expected, present);
    return reinterpret_cast<const BYTE*>(GetProcAddress(library.module, name)) == expected && present == stored;
}

} // namespace

t_hookCheck CheckForHooks(std::span<const t_systemFunction> functions)
{
    t_hookCheck result;
    std::map<std::wstring, t_loadedLibrary> libraries;
    for (const auto& [libraryName, name] : functions) {
        const auto [entry, isNew] = libraries.try_emplace(libraryName, libraryName);
        const t_loadedLibrary& library = entry->second;
        if (library.module == nullptr) {
            continue;
        }
        if (!library.fileIsRead || !library.image.IsValid()) {
            if (isNew) {
                result.unchecked.push_back(FormatStr(
                    L"%s: %s", libraryName, library.fileIsRead ? L"not x64 code" : L"its file cannot be read"));
            }
            continue;
        }
        const std::uint32_t address = library.image.FindFunction(name);
        if (address == 0) {
            continue;
        }
        const t_str label = FormatStr(L"%s!%S", libraryName, name);
        bool comparable = false;
        const bool same = IsAsInFile(library, name, address, comparable);
        if (!comparable) {
            result.unchecked.push_back(label + L": its code cannot be read");
        } else if (!same) {
            result.differing.push_back(label);
        }
    }
    return result;
}

std::span<const t_systemFunction> SelectedSystemFunctions()
{
    return kSelected;
}
