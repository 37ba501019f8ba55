#include <windows.h>

#include <gtest/gtest.h>

#include <delayimp.h>
#include <imm.h>

#include "base/system_directory.h"
#include "tests/import_patch.h"

// The linker's names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" IMAGE_DOS_HEADER __ImageBase;
extern "C" FARPROC WINAPI __delayLoadHelper2(PCImgDelayDescr library, FARPROC* slot);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// What the linker lays down for a late-bound library, here of two functions. The offsets want static storage.
struct t_lateLibrary
{
    struct t_function
    {
        WORD hint;
        char name[24];
    };
    char file[16];
    t_function functions[2];
    HMODULE module = nullptr;
    FARPROC slots[2] = {};
    IMAGE_THUNK_DATA names[2] = {};

    decltype(&ImmInstallIMEW) Bind(int index)
    {
        const auto rva = [](const void* place) {
            return static_cast<DWORD>(static_cast<const BYTE*>(place) - reinterpret_cast<const BYTE*>(&__ImageBase));
        };
        names[index].u1.AddressOfData = rva(&functions[index]);
        ImgDelayDescr descriptor{};
        descriptor.rvaDLLName = rva(file);
        descriptor.rvaHmod = rva(&module);
        descriptor.rvaIAT = rva(slots);
        descriptor.rvaINT = rva(names);
        EXPECT_EQ(__delayLoadHelper2(&descriptor, &slots[index]), slots[index]);
        return reinterpret_cast<decltype(&ImmInstallIMEW)>(reinterpret_cast<void*>(slots[index]));
    }
};

t_lateLibrary present = {"kernel32.dll", {{0, "GetModuleHandleW"}, {0, "NoSuchFunction"}}};
t_lateLibrary missing = {"no_such.dll", {{0, "ImmInstallIMEW"}, {0, "ImmDisableIME"}}};

} // namespace

TEST(LateBinding, WhatIsMissingFailsLikeTheCallItStandsFor)
{
    t_path path;
    ReadSystemDirectory(path);
    std::wstring loaded;
    ImmImportPatch<decltype(&LoadLibraryExW)> load("LoadLibraryExW", [&](LPCWSTR file, HANDLE none, DWORD flags) {
        loaded += std::wstring(file) + L";";
        return load.Original(file, none, flags);
    });
    EXPECT_NE(nullptr, present.Bind(0)(L"kernel32.dll", L""));
    const decltype(&ImmInstallIMEW) functions[] = {present.Bind(1), missing.Bind(0), missing.Bind(1)};
    for (const auto function : functions) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(nullptr, function(L"file", L"text"));
        EXPECT_EQ(DWORD{ERROR_PROC_NOT_FOUND}, GetLastError());
    }
    EXPECT_EQ(path + L"\\kernel32.dll;" + path + L"\\no_such.dll;" + path + L"\\no_such.dll;", loaded);
}
