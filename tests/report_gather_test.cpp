// What the report gathers from a machine, where no whole run of the program shows it.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <regex>
#include <sstream>

#include "base/default_browser.h"
#include "base/module_path.h"
#include "base/pending_files.h"
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

    t_scratchRegistry scratch;
    t_errorChain errors;
    t_report report;
};

} // namespace

TEST_F(ReportGather, LooksForTheServerWhereTheSystemWould)
{
    const std::wstring profile =
        L"SoftWare\\Microsoft\\CTF\\TIP\\" + kService + L"\\LanguageProfile\\0x00000804\\" + kProfile;
    WriteText(HKEY_LOCAL_MACHINE, profile, L"Description", L"服务");
    WriteText(HKEY_LOCAL_MACHINE, profile, L"Enable", L"1");
    WriteText(HKEY_LOCAL_MACHINE, kLayouts + L"00000804", L"Layout Text", L"键盘");
    for (const wchar_t* const server :
         {L"%SystemRoot%\\system32\\TarvoTSF.ime", L"TarvoTSF.ime", L"C:\\TarvoTSF.ime"}) {
        WriteText(HKEY_CLASSES_ROOT, kServerKey, L"", server);
        report.layouts = GatherLayouts();
        ASSERT_EQ(2u, report.layouts.records.size());
        EXPECT_EQ(*server == L'C', report.layouts.records[1].serverMissing) << ToUtf8(server);
    }
}

TEST_F(ReportGather, SaysWhenThereAreNoLayouts)
{
    report.layouts = GatherLayouts();
    ASSERT_EQ(1u, report.layouts.unseen.size());
    EXPECT_NE(t_str::npos, report.layouts.unseen[0].find(L"获取安装输入法列表失败"));
}

TEST_F(ReportGather, SaysWhichHivesItMayNotSee)
{
    const t_scratchLink link(HKEY_USERS, L"S-1-5-18", MakeKey(HKEY_USERS, L".DEFAULT").Get());
    ImmImportPatch<decltype(&RegOpenKeyExW)> denied(
        "RegOpenKeyExW", [&](HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) -> LSTATUS {
            return root == HKEY_USERS && options == 0 ? ERROR_ACCESS_DENIED
                                                      : denied.Original(root, name, options, access, key);
        });
    report.lists = GatherLists(report.layouts);
    const auto withoutSystemText = [](const std::string& text) {
        return std::regex_replace(text, std::regex("(S-1-5-21[-0-9]*)?: (系统错误5): .*"), ": $2");
    };
    EXPECT_EQ("  HKEY_CURRENT_USER (the user who is logged on)\n    Not seen: : 系统错误5\n"
              "  .DEFAULT\n    Not seen: .DEFAULT: 系统错误5\n"
              "  S-1-5-18\n    Not seen: is a link to another hive\n"
              "  S-1-5-19\n    Not seen: S-1-5-19: 系统错误5\n"
              "  S-1-5-20\n    Not seen: S-1-5-20: 系统错误5\n"
              "  \"default_user\" loaded: yes\n", // a hive that is there and closed to us
              withoutSystemText(Section("Lists")));
}

TEST_F(ReportGather, LooksAtTheModulesAndWhoHoldsThem)
{
    const t_library library(LoadLibraryW(L"C:\\windows\\system32\\TarvoTSF.ime"));
    ASSERT_TRUE(library);
    report.modules = GatherModules({{L"C:\\windows\\system32\\TarvoPY.ime", L"", false}});
    ASSERT_EQ(2u, report.modules.size());
    EXPECT_TRUE(report.modules[0].holders.empty());
    ASSERT_EQ(1u, report.modules[1].holders.size());
    EXPECT_EQ(GetCurrentProcessId(), report.modules[1].holders[0].processId);
}

TEST(ReportFiles, SaysWhoSignedAFileBehindItsPath)
{
    SKIP_WITHOUT_TRUST_SCOPE();
    const t_trustScope trust;
    const auto read = [](const wchar_t* name) { return ReadSignedFile(t_path(t_str(SignedModule(name)))); };
    EXPECT_TRUE(read(L"maker.exe").genuine);
    EXPECT_EQ(L"accepted", read(L"maker.exe").verification);
    EXPECT_EQ(std::filesystem::file_size(SignedModule(L"maker.exe")), read(L"maker.exe").bytes);
    EXPECT_FALSE(read(L"other.exe").genuine);
    EXPECT_EQ(L"签名者“Tarvo Test Maker Ltd”不是制作者,且不在摘要清单中", read(L"other.exe").verification);
}

// Keys and values of random types, lengths and contents wherever the report reads; the numbers are the same every time.
TEST_F(ReportGather, SurvivesARandomRegistry)
{
    t_session session;
    ASSERT_TRUE(ReadCurrentSession(errors, session)) << Entries(errors);
    const std::wstring user = session.userSid + L"\\";
    const std::wstring tip = L"SoftWare\\Microsoft\\CTF\\TIP\\" + kService + L"\\LanguageProfile\\0x00000804\\";
    const std::pair<HKEY, std::vector<std::wstring>> places[] = {
        {HKEY_LOCAL_MACHINE,
         {kLayouts + L"E0200804", kLayouts + L"FFFFFFFF", kLayouts + L"\xD800", tip + kProfile,
          L"SYSTEM\\CurrentControlSet\\Control\\Session Manager", L"Software\\TarvoInput",
          L"SOFTWARE\\Clients\\StartMenuInternet"}},
        {HKEY_CLASSES_ROOT, {kServerKey, L"http\\shell\\open\\command"}},
        {HKEY_CURRENT_USER, {L"Software\\TarvoInput"}},
        {HKEY_USERS,
         {user + kPreload, user + L"Keyboard Layout\\Substitutes", user + kSortOrder + L"00000000", user + kHidden,
          std::wstring(L".DEFAULT\\") + kPreload}}};
    std::vector<std::wstring> names = {L"", std::wstring(2000, L'x')};
    std::wistringstream list(
        L"1|99999999999|e0200804|Ime File|Layout Text|Layout Display Name|Display Description|CLSID|"
        L"Profile|KeyboardLayout|Version|InstallPath|EnErrorLog|PendingFileRenameOperations");
    for (std::wstring name; std::getline(list, name, L'|');) {
        names.push_back(name);
    }
    constexpr wchar_t kUnits[] = L"@%,-\\.:?!{}0E8 \0\n\x7F塔\xD800\xDC00";
    std::mt19937 random(20);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    for (int machine = 0; machine < 20; ++machine) {
        for (const auto& [root, paths] : places) {
            for (std::size_t i = 0; i < paths.size() * names.size(); ++i) {
                std::wstring data(below(8) == 0 ? below(40000) : below(40), L'\0');
                std::generate(data.begin(), data.end(), [&] { return kUnits[below(std::size(kUnits))]; });
                const auto bytes = static_cast<DWORD>(data.size() * 2 - (data.empty() ? 0 : below(2)));
                WriteRaw(root, paths[i / names.size()], names[i % names.size()].c_str(),
                         static_cast<DWORD>(below(3) == 0 ? below(13) : REG_SZ), data.data(), bytes);
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
