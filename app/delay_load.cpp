// Late binding of the system libraries that Windows does not preload under a protected name: as ordinary imports they
// would be searched for in the program's own folder first, where anybody who can write beside the setup package could
// plant one that then runs elevated.

#include <windows.h>

#include <delayimp.h>

// The linker's names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" IMAGE_DOS_HEADER __ImageBase;
extern "C" FARPROC WINAPI __delayLoadHelper2(PCImgDelayDescr library, FARPROC* slot);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

template <class T>
T* AtRva(DWORD rva)
{
    return reinterpret_cast<T*>(reinterpret_cast<BYTE*>(&__ImageBase) + rva);
}

// Loads a library from the system directory by its full path; the loader then finds what it depends on there too.
HMODULE LoadFromSystemDirectory(const char* name)
{
    char path[MAX_PATH];
    const UINT length = GetSystemDirectoryA(path, MAX_PATH);
    if (length == 0 || length + 1 + static_cast<UINT>(lstrlenA(name)) >= MAX_PATH) {
        return nullptr;
    }
    lstrcatA(lstrcatA(path, "\\"), name);
    return LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

} // namespace

// Called by the import library's stub on the first call of each function, with the slot to fill.
FARPROC WINAPI __delayLoadHelper2(PCImgDelayDescr library, FARPROC* slot)
{
    const auto index = slot - AtRva<FARPROC>(library->rvaIAT);
    const DWORD nameRva = static_cast<DWORD>(AtRva<IMAGE_THUNK_DATA>(library->rvaINT)[index].u1.AddressOfData);
    const auto* const name = AtRva<const IMAGE_IMPORT_BY_NAME>(nameRva);

    auto* const module = AtRva<HMODULE>(library->rvaHmod);
    if (*module == nullptr) {
        *module = LoadFromSystemDirectory(AtRva<const char>(library->rvaDLLName));
    }
    const FARPROC function =
        *module == nullptr ? nullptr : GetProcAddress(*module, reinterpret_cast<const char*>(name->Name));
    if (function == nullptr) {
        // Every supported system has these functions; one without them is broken beyond what this program can mend.
        ExitProcess(static_cast<UINT>(-1));
    }
    *slot = function;
    return function;
}
