// What the report gathers from a machine, shown as its text and the codes of its findings.
#include <gtest/gtest.h>

#include <objbase.h>
#include <shlobj.h>

#include <random>

#include "base/default_browser.h"
#include "base/module_path.h"
#include "base/pending_files.h"
#include "base/system_function.h"
#include "catalogue/keyboard_layouts.h"
#include "report/file_facts.h"
#include "report/findings.h"
#include "report/gather.h"
#include "report/json.h"
#include "report/text.h"
#include "report/utf8.h"
#include "runtime/runtime.h"
#include "tests/chain_entries.h"
#include "tests/import_patch.h"
#include "tests/scratch_directory.h"
#include "tests/scratch_registry.h"
#include "tests/signed_modules/signed_modules.h"

using namespace n_report;
using namespace std::string_literals;

namespace {

const std::wstring kLayouts = kKeyboardLayoutsKey + std::wstring(L"\\");
const std::wstring kService = L"{0000000A-0000-0000-0000-000000000001}";
const std::wstring kProfile = L"{0000000B-0000-0000-0000-000000000001}";
const std::wstring kServerKey = L"CLSID\\" + kService + L"\\InProcServer32";
constexpr wchar_t kPreload[] = L"Keyboard Layout\\Preload";
constexpr wchar_t kSortOrder[] = L"SoftWare\\Microsoft\\CTF\\SortOrder\\AssemblyItem\\0x00000804\\{C}\\";
constexpr wchar_t kHidden[] = L"SoftWare\\Microsoft\\CTF\\HiddenDummyLayouts";

std::wstring localLow;

HRESULT WINAPI AnswerKnownFolder(const GUID&, DWORD, HANDLE, wchar_t** path)
{
    *path = static_cast<wchar_t*>(CoTaskMemAlloc((localLow.size() + 1) * sizeof(wchar_t)));
    lstrcpyW(*path, localLow.c_str());
    return S_OK;
}

// A key below HKEY_USERS that leads to ".DEFAULT", for the life of a scope: only by its handle can it be deleted.
struct t_linkKey
{
    explicit t_linkKey(const wchar_t* name)
    {
        EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_USERS, name, 0, nullptr, REG_OPTION_CREATE_LINK, KEY_ALL_ACCESS,
                                                 nullptr, key.Put(), nullptr));
        constexpr wchar_t kTarget[] = L"\\Registry\\User\\.DEFAULT";
        RegSetValueExW(key.Get(), L"SymbolicLinkValue", 0, REG_LINK, reinterpret_cast<const BYTE*>(kTarget),
                       sizeof(kTarget) - sizeof(wchar_t));
    }
    ~t_linkKey() { FindSystemFunction<LONG(WINAPI*)(HANDLE)>(L"ntdll.dll", "NtDeleteKey")(key.Get()); }

    t_keyHandle key;
};

struct ReportGather : testing::Test
{
    // The lines of one section of the report's text.
    std::string Section(const char* title) const
    {
        const std::string text = "\n" + ToUtf8(RenderText(report)) + "\n";
        const std::size_t begin = text.find("\n" + std::string(title));
        const std::size_t lines = text.find('\n', begin + 1) + 1;
        return text.substr(lines, text.find("\n\n", begin) + 1 - lines);
    }
    std::wstring Codes() const
    {
        std::wstring codes;
        for (const t_finding& finding : Judge(report)) {
            codes += std::wstring(finding.code) + L" ";
        }
        return codes;
    }

    t_scratchRegistry scratch;
    t_errorChain errors;
    t_report report;
};

} // namespace

TEST_F(ReportGather, NamesTheLayoutsOfTheCatalogue)
{
    t_path self;
    ReadModulePath(nullptr, self);
    const auto write = [](const std::wstring& key, const wchar_t* name, const std::wstring& text) {
        WriteText(HKEY_LOCAL_MACHINE, kLayouts + key, name, text);
    };
    write(L"00000409", L"Layout Display Name", L"@" + self + L",-5000");
    write(L"00000409", L"Layout Text", L"US");
    write(L"00000804", L"Layout Display Name", L"@C:\\no.dll,-1");
    write(L"00000804", L"Description", L"描述");
    write(L"00000804", L"Layout Text", L"文字");
    write(L"E0200804", L"Ime File", L"TarvoPY.ime");
    write(L"E0200804", L"Layout Display Name", self + L",-5000"); // no indirect string without its mark
    WriteRaw(HKEY_LOCAL_MACHINE, kLayouts + L"E0200804", L"Layout Text", REG_EXPAND_SZ, L"塔沃x", 4);
    const std::wstring profile =
        L"SoftWare\\Microsoft\\CTF\\TIP\\" + kService + L"\\LanguageProfile\\0x00000804\\" + kProfile;
    WriteText(HKEY_LOCAL_MACHINE, profile, L"Description", L"服务");
    WriteText(HKEY_LOCAL_MACHINE, profile, L"Enable", L"1");
    WriteText(HKEY_CLASSES_ROOT, kServerKey, L"", L"C:\\none\\TarvoTSF.ime");
    report.layouts = GatherLayouts();
    report.system.windows8OrLater = true;
    EXPECT_EQ(
        "  00000409 handle 00000000 language 0409 塔沃\n"
        "  00000804 handle 00000000 language 0804 描述\n"
        "  E0200804 handle 00000000 language 0804 (no name), TarvoPY.ime\n"
        "    Odd: \"Layout Text\": type REG_EXPAND_SZ instead of REG_SZ, no terminator\n"
        "  00000000 handle 00000000 language 0804 服务, TarvoTSF.ime\n"
        "    Text service {0000000A-0000-0000-0000-000000000001}, profile {0000000B-0000-0000-0000-000000000001}\n"
        "    Server: C:\\none\\TarvoTSF.ime, missing\n",
        Section("Layouts"));
    EXPECT_EQ(L"classic-layout-left text-service-without-module odd-value ", Codes());

    // Files that are there, by a variable and by the name alone.
    for (const wchar_t* const server : {L"%SystemRoot%\\system32\\TarvoTSF.ime", L"TarvoTSF.ime"}) {
        WriteText(HKEY_CLASSES_ROOT, kServerKey, L"", server);
        report.layouts = GatherLayouts();
        EXPECT_FALSE(report.layouts.records.back().serverMissing) << ToUtf8(server);
    }
}

TEST_F(ReportGather, SaysWhenThereAreNoLayouts)
{
    report.layouts = GatherLayouts();
    ASSERT_EQ(1u, report.layouts.unseen.size());
    EXPECT_NE(t_str::npos, report.layouts.unseen[0].find(L"获取安装输入法列表失败"));
}

TEST_F(ReportGather, ReadsTheListsOfEveryHive)
{
    t_session session;
    ASSERT_TRUE(ReadCurrentSession(errors, session)) << Entries(errors);
    const std::wstring user = session.userSid + L"\\";
    WriteText(HKEY_LOCAL_MACHINE, kLayouts + L"00000804", L"Layout Text", L"键盘");
    WriteText(HKEY_LOCAL_MACHINE, kLayouts + L"E0200804", L"Ime File", L"TarvoPY.ime");
    WriteText(HKEY_LOCAL_MACHINE, kLayouts + L"E0200804", L"Layout Text", L"塔沃");
    WriteText(HKEY_USERS, user + kPreload, L"10", L"e0200804");
    WriteText(HKEY_USERS, user + kPreload, L"2", L"d0010804");
    WriteText(HKEY_USERS, user + kPreload, L"3", L"e0990804");
    WriteRaw(HKEY_USERS, user + kPreload, L"4", REG_SZ, L"E0200804x", 16);
    WriteText(HKEY_USERS, user + L"Keyboard Layout\\Substitutes", L"d0010804", L"00000804");
    const DWORD klid = 0xE0200804;
    WriteText(HKEY_USERS, user + kSortOrder + L"00000000", L"CLSID", kService);
    WriteText(HKEY_USERS, user + kSortOrder + L"00000000", L"Profile", kProfile);
    WriteRaw(HKEY_USERS, user + kSortOrder + L"00000001", L"KeyboardLayout", REG_DWORD, &klid, 4);
    WriteRaw(HKEY_USERS, user + kSortOrder + L"00000002", L"KeyboardLayout", REG_BINARY, &klid, 3);
    WriteText(HKEY_USERS, user + kHidden, L"1", L"e0200804");
    WriteText(HKEY_USERS, user + kHidden, L"e0200804", L"");
    WriteText(HKEY_USERS, L".DEFAULT\\" + std::wstring(kPreload), L"1", L"E0200804");
    MakeKey(HKEY_USERS, L"S-1-5-19");
    MakeKey(HKEY_USERS, L"default_user");
    const t_linkKey link(L"S-1-5-18");
    report.layouts.records.resize(1);
    report.layouts.records[0].service = t_str(kService), report.layouts.records[0].profile = t_str(kProfile);
    report.layouts.records[0].name = L"服务";

    report.lists = GatherLists(report.layouts);
    report.lists.hives[0].name = L"USER";
    EXPECT_EQ("  USER (the user who is logged on)\n"
              "    Preload list:\n"
              "      2: d0010804 键盘\n"
              "      3: e0990804 (no layout stands behind it)\n"
              "      4: E0200804 塔沃; odd: no terminator\n"
              "      10: e0200804 塔沃\n"
              "    Sort order:\n"
              "      00000000: {0000000A-0000-0000-0000-000000000001} {0000000B-0000-0000-0000-000000000001} 服务\n"
              "      00000001: E0200804 塔沃\n"
              "      00000002: 00000000 (no layout stands behind it); odd: \"KeyboardLayout\": no number of 32 bits\n"
              "    Hidden layouts:\n"
              "      1: e0200804 塔沃\n"
              "      e0200804:  塔沃\n"
              "  .DEFAULT\n"
              "    Preload list:\n"
              "      1: E0200804 塔沃\n"
              "  S-1-5-18\n"
              "    Not seen: is a link to another hive\n"
              "  S-1-5-19\n"
              "  \"default_user\" loaded: yes\n",
              Section("Lists"));
    EXPECT_EQ(L"preload-without-layout layout-listed-twice product-on-logon-desktop default-user-loaded odd-value "
              L"odd-value ",
              Codes());
}

TEST_F(ReportGather, SaysWhichHivesItMayNotSee)
{
    MakeKey(HKEY_USERS, L"S-1-5-20");
    ImmImportPatch<decltype(&RegOpenKeyExW)> denied(
        "RegOpenKeyExW", [&](HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) -> LSTATUS {
            return root == HKEY_USERS ? ERROR_ACCESS_DENIED : denied.Original(root, name, options, access, key);
        });
    report.lists = GatherLists(report.layouts);
    ASSERT_EQ(5u, report.lists.hives.size());
    EXPECT_EQ(L"HKEY_CURRENT_USER", report.lists.hives[0].name);
    for (const t_hive& hive : report.lists.hives) {
        ASSERT_EQ(1u, hive.unseen.size());
        EXPECT_NE(t_str::npos, hive.unseen[0].find(L": 系统错误5: ")) << ToUtf8(hive.unseen[0]);
    }
    EXPECT_TRUE(report.lists.defaultUserLoaded); // a hive that is there and closed to us
}

TEST_F(ReportGather, DescribesTheInstallation)
{
    const t_scratchDirectory folder;
    localLow = folder.Path(L"low");
    folder.Write(L"low\\TarvoPY\\env.ini", "[user]\npath=" + ToUtf8(folder.Path()) + "\n");
    folder.Write(L"Data\\runtime.ini", "[setting]\ncnt=5\n[item3]\nprocess=x.exe\ntype=2\n[switch]\nsapi=0\n");
    folder.Write(L"TarvoPy\\error.log", "\xFF\xFE" + "a\0\r\0\n\0"s);
    constexpr wchar_t kKey[] = L"Software\\TarvoInput";
    WriteText(HKEY_LOCAL_MACHINE, kKey, L"Version", L"8.5.0.1234");
    WriteText(HKEY_LOCAL_MACHINE, kKey, L"InstallPath", folder.Path());
    const DWORD three = 3;
    WriteRaw(HKEY_CURRENT_USER, kKey, L"EnErrorLog", REG_DWORD, &three, 4);
    CopyFileW(L"C:\\windows\\system32\\TarvoPY.ime", folder.Path(L"TarvoExe.exe").c_str(), FALSE);

    ImmImportPatch<decltype(&GetProcAddress)> lookup("GetProcAddress", [&](HMODULE module, LPCSTR name) {
        return std::string_view("SHGetKnownFolderPath") == name
                   ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&AnswerKnownFolder))
                   : lookup.Original(module, name);
    });
    t_runtime runtime;
    runtime.SetInstallPathMode(2);
    ASSERT_TRUE(runtime.Initialise(errors)) << Entries(errors);
    report.product =
        GatherProduct(runtime, {{t_path(t_str(folder.Path(L"x"))), L"", false}, {L"C:\\other", L"", false}});
    ASSERT_EQ(3u, report.product.files.size());
    EXPECT_TRUE(report.product.files[1].present);
    EXPECT_FALSE(report.product.files[1].genuine);
    EXPECT_NE(t_str::npos, report.product.files[1].verification.find(L"且不在摘要清单中"));
    report.product.files.clear();
    std::string text = Section("Product");
    for (std::size_t at; (at = text.find(ToUtf8(folder.Path()))) != std::string::npos;) {
        text.replace(at, ToUtf8(folder.Path()).size(), "FOLDER");
    }
    EXPECT_EQ("  Version: 8.5.0.1234\n"
              "  Build: 1234\n"
              "  Install path: FOLDER (from the registry)\n"
              "  Data path: FOLDER\\Data (from the install path)\n"
              "  User path: FOLDER (from env.ini)\n"
              "  env.ini: FOLDER\\low\\TarvoPY\\env.ini\n"
              "    [user] path=FOLDER\n"
              "  EnErrorLog: 3\n"
              "  EnablePerf: not set\n"
              "  EnableFunPerf: not set\n"
              "  runtime.ini: FOLDER\\Data\\runtime.ini\n"
              "    [setting] cnt=5 (default: 0)\n"
              "    [item 1 of those present] process=x.exe (default: )\n"
              "    [item 1 of those present] type=2 (default: 0)\n"
              "  After a restart: FOLDER\\x is deleted\n",
              text);

    const t_messages messages = GatherMessages(runtime);
    ASSERT_EQ(1u, messages.logs.size());
    EXPECT_EQ(t_texts{L"a"}, messages.logs[0].lines);
    const t_handle held(
        CreateFileW(messages.logs[0].path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(1u, GatherMessages(runtime).unseen.size());
}

TEST_F(ReportGather, LooksAtTheModulesAndWhoHoldsThem)
{
    const t_library library(LoadLibraryW(L"C:\\windows\\system32\\TarvoTSF.ime"));
    ASSERT_TRUE(library);
    report.modules = GatherModules({{L"C:\\windows\\system32\\TarvoPY.ime", L"", false}});
    ASSERT_EQ(2u, report.modules.size());
    EXPECT_EQ(L"1.0.0.1", report.modules[0].file.version);
    EXPECT_TRUE(report.modules[0].holders.empty());
    EXPECT_EQ(1u, report.modules[0].pending.size());
    ASSERT_EQ(1u, report.modules[1].holders.size());
    EXPECT_EQ(GetCurrentProcessId(), report.modules[1].holders[0].processId);
    EXPECT_TRUE(report.modules[1].pending.empty());
}

TEST(ReportFiles, TellsTheMakersFilesFromOthers)
{
    const t_trustScope trust;
    const auto write = [](const wchar_t* name, const char* content) {
        std::ofstream(SignedModule(name).c_str(), std::ios::binary) << content;
        return name;
    };
    const std::tuple<const wchar_t*, bool, const wchar_t*> rows[] = {
        {L"maker.exe", true, L"accepted"},
        {L"other.exe", false, L"不是制作者,且不在摘要清单中"},
        {L"unsigned.exe", false, L"没有有效的代码签名,且不在摘要清单中"},
        {L"untrusted.exe", false, L"没有有效的代码签名,且不在摘要清单中"},
        {write(L"listed 1.dat", "abc"), true, L"accepted"},
        {write(L"listed 2.dat", "abc"), false, L"没有有效的代码签名,且摘要与清单不符"},
        {L"none.exe", false, L""},
    };
    for (const auto& [name, genuine, verification] : rows) {
        const t_file file = ReadSignedFile(t_path(t_str(SignedModule(name))));
        EXPECT_EQ(genuine, file.genuine) << ToUtf8(name);
        EXPECT_TRUE(file.verification.ends_with(verification)) << ToUtf8(file.verification);
        EXPECT_EQ(verification == std::wstring(), file.verification.empty());
    }
    EXPECT_EQ(3u, ReadSignedFile(t_path(t_str(SignedModule(L"listed 1.dat")))).bytes);
}

// Keys and values of random types, lengths and contents wherever the report reads; the numbers are the same every time.
TEST_F(ReportGather, SurvivesARandomRegistry)
{
    t_session session;
    ASSERT_TRUE(ReadCurrentSession(errors, session)) << Entries(errors);
    const std::wstring user = session.userSid + L"\\";
    const std::wstring tip = L"SoftWare\\Microsoft\\CTF\\TIP\\" + kService;
    const std::pair<HKEY, std::wstring> places[] = {
        {HKEY_LOCAL_MACHINE, kLayouts + L"E0200804"},
        {HKEY_LOCAL_MACHINE, kLayouts + L"FFFFFFFF"},
        {HKEY_LOCAL_MACHINE, kLayouts + L"\xD800"},
        {HKEY_LOCAL_MACHINE, tip + L"\\LanguageProfile\\0x00000804\\" + kProfile},
        {HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager"},
        {HKEY_LOCAL_MACHINE, L"Software\\TarvoInput"},
        {HKEY_LOCAL_MACHINE, L"SOFTWARE\\Clients\\StartMenuInternet"},
        {HKEY_CLASSES_ROOT, kServerKey},
        {HKEY_CLASSES_ROOT, L"http\\shell\\open\\command"},
        {HKEY_CURRENT_USER, L"Software\\TarvoInput"},
        {HKEY_USERS, user + kPreload},
        {HKEY_USERS, user + L"Keyboard Layout\\Substitutes"},
        {HKEY_USERS, user + kSortOrder + L"00000000"},
        {HKEY_USERS, user + kHidden},
        {HKEY_USERS, L".DEFAULT\\" + std::wstring(kPreload)},
    };
    const std::wstring names[] = {L"",
                                  L"1",
                                  L"99999999999",
                                  L"e0200804",
                                  L"Ime File",
                                  L"Layout Text",
                                  L"Layout Display Name",
                                  L"Display Description",
                                  L"CLSID",
                                  L"Profile",
                                  L"KeyboardLayout",
                                  L"Version",
                                  L"InstallPath",
                                  L"EnErrorLog",
                                  L"PendingFileRenameOperations",
                                  std::wstring(2000, L'x')};
    constexpr wchar_t kUnits[] = L"@%,-\\.:?!{}0E8 \0\n\x7F塔\xD800\xDC00";
    std::mt19937 random(20);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    for (int machine = 0; machine < 20; ++machine) {
        for (const auto& [root, path] : places) {
            for (const std::wstring& name : names) {
                std::wstring data;
                const std::size_t length = below(8) == 0 ? below(40000) : below(40);
                while (data.size() < length) {
                    data += kUnits[below(std::size(kUnits))];
                }
                const auto bytes = static_cast<DWORD>(data.size() * 2 - (data.empty() ? 0 : below(2)));
                WriteRaw(root, path, name.c_str(), static_cast<DWORD>(below(3) == 0 ? below(13) : REG_SZ), data.data(),
                         bytes);
            }
        }
        // What reads the registry; the rest of the report would only take its time again.
        t_runtime runtime;
        runtime.SetInstallPathMode(2);
        runtime.Initialise(errors);
        t_defaultBrowser browser;
        FindDefaultBrowser(errors, browser);
        t_pendingOperations queued;
        ListPendingOperations(errors, queued);
        t_report gathered;
        gathered.product = GatherProduct(runtime, queued);
        gathered.layouts = GatherLayouts();
        gathered.lists = GatherLists(gathered.layouts);
        gathered.findings = Judge(gathered);
        EXPECT_NE(0u, gathered.findings.size());
        EXPECT_EQ(std::string::npos, ToUtf8(RenderText(gathered)).find('\x7F'));
        EXPECT_TRUE(RenderJson(gathered).starts_with("{"));
    }
}
