#include "tests/windows_test.h"

#include <delayimp.h>

#include "base/system_directory.h"

// The linker's names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" IMAGE_DOS_HEADER __ImageBase;
extern "C" FARPROC WINAPI __delayLoadHelper2(PCImgDelayDescr library, FARPROC* slot);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// What the linker lays down for a late-bound function, the second of its library. The offsets want static storage.
struct t_lateImport
{
    char library[16];
    char function[24]; // behind the two bytes of its number
    DWORD error;       // that a call then leaves
    HMODULE module = nullptr;
    FARPROC slots[2] = {};
    IMAGE_THUNK_DATA names[2] = {};
} imports[] = {{"kernel32.dll", "\0\0GetCommandLineW", ERROR_SUCCESS},
               {"kernel32.dll", "\0\0NoSuchFunction", ERROR_PROC_NOT_FOUND},
               {"no_such.dll", "\0\0ImmInstallIMEW", ERROR_PROC_NOT_FOUND}};

DWORD Rva(const void* place)
{
    return static_cast<DWORD>(static_cast<const BYTE*>(place) - reinterpret_cast<const BYTE*>(&__ImageBase));
}

} // namespace

TEST(LateBinding, WhatIsMissingFailsLikeTheCallItStandsFor)
{
    t_path path;
    ReadSystemDirectory(path);
    std::wstring loaded;
    REPLACE(load, LoadLibraryExW, [&](LPCWSTR file, HANDLE none, DWORD flags) {
        loaded += file;
        return load.Original(file, none, flags);
    });
    for (t_lateImport& late : imports) {
        late.names[1].u1.AddressOfData = Rva(late.function);
        const ImgDelayDescr dll{0, Rva(late.library), Rva(&late.module), Rva(late.slots), Rva(late.names), 0, 0, 0};
        const FARPROC bound = __delayLoadHelper2(&dll, &late.slots[1]);
        EXPECT_EQ(bound, late.slots[1]);
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(late.error == ERROR_SUCCESS, bound() != 0) << late.function + 2;
        EXPECT_EQ(late.error, GetLastError());
    }
    EXPECT_EQ(path + L"\\kernel32.dll" + path + L"\\kernel32.dll" + path + L"\\no_such.dll", loaded);
}
