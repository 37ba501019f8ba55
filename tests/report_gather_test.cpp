// What the report gathers from a machine, where no whole run of the program shows it.
#include "tests/windows_test.h"

#include <tlhelp32.h>

#include <regex>

#include "base/module_path.h"
#include "report/file_facts.h"
#include "report/findings.h"
#include "report/gather.h"
#include "report/json.h"
#include "report/text.h"
#include "report/utf8.h"
#include "tests/preload_model.h"
#include "tests/random_layouts.h"
#include "tests/signed_modules/signed_modules.h"

using namespace n_report;
using namespace std::string_literals;

TEST(ReportGather, SaysWhatItMayNotSee)
{
    const t_scratchRegistry registry;
    const t_scratchLink link(HKEY_USERS, L"S-1-5-18", MakeKey(HKEY_USERS, L".DEFAULT").Get());
    ImmImportPatch<decltype(&RegOpenKeyExW)> denied(
        "RegOpenKeyExW", [&](HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) -> LSTATUS {
            return root == HKEY_USERS && options == 0 ? ERROR_ACCESS_DENIED
                                                      : denied.Original(root, name, options, access, key);
        });
    t_report report;
    report.layouts = GatherLayouts();
    report.lists = GatherLists(report.layouts);
    const std::regex ofMachine("(S-1-5-21[-0-9]*)?: (系统错误5): .*"); // the user, and the system's text
    const std::string text = std::regex_replace(ToUtf8(RenderText(report)), ofMachine, ": $2");
    EXPECT_THAT(text, testing::HasSubstr("获取安装输入法列表失败"));
    EXPECT_THAT(
        text, testing::HasSubstr("\nLists\n  HKEY_CURRENT_USER (the user who is logged on)\n    Not seen: : 系统错误5\n"
                                 "  .DEFAULT\n    Not seen: .DEFAULT: 系统错误5\n"
                                 "  S-1-5-18\n    Not seen: is a link to another hive\n"
                                 "  S-1-5-19\n    Not seen: S-1-5-19: 系统错误5\n"
                                 "  S-1-5-20\n    Not seen: S-1-5-20: 系统错误5\n"
                                 "  \"default_user\" loaded: yes\n")); // a hive that is there and closed to us
}

TEST(ReportGather, LooksAtTheModulesAndWhoHoldsThem)
{
    const t_scratchRegistry registry;
    const t_library library(LoadLibraryW(L"C:\\Windows\\SYSTEM32\\tarvotsf.ime")); // in other letter case
    t_path self;
    ReadModulePath(nullptr, self);
    t_str held;
    for (const t_module& module : GatherModules({{L"C:\\windows\\system32\\TarvoPY.ime", L"", false}})) {
        EXPECT_EQ(0u, module.unseen.size());
        held << module.file.name << (module.pending.empty() ? L":" : L", pending:");
        for (const t_program& program : module.holders) {
            held << L" " << program.name << (program.processId == GetCurrentProcessId() ? L"" : L" another");
        }
        held << L";";
    }
    EXPECT_EQ(L"TarvoPY.ime, pending:;TarvoTSF.ime: " + std::wstring(FileNamePart(self)) + L";", held);

    // A program that has ended meanwhile is none that could not be looked into.
    for (const auto& [error, unseen] : {std::pair{ERROR_ACCESS_DENIED, 1u}, {ERROR_PARTIAL_COPY, 0u}}) {
        REPLACE(refused, CreateToolhelp32Snapshot, [&](DWORD kind, DWORD process) {
            SetLastError(error);
            return kind == TH32CS_SNAPMODULE ? INVALID_HANDLE_VALUE : refused.Original(kind, process);
        });
        EXPECT_EQ(unseen, GatherModules({})[0].unseen.size()) << error;
    }
}

TEST(ReportFiles, SaysWhoSignedAFileBehindItsPath)
{
    SKIP_WITHOUT_TRUST_SCOPE();
    const t_trustScope trust;
    for (const auto& [name, genuine, verification] :
         {std::tuple{L"maker.exe", true, L"accepted"},
          {L"other.exe", false, L"签名者“Tarvo Test Maker Ltd”不是制作者,且不在摘要清单中"}}) {
        const t_file file = ReadSignedFile(t_path(t_str(SignedModule(name))));
        EXPECT_EQ(genuine, file.genuine);
        EXPECT_EQ(verification, file.verification);
        EXPECT_EQ(std::filesystem::file_size(SignedModule(name)), file.bytes);
    }
}

// Registries that other programs may have left, and hostile ones, with values of random types, lengths and contents
// wherever the report reads.
TEST(ReportGather, RandomRegistryGivesAWellFormedReport)
{
    t_errorChain errors;
    t_session session;
    ASSERT_TRUE(ReadCurrentSession(errors, session)) << Entries(errors);
    const std::wstring user = session.userSid + L"\\", service = L"{0000000A-0000-0000-0000-000000000001}";
    const std::pair<HKEY, std::wstring> places[] = {
        {HKEY_LOCAL_MACHINE, n_model::kLayouts + L"\\E0200804"},
        {HKEY_LOCAL_MACHINE, n_model::kLayouts + L"\\\xD800"},
        {HKEY_LOCAL_MACHINE, n_model::kTip + L"\\" + service + L"\\LanguageProfile\\0x00000804\\" + service},
        {HKEY_CLASSES_ROOT, L"CLSID\\" + service + L"\\InProcServer32"},
        {HKEY_USERS, user + n_model::kPreload},
        {HKEY_USERS, user + L"Keyboard Layout\\Substitutes"},
        {HKEY_USERS, user + n_model::kSortOrder + L"\\{C}\\00000000"},
        {HKEY_USERS, user + n_model::kHidden},
        {HKEY_USERS, L".DEFAULT\\" + n_model::kPreload}};
    const std::wstring longName(2000, L'x');
    constexpr wchar_t kUnits[] = L"@%,-\\.:?!{}0E8 \0\n\x7F塔\xD800\xDC00";
    ForRandomSeeds(15, [&](t_random& random) {
        const t_scratchRegistry registry;
        t_randomLayouts layouts(random);
        WriteRandomLists(random, HKEY_USERS, session.userSid);
        WriteRandomLists(random, HKEY_USERS, L".DEFAULT");
        for (auto count = random.OneIn(2) ? 0 : 150; count > 0; --count) {
            const auto& [root, path] = random.Of(places);
            std::wstring data(random.OneIn(8) ? random.Below(40000) : random.Below(40), L'\0');
            std::generate(data.begin(), data.end(), [&] { return random.Of(kUnits); });
            const auto bytes = static_cast<DWORD>(data.size() * 2 - (data.empty() ? 0 : random.Below(2)));
            const wchar_t* const name =
                random.Of({L"", L"1", L"99999999999", L"e0200804", L"Ime File", L"Layout Text", L"Profile", L"CLSID",
                           L"KeyboardLayout", L"Layout Display Name", L"Display Description", longName.c_str()});
            WriteRaw(root, path, name, random.OneIn(3) ? random.Below(13) : DWORD{REG_SZ}, data.data(), bytes);
        }
        t_report gathered;
        gathered.layouts = GatherLayouts();
        gathered.lists = GatherLists(gathered.layouts);
        gathered.findings = Judge(gathered);
        const std::string text = ToUtf8(RenderText(gathered));
        ASSERT_EQ(std::string::npos, text.find('\x7F'));
        RenderJson(gathered); // fails on a text that is no UTF-8
        const t_storedKey machine = ReadTree(HKEY_LOCAL_MACHINE), users = ReadTree(HKEY_USERS);
        const t_storedKey* const preload = users.Key(L".DEFAULT\\Keyboard Layout\\Preload");
        const t_list<t_hive>& hives = gathered.lists.hives;
        const auto desktop =
            std::find_if(hives.begin(), hives.end(), [](const t_hive& hive) { return hive.name == L".DEFAULT"; });
        std::ptrdiff_t shown = 0, unknown = 0;
        for (const t_storedValue& value : preload != nullptr ? preload->values : std::vector<t_storedValue>()) {
            shown += value.data.size() <= 0x10000;
        }
        ASSERT_EQ(shown, desktop != hives.end() ? std::ssize(desktop->preload) : 0);
        for (const t_hive& hive : hives) {
            for (const t_entry& entry : hive.preload) {
                const bool known = machine.Key(n_model::kLayouts + FormatStr(L"\\%08x", entry.klid)) != nullptr;
                ASSERT_EQ(known && entry.klid != 0, entry.known) << text;
                ASSERT_EQ(&hive == &*desktop ? n_model::Hex(entry.stored) : entry.klid, entry.klid) << text;
                unknown += entry.klid != 0 && !known;
            }
        }
        ASSERT_EQ(unknown,
                  std::count_if(gathered.findings.begin(), gathered.findings.end(),
                                [](const auto& finding) { return finding.code == L"preload-without-layout"s; }))
            << text;
    });
}
