// Late binding of the system libraries that Windows does not preload under a protected name: as ordinary imports they
// would be searched for in the program's own folder first, where anybody who can write beside the setup package could
// plant one that then runs elevated.

#include <windows.h>

#include <delayimp.h>

#include <string_view>

#include "base/system_directory.h"

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

// Stands for a function that is missing: it fails, and the action goes on as it does when the system's own function
// fails. One stub serves for all, since each of them says "failed" with 0, FALSE or null, or returns nothing; and for
// any arguments, since in the calling convention of 64-bit Windows the caller takes them away again.
INT_PTR WINAPI FailAsMissing()
{
    SetLastError(ERROR_PROC_NOT_FOUND);
    return 0;
}

} // namespace

// Called by the import library's stub on the first call of each function, with the slot to fill. Each function is
// looked for once only: the slot of a missing one is filled too.
FARPROC WINAPI __delayLoadHelper2(PCImgDelayDescr library, FARPROC* slot)
{
    const auto index = slot - AtRva<FARPROC>(library->rvaIAT);
    const DWORD nameRva = static_cast<DWORD>(AtRva<IMAGE_THUNK_DATA>(library->rvaINT)[index].u1.AddressOfData);
    const auto* const name = AtRva<const IMAGE_IMPORT_BY_NAME>(nameRva);

    auto* const module = AtRva<HMODULE>(library->rvaHmod);
    if (*module == nullptr) {
        const std::string_view file = AtRva<const char>(library->rvaDLLName);
        *module = LoadSystemLibrary(std::wstring(file.begin(), file.end())).Release(); // stays until the process ends
    }
    const FARPROC function =
        *module == nullptr ? nullptr : GetProcAddress(*module, reinterpret_cast<const char*>(name->Name));
    *slot = function != nullptr ? function : &FailAsMissing;
    return *slot;
}
