// What the report makes of a machine that was gathered: findings, text and JSON.
#include <gtest/gtest.h>

#include <functional>

#include "report/findings.h"
#include "report/json.h"
#include "report/log_tail.h"
#include "report/options.h"
#include "report/stored_text.h"
#include "report/text.h"
#include "report/utf8.h"

using namespace n_report;
using namespace std::string_literals;

namespace {

constexpr wchar_t kPy[] = L"TarvoPY.ime", kTsf[] = L"TarvoTSF.ime";

t_module Module(const wchar_t* name)
{
    t_module module;
    module.file = {name, FormatStr(L"C:\\windows\\system32\\%s", name), true, 4096, L"1.0.0.1", true, L"signed"};
    return module;
}

t_entry Entry(const wchar_t* key, std::uint32_t klid, const wchar_t* imeFile = L"")
{
    return {key, FormatStr(L"%08x", klid), klid, true, imeFile, L"布局", L""};
}

t_layout Classic(std::uint32_t klid)
{
    t_layout layout;
    layout.klid = klid;
    layout.langId = 0x0804;
    layout.imeFile = layout.keyImeFile = kPy;
    layout.name = L"中文(简体) - 塔沃拼音输入法";
    return layout;
}

t_layout Service()
{
    t_layout layout;
    layout.klid = 0x0804;
    layout.langId = 0x0804;
    layout.service = L"{A}", layout.profile = L"{B}";
    layout.imeFile = kTsf;
    layout.server = FormatStr(L"C:\\windows\\system32\\%s", kTsf);
    return layout;
}

// A machine on which nothing is wrong.
t_report Healthy(bool windows8)
{
    t_report report;
    report.system.windows8OrLater = windows8;
    report.product.version = L"8.5.0.1234";
    report.modules = {Module(kPy), Module(kTsf)};
    report.layouts.records = {windows8 ? Service() : Classic(0xE0200804)};
    t_hive user, logon;
    user.name = L"S-1-5-21-1";
    user.loggedOn = true;
    user.preload = {Entry(L"1", 0x0804)};
    if (!windows8) {
        user.preload.push_back(Entry(L"2", 0xE0200804, kPy));
    }
    logon.name = L".DEFAULT";
    logon.preload = {Entry(L"1", 0x0804)};
    report.lists.hives = {user, logon};
    return report;
}

std::wstring Codes(const t_report& report)
{
    std::wstring codes;
    for (const t_finding& finding : Judge(report)) {
        EXPECT_FALSE(finding.mend.empty()) << ToUtf8(finding.code);
        codes += finding.code + L" "s;
    }
    return codes;
}

struct t_findingRow
{
    bool windows8;
    std::function<void(t_report&)> change;
    const wchar_t* codes;
};

} // namespace

TEST(Findings, EveryKindShowsOnTheMachineThatHasItAndOnlyThere)
{
    const auto removeUserEntry = [](t_report& r) { r.lists.hives[0].preload.pop_back(); };
    const auto addToUser = [](t_report& r) { r.lists.hives[0].preload.push_back(Entry(L"3", 0xE0300804, kPy)); };
    const auto addToLogon = [](t_report& r) { r.lists.hives[1].preload.push_back(Entry(L"2", 0xE0200804, kPy)); };
    const auto noLayouts = [](t_report& r) { r.layouts.records.clear(); };
    const auto noProduct = [](t_report& r) {
        r.product.version.clear();
        r.modules[0].file.present = r.modules[1].file.present = false;
        r.layouts.records.clear();
        r.lists.hives[0].preload.resize(1);
    };
    const t_findingRow rows[] = {
        {false, [](t_report&) {}, L""},
        {true, [](t_report&) {}, L""},
        {false, noProduct, L""},
        {true, noProduct, L""},
        // lists
        {false, [](t_report& r) { r.lists.hives[1].preload[0].known = false; }, L"preload-without-layout "},
        {false, [](t_report& r) { r.lists.hives[1].preload[0] = {L"1", L"x", 0, false, L"", L"", L""}; }, L""},
        {false, addToUser, L"layout-listed-twice "},
        {true, addToUser, L""}, // one entry
        {false, removeUserEntry, L"layout-not-listed "},
        {false,
         [&](t_report& r) {
             removeUserEntry(r);
             r.lists.hives[0].unseen = {L"denied"};
         },
         L""},
        {true, removeUserEntry, L""},
        {false, addToLogon, L"product-on-logon-desktop "},
        {true, addToLogon, L"product-on-logon-desktop "},
        {false, [](t_report& r) { r.lists.defaultUserLoaded = true; }, L"default-user-loaded "},
        // registration
        {true, [](t_report& r) { r.layouts.records.push_back(Classic(0xE0200804)); }, L"classic-layout-left "},
        {false, [](t_report& r) { r.layouts.records.push_back(Service()); }, L"text-service-too-early "},
        {true, noLayouts, L"text-service-missing "},
        {false, noLayouts, L"layout-missing "},
        {false,
         [&](t_report& r) {
             noProduct(r);
             r.modules[0].file.present = true;
         },
         L"layout-missing "},
        {true, [](t_report& r) { r.layouts.records[0].serverMissing = true; }, L"text-service-without-module "},
        {true,
         [](t_report& r) {
             r.layouts.records[0].serverMissing = true;
             r.modules[1].file.present = false;
         },
         L"text-service-without-module "},
        // modules
        {true, [](t_report& r) { r.modules[0].file.present = false; }, L""}, // not needed here
        {true, [](t_report& r) { r.modules[1].file.present = false; }, L"module-missing "},
        {false, [](t_report& r) { r.modules[0].file.present = false; }, L"module-missing "},
        {false,
         [](t_report& r) {
             r.modules[0].file.present = false;
             r.product.version.clear();
         },
         L"module-missing "},
        {false, [](t_report& r) { r.modules[1].file.genuine = false; }, L"module-unsigned "},
        {false, [](t_report& r) { r.modules[0].file.present = r.modules[0].file.genuine = false; }, L"module-missing "},
        {false,
         [](t_report& r) {
             r.modules[0].holders = {{12, L"a.exe"}, {13, L"b.exe"}};
         },
         L"module-in-use "},
        {false,
         [](t_report& r) {
             r.modules[0].pending = {{L"C:\\a", L"", false}};
         },
         L"pending-file-operation "},
        {false,
         [](t_report& r) {
             r.product.pending = {{L"C:\\a", L"C:\\b", true}};
         },
         L"pending-file-operation "},
        // the rest
        {false,
         [](t_report& r) {
             r.system.hooked = {L"a!b", L"a!c"};
         },
         L"hooked-function hooked-function "},
        {false, [](t_report& r) { r.layouts.records[0].odd = {L"x"}; }, L"odd-value "},
        {false, [](t_report& r) { r.lists.hives[1].preload[0].odd = L"x"; }, L"odd-value "},
        {false,
         [](t_report& r) {
             r.lists.hives[1].sortOrder = {{L"0", L"", 0, true, L"", L"", L"x"}};
         },
         L"odd-value "},
        {false,
         [](t_report& r) {
             r.lists.hives[1].hidden = {{L"1", L"", 0, true, L"", L"", L"x"}};
         },
         L"odd-value "},
    };
    for (const t_findingRow& row : rows) {
        t_report report = Healthy(row.windows8);
        row.change(report);
        EXPECT_EQ(row.codes, Codes(report)) << "row " << &row - rows;
    }
}

namespace {

// A machine with something in every place.
t_report Full()
{
    t_report report = Healthy(false);
    report.system = {L"6.1.7601",
                     L"6.1 SP1",
                     L"6.1",
                     false,
                     false,
                     true,
                     L"high (0x3000)",
                     1,
                     L"PC\\张三",
                     936,
                     L"C:\\b.exe",
                     L"",
                     L"class \"http\"",
                     {L"a.dll!F"},
                     {L"x.dll: its file cannot be read"}};
    report.product.build = L"1234";
    report.product.installPath = {L"C:\\Tarvo", L"the registry"};
    report.product.envFile = L"C:\\env.ini";
    report.product.envUserPath = L"D:\\用户";
    report.product.switches = {{L"EnErrorLog", 3}, {L"EnablePerf", {}}};
    report.product.configFile = L"C:\\Tarvo\\Data\\runtime.ini";
    report.product.settings = {{L"pcaccountmanager", L"pcam", L"0", L"1"}};
    report.product.files = {{L"TarvoExe.exe", L"C:\\Tarvo\\TarvoExe.exe", false, 0, L"", false, L""}};
    report.product.pending = {{L"C:\\Tarvo\\a", L"C:\\Tarvo\\b", true}};
    report.modules[0].holders = {{12, L"记事本.exe"}};
    report.modules[1].file.genuine = false;
    report.modules[1].file.verification = L"no signature";
    report.layouts.records.push_back(Service());
    report.layouts.records[1].serverMissing = true;
    report.layouts.records[1].handle = 0xFFFFFFFFF0010804;
    report.lists.hives[0].preload.push_back({L"03", L"e0990804\n", 0xE0990804, false, L"", L"", L"no terminator"});
    report.lists.hives[0].hidden = {Entry(L"1", 0xE0200804, kPy)};
    report.lists.hives[1].unseen = {L"HKEY_USERS\\.DEFAULT: 系统错误5"};
    report.messages.unread = {{L"错误\t一", true}};
    report.messages.logs = {{L"C:\\error.log", {L"第一行", L"第二\x9F行"}}};
    report.findings = Judge(report);
    return report;
}

} // namespace

TEST(Rendering, ShowsEverythingAsText)
{
    EXPECT_EQ(R"(System
  Windows, by kernel32.dll: 6.1.7601
  Windows, by the kernel's call: 6.1 SP1
  Windows, by the documented call: 6.1
  Input method used: classic
  Elevated: yes
  Integrity: high (0x3000)
  Session: 1
  Logged-on user: PC\张三
  Code page: 936
  Safe mode: no
  Default browser: C:\b.exe, arguments: none (from class "http")
  Hooked: a.dll!F
  Not seen: x.dll: its file cannot be read

Product
  Version: 8.5.0.1234
  Build: 1234
  Install path: C:\Tarvo (from the registry)
  Data path: unknown
  User path: unknown
  env.ini: C:\env.ini
    [user] path=D:\用户
  EnErrorLog: 3
  EnablePerf: not set
  runtime.ini: C:\Tarvo\Data\runtime.ini
    [pcaccountmanager] pcam=0 (default: 1)
  C:\Tarvo\TarvoExe.exe: missing
  After a restart: C:\Tarvo\a becomes C:\Tarvo\b, which it replaces

Modules
  C:\windows\system32\TarvoPY.ime: 4096 bytes, version 1.0.0.1, signed
    Loaded by 记事本.exe (12)
  C:\windows\system32\TarvoTSF.ime: 4096 bytes, version 1.0.0.1, no signature

Layouts: 2
  E0200804 handle 00000000 language 0804 中文(简体) - 塔沃拼音输入法, TarvoPY.ime
  00000804 handle FFFFFFFFF0010804 language 0804 (no name), TarvoTSF.ime
    Text service {A}, profile {B}
    Server: C:\windows\system32\TarvoTSF.ime, missing

Lists
  S-1-5-21-1 (the user who is logged on)
    Preload list:
      1: 00000804 布局
      2: e0200804 布局
      03: e0990804� (no layout stands behind it); odd: no terminator
    Hidden layouts:
      1: e0200804 布局
  .DEFAULT
    Preload list:
      1: 00000804 布局
    Not seen: HKEY_USERS\.DEFAULT: 系统错误5
  "default_user" loaded: no

Messages
  Unread in the shared error list: 1
    (flagged) 错误�一
  C:\error.log
    第一行
    第二�行

Findings: 8
  text-service-too-early: The text service of TarvoTSF.ime is registered, which only Windows 8 and later use.
    Run regsvr32.exe /u TarvoTSF.ime as an administrator.
  text-service-without-module: The text service is registered, but its module C:\windows\system32\TarvoTSF.ime is missing.
    Install the product again from the maker's setup package.
  module-in-use: C:\windows\system32\TarvoPY.ime is loaded by 记事本.exe (12).
    End these programs, or restart Windows, before it is replaced or deleted.
  module-unsigned: C:\windows\system32\TarvoTSF.ime is not known as the maker's own: no signature
    Install the product again from the maker's setup package.
  pending-file-operation: C:\Tarvo\a waits for a restart to become C:\Tarvo\b.
    Restart Windows.
  preload-without-layout: Entry "03" of the preload list of S-1-5-21-1 names E0990804, which is no registered layout.
    Delete the value "03" of "Keyboard Layout\Preload" in S-1-5-21-1, or the language in the language settings.
  hooked-function: The code of a.dll!F is not that of its file.
    Find the program that does this, often a security program, and update or remove it.
  odd-value: Entry "03" of the preload list of S-1-5-21-1: no terminator.
    Correct the value with the registry editor.
)",
              ToUtf8(RenderText(Full())));
}

TEST(Rendering, ShowsTheSameAsJson)
{
    const std::string json = RenderJson(Full());
    for (const char* const part : {
             R"("kernel32": "6.1.7601")",
             R"("user": "PC\\张三")",
             R"("arguments": null)",
             R"("EnablePerf": null)",
             R"("installPath": {
      "path": "C:\\Tarvo",
      "source": "the registry"
    })",
             R"("loadedBy": [
        {
          "name": "记事本.exe",
          "processId": 12
        }
      ])",
             R"("handle": "FFFFFFFFF0010804")",
             R"("serverMissing": true)",
             R"({
            "key": "03",
            "stored": "e0990804\n",
            "klid": "E0990804",
            "known": false,
            "name": null,
            "odd": "no terminator"
          })",
             R"("text": "错误\t一",
        "flag": true)",
             R"({
      "code": "pending-file-operation",
      "what": "C:\\Tarvo\\a waits for a restart to become C:\\Tarvo\\b.",
      "mend": "Restart Windows."
    })",
         }) {
        EXPECT_NE(json.npos, json.find(part)) << part << "\n" << json;
    }
    EXPECT_TRUE(json.starts_with("{\n  \"schema\": 1,\n  \"system\": {")) << json;
    EXPECT_TRUE(json.ends_with("}\n")) << json;
}

TEST(StoredText, TellsWhatWindowsWouldNotHaveWritten)
{
    struct t_row
    {
        const wchar_t* name;
        std::uint32_t type;
        std::string data;
        const wchar_t* expected; // "text|klid|oddities"
    };
    const std::string digits = "E\0000\0002\0000\0000\0008\0000\0004\0"s, end = "\0\0"s;
    const t_row rows[] = {
        {L"1", 1, digits + end, L"E0200804|e0200804|"},
        {L"10", 1, digits, L"E0200804|e0200804|no terminator"},
        {L"1", 2, digits + end, L"E0200804|e0200804|type REG_EXPAND_SZ instead of REG_SZ"},
        {L"1", 7, digits + end + end, L"E0200804|e0200804|type REG_MULTI_SZ instead of REG_SZ"},
        {L"1", 4, "1234", L"|0|type REG_DWORD instead of REG_SZ, not eight hexadecimal digits"},
        {L"1", 99, "", L"|0|type 99 instead of REG_SZ, not eight hexadecimal digits"},
        {L"1", 1, "", L"|0|no terminator, not eight hexadecimal digits"},
        {L"1", 1, digits + end + "x", L"E0200804|e0200804|19 bytes, half a character"},
        {L"1", 1, digits + end + "x\0y\0"s, L"E0200804|e0200804|2 characters behind its terminator"},
        {L"1", 1, "8\0000\0004\0"s + end, L"804|804|not eight hexadecimal digits"},
        {L"01", 1, digits + end, L"E0200804|e0200804|its name is no place in the list"},
        {L"", 1, digits + end, L"E0200804|e0200804|its name is no place in the list"},
        {L"1x", 1, digits + end, L"E0200804|e0200804|its name is no place in the list"},
    };
    for (const t_row& row : rows) {
        std::uint32_t klid = 1;
        const auto* const data = reinterpret_cast<const std::uint8_t*>(row.data.data());
        const t_storedText stored = ReadPreloadText(row.name, row.type, {data, row.data.size()}, klid);
        EXPECT_EQ(row.expected, stored.text + FormatStr(L"|%x|", klid) + stored.odd);
    }
}

TEST(Utf8, EncodesEveryLengthAndReplacesSingleSurrogates)
{
    EXPECT_EQ("aé中\xF0\x9F\x98\x80", ToUtf8(L"aé中\xD83D\xDE00"));
    EXPECT_EQ("\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD", ToUtf8(L"\xD83Dx\xDE00\xD83D"));
    EXPECT_EQ("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", ToUtf8(L"\x7F\x80\x7FF\x800\xFFFF"));
}

TEST(LogTail, ReadsTheLastWholeLines)
{
    const auto lines = [](const std::string& bytes, bool whole, std::size_t count) {
        std::wstring text;
        for (const t_str& line : LastLines(bytes, whole, count)) {
            text += line + L"|";
        }
        return text;
    };
    const std::string log = "\xFF\xFE" + "a\0\r\0\n\0\x2D\x4E\r\0\n\0c\0\r\0\n\0"s;
    EXPECT_EQ(L"a|中|c|", lines(log, true, 9));
    EXPECT_EQ(L"中|c|", lines(log, true, 2));
    EXPECT_EQ(L"中|c|", lines(log, false, 9));
    EXPECT_EQ(L"d|", lines("d\0e"s, true, 9)); // half a character, no line end
    EXPECT_EQ(L"", lines("", true, 9));
    EXPECT_EQ(L"", lines("x", false, 9));
}

TEST(ReportOptions, AreThreeAndNothingElse)
{
    struct t_row
    {
        std::vector<const wchar_t*> arguments;
        const wchar_t* expected; // "json help output", or the problem
    };
    const t_row rows[] = {
        {{}, L"0 0 "},
        {{L"--json", L"--output", L"--help"}, L"1 0 --help"},
        {{L"--output", L"a", L"--help", L"--output", L"b"}, L"0 1 b"},
        {{L"--output"}, L"--output wants a file"},
        {{L"--output", L""}, L"--output wants a file"},
        {{L"--help", L"-json"}, L"unknown argument \"-json\"; see --help"},
        {{L""}, L"unknown argument \"\"; see --help"},
    };
    for (const t_row& row : rows) {
        t_options options;
        t_str problem;
        const bool valid = ParseOptions(row.arguments, options, problem);
        EXPECT_EQ(row.expected, valid ? FormatStr(L"%d %d %s", static_cast<int>(options.json),
                                                  static_cast<int>(options.help), options.output.c_str())
                                      : problem);
    }
}
