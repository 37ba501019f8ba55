#include <gtest/gtest.h>

#include "base/module_path.h"
#include "base/singleton.h"
#include "catalogue/indirect_string.h"
#include "catalogue/keyboard_layouts.h"
#include "catalogue/layout_id.h"
#include "catalogue/product_ime_file.h"
#include "tests/chain_entries.h"
#include "tests/import_patch.h"
#include "tests/scratch_registry.h"

using namespace std::literals;

// This program itself holds the string 5000.
TEST(IndirectString, NamesALibraryAndAString)
{
    t_path program;
    ASSERT_TRUE(ReadModulePath(nullptr, program));
    const std::wstring unresolved = L"|查询dll的字符串资源失败:解析位置失败:";
    SetEnvironmentVariableW(L"TARVO_HEAD", program.substr(0, 8).c_str());
    SetEnvironmentVariableW(L"TARVO_TAIL", program.substr(8).c_str());
    SetEnvironmentVariableW(L"TARVO_LONG", std::wstring(300, L'x').c_str());
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"@%TARVO_HEAD%%TARVO_TAIL%,-5000;2,x", L""},
        {program + L",5000", L""},
        {program, L"未找到逗号" + unresolved + program},
        {L"@%TARVO_HEAD\\a.dll,-1", L"百分号不匹配" + unresolved + L"@%TARVO_HEAD\\a.dll,-1"},
        {L"%TARVO_LONG%,1", L"查找不到env变量:TARVO_LONG" + unresolved + L"%TARVO_LONG%,1"},
        {L"no.dll,1", L"加载dll失败:no.dll" + unresolved + L"no.dll,1"},
        {program + L",-5001", L"读取dll里的字符串失败|查询dll的字符串资源失败:dll:" + program + L", id:5001"}};
    for (const auto& [indirect, messages] : cases) {
        t_errorChain errors;
        t_str text = L"old";
        EXPECT_EQ(messages.empty(), LoadIndirectString(errors, text, indirect));
        EXPECT_EQ(messages.empty() ? L"塔沃" : L"", text);
        EXPECT_EQ(messages, Entries(errors));
    }
}

TEST(LayoutId, ConvertsHandles)
{
    const t_scratchRegistry scratch;
    const std::tuple<const wchar_t*, DWORD, const wchar_t*, DWORD> layouts[] = {
        {L"10000409", REG_SZ, L"0001", 10},                                       // no variant
        {L"E0010804", REG_SZ, L"0001", 10},                                       // an IME
        {L"00010409", REG_SZ, L"0002", 10},   {L"00020409", REG_SZ, L"0002", 10}, // behind the first
        {L"00030409", REG_SZ, L"00003", 12},                                      // too long
        {L"00040409", REG_DWORD, L"0003", 4}, {L"00050409", REG_SZ, L"0003", 8},  // without a terminator
        {L"00060409", REG_SZ, L"00A9", 7},                                        // half a character
        {L"F0010C04", REG_SZ, L"0fFf", 10}};
    for (const auto& [name, type, id, bytes] : layouts) {
        WriteRaw(HKEY_LOCAL_MACHINE, kKeyboardLayoutsKey + std::wstring(L"\\") + name, L"Layout Id", type, id, bytes);
    }
    const std::pair<std::uint32_t, std::uint32_t> cases[] = {
        {0x00000804, 0x0804},     {0x0000FFFF, 0xFFFF},     {0x00010000, 1},          {0xDFFF0804, 0xDFFF},
        {0xE0200804, 0xE0200804}, {0xEFFFFFFF, 0xEFFFFFFF}, {0xF0020409, 0x00010409}, {0xF0030409, 0x00050409},
        {0xF00A0409, 0x00060409}, {0xFFFF0804, 0xF0010C04}, {0xF0010409, 0},          {0xF0000409, 0}};
    for (const auto& [handle, expected] : cases) {
        t_hkl record{1, 2, 3, {}, {}};
        SetHklFromHandle(record, handle);
        EXPECT_EQ(std::tuple(handle, expected, expected != 0 ? handle & 0xFFFF : 3),
                  std::tuple(record.hkl, record.klid, record.langId));
    }
}

TEST(ProductImeFile, FollowsTheRuntimeEnvironment)
{
    static DWORD minorVersion;
    LONG(*const answer)
    (OSVERSIONINFOEXW*) = [](OSVERSIONINFOEXW* version) {
        version->dwMajorVersion = 6;
        version->dwMinorVersion = minorVersion;
        return LONG{0};
    };
    const t_scratchRegistry scratch;
    ImmImportPatch<decltype(&GetProcAddress)> lookUp("GetProcAddress", [&](HMODULE module, LPCSTR name) {
        return name == "RtlGetVersion"s ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(answer))
                                        : lookUp.Original(module, name);
    });
    for (minorVersion = 1; minorVersion <= 2; ++minorVersion) {
        t_singletonRegistry::Process().DestroyAll();
        EXPECT_STREQ(minorVersion == 1 ? L"TarvoPY.ime" : L"TarvoTSF.ime", GetProductImeFileName());
    }
    t_singletonRegistry::Process().DestroyAll();
}
