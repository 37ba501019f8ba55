#include <gtest/gtest.h>

#include <tuple>

#include "base/path.h"
#include "catalogue/hkl_manager.h"
#include "catalogue/keyboard_layouts.h"
#include "catalogue/text_service_profiles.h"
#include "tests/chain_entries.h"
#include "tests/import_patch.h"
#include "tests/scratch_registry.h"

namespace {

const std::wstring kLayouts = kKeyboardLayoutsKey + std::wstring(L"\\"), kTip = L"SoftWare\\Microsoft\\CTF\\TIP\\";

// Two text services.
const std::wstring kA = L"{0000000A-0000-0000-0000-000000000001}", kB = L"{0000000B-0000-0000-0000-000000000001}";
const std::wstring kServerA = L"CLSID\\" + kA + L"\\InProcServer32";

void WriteImeFiles(const wchar_t* file, std::initializer_list<const wchar_t*> keys)
{
    for (const wchar_t* const key : keys) {
        WriteText(HKEY_LOCAL_MACHINE, kLayouts + key, L"Ime File", file);
    }
}

// A profile with two values.
void WriteProfile(const std::wstring& service, const wchar_t* language, int number, const wchar_t* value = L"Enable",
                  const wchar_t* text = L"1")
{
    const std::wstring path =
        kTip + service + L"\\LanguageProfile\\" + language + FormatStr(L"\\{%08x-0000-0000-0000-000000000000}", number);
    WriteText(HKEY_LOCAL_MACHINE, path, L"Description", L"x");
    WriteText(HKEY_LOCAL_MACHINE, path, value, text);
}

struct Catalogue : testing::Test
{
    // Each record as "hkl klid language", with "service:profile" of a profile.
    static std::wstring Text(const t_hklList& list)
    {
        t_str text;
        for (const t_hkl& r : list) {
            text.AppendFormat(L"%s%I64x %x %x", text.empty() ? L"" : L", ", r.hkl, r.klid, r.langId);
            IsTextServiceProfile(r) ? text.AppendFormat(L" %x:%x", r.clsid.data1, r.profileGuid.data1) : text;
        }
        return text;
    }
    std::wstring List(t_hklManager_InstallWrap& from)
    {
        t_hklList list;
        return from.GetLayoutList(errors, list) ? Text(list) : L"none";
    }
    std::wstring Find(t_hklManager_InstallWrap& in, const wchar_t* file, std::uint32_t mask, std::uint32_t value)
    {
        t_hklList found(1);
        errors.Clear();
        return in.GetHKLByName(errors, found[0], file, mask, value) ? Text(found) : L"none";
    }

    t_scratchRegistry scratch;
    t_errorChain errors;
    t_hklManager_InstallWrap manager, fresh, again;
};

} // namespace

TEST_F(Catalogue, ListsLayoutKeysOfEveryShape)
{
    const auto write = [](const wchar_t* key, DWORD type, const std::wstring& file, DWORD bytes) {
        WriteRaw(HKEY_LOCAL_MACHINE, kLayouts + key, L"Ime File", type, file.c_str(), bytes);
    };
    WriteImeFiles(L"plain", {L"00000804", L"804", L"00000000", L"none", L"FFFFFFFFF"});
    WriteImeFiles(L"b", {L"0xE0300804"});
    write(L"E0400804", REG_DWORD, L"c", 4);
    write(L"E0500804", REG_SZ, L"dX", 3); // half a character, no terminator
    write(L"E0600804", REG_SZ, std::wstring(260, L'x'), 522);
    MakeKey(HKEY_LOCAL_MACHINE, kLayouts + L"E1000000");
    EXPECT_EQ(L"0 804 804, 0 e0300804 804, 0 e0400804 804, 0 e0500804 804, 0 e0600804 804, 0 e1000000 0, "
              L"0 ffffffff ffff",
              List(manager));
    EXPECT_EQ(L"none", Find(manager, L"plain", ~0u, 1));
    EXPECT_EQ(L"0 e0300804 804", Find(manager, L"B", ~0u, 1));
    EXPECT_EQ(L"0 e0500804 804", Find(manager, L"d", ~0u, 1));
    t_str name;
    EXPECT_FALSE(manager.GetImeFileName(errors, name, {})) << "though there is a key 00000000";
}

TEST_F(Catalogue, FindsByNameAndBuildsItsListOnce)
{
    WriteImeFiles(L"TarvoPY.ime", {L"00010804", L"E0010409", L"E0200804", L"E0210804"});
    MakeKey(HKEY_LOCAL_MACHINE, kLayouts + L"00000804");
    EXPECT_EQ(L"0 e0200804 804", Find(manager, L"TARVOPY.IME", 0xF000FFFF, 0xE0000804)) << "the first of the list";
    EXPECT_EQ(L"0 e0210804 804", Find(manager, L"TarvoPY.ime", 0xFFFF, 0x1234)) << "the merged one of the maps";
    WriteImeFiles(L"late.ime", {L"E0220804"});
    EXPECT_EQ(L"none", Find(manager, L"late.ime", 0xFFFF, 0x0804));
    EXPECT_TRUE(Entries(errors).ends_with(L"|获取t_hkl文件错误, klid=2052|GetHKLByName失败:未找到"));
    EXPECT_EQ(L"0 804 804, 0 10804 804, 0 e0010409 409, 0 e0200804 804, 0 e0210804 804", List(manager));
    manager.RegisterImeFile(L"late.ime", {1, 2, 3, {}, {}});
    EXPECT_EQ(L"1 2 3", Find(manager, L"late.ime", 0xFFFF, 0x0804));
}

TEST_F(Catalogue, NeverRetriesAFailedBuild)
{
    EXPECT_EQ(L"none", Find(manager, L"TarvoPY.ime", 0xFFFF, 0x0804));
    EXPECT_EQ(L"系统错误2|打开注册表项失败：MACHINE\\" + std::wstring(kKeyboardLayoutsKey) +
                  L"|获取安装输入法列表失败|生成缓存失败|GetHKLByName失败",
              Entries(errors));
    MakeKey(HKEY_LOCAL_MACHINE, kLayouts);
    EXPECT_EQ(L"none", Find(manager, L"TarvoPY.ime", 0xFFFF, 0x0804));
    EXPECT_EQ(L"获取缓存失败|GetHKLByName失败", Entries(errors));
}

TEST_F(Catalogue, AllocatesTheNextLayoutKey)
{
    std::uint32_t klid = 7;
    for (const int failing : {0, 3}) { // the key of layouts, then the last of three values
        REPLACE(full, RegSetValueExW, [&](auto... arguments) {
            return full.calls == failing ? LSTATUS{ERROR_DISK_FULL} : full.Original(arguments...);
        });
        EXPECT_FALSE(manager.CreateImeLayoutKey(errors, klid, L"TarvoPY.ime", L"x"));
        EXPECT_TRUE(Entries(errors).ends_with(L"|安装输入法失败"));
        EXPECT_EQ(7u, klid);
        MakeKey(HKEY_LOCAL_MACHINE, kLayouts);
    }
    const std::pair<const wchar_t*, std::uint32_t> steps[] = {{L"none", 0xE0020804},      {L"E1000000", 0xE0030804},
                                                              {L"e0200411", 0xE0210804},  {L"0xE0250804", 0xE0260804},
                                                              {L"E03008041", 0xE0270804}, {L"E0FF0000", 0xE1000804}};
    for (const auto& [key, expected] : steps) {
        MakeKey(HKEY_LOCAL_MACHINE, kLayouts + key);
        EXPECT_TRUE(manager.CreateImeLayoutKey(errors, klid, L"C:\\a.b\\TarvoPY.ime", L"中文"));
        EXPECT_EQ(expected, klid);
        EXPECT_EQ(L"[]\nIme File=1:TarvoPY.ime\nLayout File=1:kbdus.dll\nLayout Text=1:中文\n",
                  DumpKey(HKEY_LOCAL_MACHINE, kLayouts + FormatStr(L"%08X", expected)));
    }
}

TEST_F(Catalogue, WalksTextServiceProfiles)
{
    WriteImeFiles(L"TarvoPY.ime", {L"E0200804"});
    MakeKey(HKEY_LOCAL_MACHINE, kLayouts + L"E0210409");
    errors.Fail(L"before");
    EXPECT_EQ(L"0 e0200804 804, 0 e0210409 409", List(manager)) << "no text services";
    EXPECT_TRUE(errors.IsEmpty());

    WriteProfile(kA, L"0x00000804", 1, L"SubstituteLayout", L"E0200804"); // the same layout
    WriteProfile(kA, L"0x00000804", 2);
    WriteProfile(kA, L"0x00000804", 0);
    WriteProfile(kA, L"0x00000C04", 1);
    WriteProfile(kA, L"0x00000C04", 2, L"SubstituteLayout", L"00000411");
    WriteProfile(kA, L"0x00000C04", 3);
    WriteProfile(kB, L"0x00000804", 1);
    WriteProfile(kB, L"0x00000804", 2, L"Description"); // one value only
    for (const wchar_t* const skipped :
         {L"none", L"{00000000-0000-0000-0000-000000000000}", L"{eb030804-6d26-11d3-b0f4-00c04f60b2a1}"}) {
        WriteProfile(skipped, L"0x00000804", 1);
    }
    WriteText(HKEY_CLASSES_ROOT, kServerA, nullptr, L""); // no library
    WriteRaw(HKEY_CLASSES_ROOT, L"CLSID\\" + kA + L"\\LocalServer32", nullptr, REG_EXPAND_SZ, L"%x%\\TarvoTSF.ime", 32);
    EXPECT_EQ(L"none", Find(fresh, L"none.ime", 0xF000FFFF, 0xE0000804));
    EXPECT_EQ(L"not a valid tsf|not Get ime file name by guid|GetHKLByName失败:未找到", Entries(errors));
    EXPECT_EQ(L"e0200804 e0200804 804 a:1, 0 e0210409 409, e0200804 e0200804 804 a:2, e0200804 e0200804 c04 a:1, "
              L"411 411 411 a:2, 411 411 411 a:3, 0 0 804 b:1",
              List(fresh));
    EXPECT_EQ(L"411 411 411 a:1", Find(fresh, L"tarvotsf.ime", 0, 1)) << "the first, merged with those that follow";

    // A service without languages takes the messages before it along.
    MakeKey(HKEY_LOCAL_MACHINE, kTip + L"{0000000C-0000-0000-0000-000000000001}");
    EXPECT_EQ(L"e0200804 e0200804 804 a:1", Find(again, L"TARVOTSF.ime", 0xF000FFFF, 0xE0000804));
    EXPECT_EQ(L"", Entries(errors));
}

// The second profile turns the layout, which stands first, into a record of the first profile.
TEST_F(Catalogue, MergesRecordsThatBecomeEqual)
{
    WriteImeFiles(L"TarvoPY.ime", {L"E0200804"});
    WriteProfile(kA, L"0x00000804", 1);
    WriteProfile(kA, L"0x00000C04", 1, L"SubstituteLayout", L"E0200804");
    EXPECT_EQ(L"e0200804 e0200804 804 a:1", List(manager));
}

// What it only reads must not want rights to write, nor come into being.
TEST_F(Catalogue, OpensForWritingOnlyWhatItWrites)
{
    WriteImeFiles(L"TarvoPY.ime", {L"E0200804"});
    WriteText(HKEY_LOCAL_MACHINE, kLayouts + L"00010409", L"Layout Id", L"0001");
    WriteProfile(kA, L"0x00000804", 1, L"SubstituteLayout", L"F0010409");
    WriteProfile(kA, L"0x00000804", 2); // the search for a server is the service's
    MakeKey(HKEY_CURRENT_USER, L"SoftWare\\Microsoft\\CTF\\HiddenDummyLayouts");

    std::wstring opened;
    const auto record = [&](const wchar_t* how, LPCWSTR key, REGSAM access) {
        opened += how + std::wstring(FileNamePart(key)) + FormatStr(L" %x, ", access);
    };
    REPLACE(open, RegOpenKeyExW, [&](HKEY root, LPCWSTR key, DWORD options, REGSAM access, PHKEY result) {
        record(L"", key, access);
        return open.Original(root, key, options, access, result);
    });
    REPLACE(create, RegCreateKeyExW, [&](HKEY root, LPCWSTR key, auto... rest) {
        if (*key != L'\0') { // else a new handle is made, and no key
            record(L"create ", key, std::get<3>(std::tuple(rest...)));
        }
        return create.Original(root, key, rest...);
    });
    EXPECT_EQ(L"f0010409 10409 409 a:1, 0 e0200804 804, f0010409 10409 409 a:2", List(manager));
    EXPECT_EQ(L"Keyboard Layouts 20219, E0200804 20219, TIP 20219, LanguageProfile 20219, InProcServer32 20219, "
              L"InProcServer32 20019, LocalServer32 20219, LocalServer32 20019, 0x00000804 20219, "
              L"{00000001-0000-0000-0000-000000000000} 20219, Keyboard Layouts 20219, 00010409 20219, "
              L"{00000002-0000-0000-0000-000000000000} 20219, ",
              opened);
    opened.clear();
    t_str name;
    std::uint32_t klid = 0;
    const t_hkl classic{0, 0xE0200804, 0x0804, {}, {}};
    EXPECT_TRUE(manager.GetImeFileName(errors, name, classic));
    EXPECT_TRUE(manager.UnhideLayout(errors, classic));
    EXPECT_TRUE(manager.CreateImeLayoutKey(errors, klid, L"TarvoPY.ime", L"x"));
    EXPECT_EQ(L"e0200804 20219, HiddenDummyLayouts f023f, Keyboard Layouts f023f, create E0210804 f023f, ", opened);
}
