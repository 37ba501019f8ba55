#include "tests/windows_test.h"

#include <delayimp.h>
#include <imm.h>

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
    struct
    {
        WORD hint;
        char name[24];
    } function;
    HMODULE module = nullptr;
    FARPROC slots[2] = {};
    IMAGE_THUNK_DATA names[2] = {};

    decltype(&ImmInstallIMEW) Bind()
    {
        const auto rva = [](const void* place) {
            return static_cast<DWORD>(static_cast<const BYTE*>(place) - reinterpret_cast<const BYTE*>(&__ImageBase));
        };
        names[1].u1.AddressOfData = rva(&function);
        const ImgDelayDescr descriptor{0, rva(library), rva(&module), rva(slots), rva(names), 0, 0, 0};
        EXPECT_EQ(__delayLoadHelper2(&descriptor, &slots[1]), slots[1]);
        return reinterpret_cast<decltype(&ImmInstallIMEW)>(reinterpret_cast<void*>(slots[1]));
    }
};

t_lateImport present = {"kernel32.dll", {0, "GetModuleHandleW"}};
t_lateImport missing[] = {{"kernel32.dll", {0, "NoSuchFunction"}}, {"no_such.dll", {0, "ImmInstallIMEW"}}};

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
    EXPECT_NE(nullptr, present.Bind()(L"kernel32.dll", L""));
    for (t_lateImport& import : missing) {
        const auto function = import.Bind();
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(nullptr, function(L"file", L"text"));
        EXPECT_EQ(DWORD{ERROR_PROC_NOT_FOUND}, GetLastError());
    }
    EXPECT_EQ(path + L"\\kernel32.dll" + path + L"\\kernel32.dll" + path + L"\\no_such.dll", loaded);
}
