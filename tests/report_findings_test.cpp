// What the report makes of a machine that was gathered: findings, text and JSON.
#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "report/findings.h"
#include "report/json.h"
#include "report/log_tail.h"
#include "report/stored_text.h"
#include "report/text.h"
#include "report/utf8.h"

using namespace n_report;
using namespace std::string_literals;

namespace {

constexpr wchar_t kPy[] = L"TarvoPY.ime", kTsf[] = L"TarvoTSF.ime";

const t_layout kClassic{0xE0200804, 0, 0, L"", L"", L"", kPy, L"", L"", false, {}},
    kService{0, 0, 0x0804, L"{A}", L"{B}", kTsf, L"", L"", L"C:\\TarvoTSF.ime", false, {}};
const t_entry kOtherEntry{L"1", L"00000804", 0x0804, true, L"", L"布局", L""},
    kClassicEntry{L"2", L"e0200804", 0xE0200804, true, kPy, L"布局", L""};

t_module Module(const wchar_t* name)
{
    return {{name, FormatStr(L"C:\\%s", name), true, 4096, L"1.0.0.1", true, L"accepted"}, {}, {}, {}};
}

// A machine on which nothing is wrong.
t_report Healthy(bool windows8)
{
    t_report report;
    report.system.windows8OrLater = windows8;
    report.product.version = L"8.5.0.1234";
    report.modules = {Module(kPy), Module(kTsf)};
    report.layouts.records = {windows8 ? kService : kClassic};
    report.lists.hives = {{L"user", true, {kOtherEntry, kClassicEntry}, {}, {}, {}},
                          {L"logon", false, {kOtherEntry}, {}, {}, {}}};
    report.lists.hives[0].preload.resize(windows8 ? 1 : 2);
    return report;
}

t_list<t_entry>& Preload(t_report& report, std::size_t hive)
{
    return report.lists.hives[hive].preload;
}

const t_entry kServiceEntry{L"2", L"00000804", 0x0804, true, kTsf, L"", L""};

} // namespace

TEST(Findings, EveryKindShowsOnTheMachineThatHasItAndOnlyThere)
{
    const auto uninstall = [](t_report& r) {
        r.product.version.clear();
        r.modules[0].file.present = r.modules[1].file.present = false;
        r.layouts.records.clear();
        Preload(r, 0).resize(1);
    };
    // What report_faults.expected shows of every Windows is left to it. A change, and the codes; behind "|" those since
    // Windows 8, where they differ.
    const std::pair<std::function<void(t_report&)>, std::wstring> rows[] = {
        {[](t_report&) {}, L""},
        {uninstall, L""},
        // lists
        {[](t_report& r) { Preload(r, 1)[0].known = false; }, L"preload-without-layout"},
        {[](t_report& r) { Preload(r, 1)[0].known = false, Preload(r, 1)[0].klid = 0; }, L""},
        {[](t_report& r) { Preload(r, 0).push_back(kClassicEntry); }, L"layout-listed-twice|"}, // then one
        {[](t_report& r) { Preload(r, 0).resize(1); }, L"layout-not-listed|"},
        {[](t_report& r) { Preload(r, 0).resize(1), r.lists.hives[0].unseen.resize(1); }, L""},
        {[](t_report& r) { Preload(r, 1).push_back(kClassicEntry); }, L"product-on-logon-desktop"},
        {[](t_report& r) { Preload(r, 1).push_back(kServiceEntry); }, L"product-on-logon-desktop"},
        // registration
        {[](t_report& r) { r.layouts.records.push_back(kClassic); }, L"|classic-layout-left"},
        {[](t_report& r) { r.layouts.records.push_back(kService); }, L"text-service-too-early|"},
        {[](t_report& r) { r.layouts.records.clear(); }, L"layout-missing|text-service-missing"},
        {[&](t_report& r) { uninstall(r), r.modules[0].file.present = true; }, L"layout-missing|"},
        {[&](t_report& r) { uninstall(r), r.modules[1].file.present = true; }, L"|text-service-missing"},
        {[](t_report& r) { r.layouts.records[0].serverMissing = true; }, L"|text-service-without-module"},
        {[](t_report& r) { r.layouts.records[0].serverMissing = true, r.modules[1].file.present = false; },
         L"|text-service-without-module"},
        // modules
        {[](t_report& r) { r.modules[0].file.present = false; }, L"module-missing|"},
        {[](t_report& r) { r.modules[1].file.present = false; }, L"|module-missing"},
        {[](t_report& r) { r.modules[0].file.present = false, r.product.version.clear(); }, L"module-missing|"},
        {[](t_report& r) { r.modules[1].file.genuine = false; }, L"module-unsigned"},
        {[](t_report& r) { r.modules[0].file.present = r.modules[0].file.genuine = false; }, L"module-missing|"},
        {[](t_report& r) { r.modules[0].holders.resize(2); }, L"module-in-use"},
        // the rest
        {[](t_report& r) { r.system.hooked.resize(2); }, L"hooked-function hooked-function"},
        {[](t_report& r) { r.lists.hives[1].hidden.resize(1), r.lists.hives[1].hidden[0].odd = L"x"; }, L"odd-value"},
    };
    for (const auto& row : rows) {
        const auto& [change, expected] = row;
        const std::size_t bar = expected.find(L'|');
        for (const bool windows8 : {false, true}) {
            t_report report = Healthy(windows8);
            change(report);
            std::wstring codes;
            for (const t_finding& finding : Judge(report)) {
                EXPECT_FALSE(finding.mend.empty()) << ToUtf8(finding.code);
                codes += (codes.empty() ? L"" : L" ") + std::wstring(finding.code);
            }
            EXPECT_EQ(windows8 && bar != expected.npos ? expected.substr(bar + 1) : expected.substr(0, bar), codes)
                << "row " << &row - rows;
        }
    }
}

// A machine with what no machine of the end-to-end runs has, and something in every place of the JSON.
TEST(Rendering, ShowsWhatOnlyRareMachinesHave)
{
    t_report report;
    report.system = {L"6.1.7601", L"6.1 SP1", L"6.1",       false, true,      true,         L"high",   1,
                     L"PC\\张三", 936,        L"C:\\b.exe", L"",   L"choice", {L"a.dll!F"}, {L"x.dll"}};
    report.product = {L"8.5.0.1234",
                      L"1234",
                      {L"C:\\T", L"registry"},
                      {L"C:\\T\\Data", L"path"},
                      {},
                      L"C:\\env.ini",
                      L"D:\\用户",
                      {{L"EnErrorLog", 3}, {L"EnablePerf", {}}},
                      L"C:\\r.ini",
                      {{L"switch", L"sapi", L"0", L"1"}},
                      {{L"a.exe", L"C:\\T\\a.exe", false, 0, L"", false, L""}},
                      {{L"C:\\T\\a", L"C:\\T\\b", true}},
                      {L"runtime"}};
    report.modules = {Module(kPy)};
    report.modules[0].holders = {{12, L"记事本.exe"}, {13, L"b.exe"}};
    report.modules[0].pending = {{L"C:\\py", L"", false}};
    report.modules[0].unseen = {L"programs"};
    report.layouts.records = {
        {0, 0xFFFFFFFFF0010804, 0x0804, L"{A}", L"{B}", kTsf, L"", L"", L"C:\\TarvoTSF.ime", true, {L"odd"}}};
    report.layouts.unseen = {L"layouts"};
    report.lists.hives = {{L"S-1",
                           true,
                           {{L"03", L"e0990804\n", 0xE0990804, false, L"", L"", L"odd"}},
                           {kClassicEntry},
                           {kOtherEntry},
                           {L"hive"}}};
    report.messages = {{{L"错误\t一", true}}, {{L"C:\\error.log", {L"第一行", L"第二行"}}}, {L"messages"}};
    report.findings = {{L"code", L"what", L"mend"}};
    const auto flat = [](const std::string& text) { return std::regex_replace(text, std::regex("\n *"), ""); };
    const std::string json = RenderJson(report);
    EXPECT_TRUE(json.starts_with("{\n  \"schema\": 1,\n  \"system\": {")) << json;
    EXPECT_EQ(flat(R"({"schema": 1,
"system": {"version": {"kernel32": "6.1.7601","kernel": "6.1 SP1","documented": "6.1"},"windows8OrLater": false,
 "elevated": true,"integrity": "high","session": 1,"user": "PC\\张三","codePage": 936,"safeMode": true,
 "browser": {"path": "C:\\b.exe","arguments": null,"source": "choice"},"hooked": ["a.dll!F"],"unseen": ["x.dll"]},
"product": {"version": "8.5.0.1234","build": "1234","installPath": {"path": "C:\\T","source": "registry"},
 "dataPath": {"path": "C:\\T\\Data","source": "path"},"userPath": {"path": null,"source": null},
 "env": {"file": "C:\\env.ini","userPath": "D:\\用户"},"switches": {"EnErrorLog": 3,"EnablePerf": null},
 "config": {"file": "C:\\r.ini","settings": [{"section": "switch","key": "sapi","value": "0","default": "1"}]},
 "files": [{"name": "a.exe","path": "C:\\T\\a.exe","present": false,"bytes": null,"version": null,"genuine": false,
 "verification": null}],"pending": [{"source": "C:\\T\\a","target": "C:\\T\\b","replaces": true}],
 "unseen": ["runtime"]},
"modules": [{"name": "TarvoPY.ime","path": "C:\\TarvoPY.ime","present": true,"bytes": 4096,"version": "1.0.0.1",
 "genuine": true,"verification": "accepted","loadedBy": [{"name": "记事本.exe","processId": 12},{"name": "b.exe",
 "processId": 13}],"pending": [{"source": "C:\\py","target": null,"replaces": false}],"unseen": ["programs"]}],
"layouts": {"records": [{"klid": "00000000","handle": "FFFFFFFFF0010804","language": "0804","name": null,
 "imeFile": "TarvoTSF.ime","service": "{A}","profile": "{B}","server": "C:\\TarvoTSF.ime","serverMissing": true,
 "odd": ["odd"]}],"unseen": ["layouts"]},
"lists": {"hives": [{"name": "S-1","loggedOn": true,"preload": [{"key": "03","stored": "e0990804\n","klid": "E0990804",
 "known": false,"name": null,"odd": "odd"}],"sortOrder": [{"key": "2","stored": "e0200804","klid": "E0200804",
 "known": true,"name": "布局","odd": null}],"hidden": [{"key": "1","stored": "00000804","klid": "00000804",
 "known": true,"name": "布局","odd": null}],"unseen": ["hive"]}],"defaultUserLoaded": false},
"messages": {"unread": [{"text": "错误\t一","flag": true}],"logs": [{"path": "C:\\error.log","lines": ["第一行",
 "第二行"]}],"unseen": ["messages"]},
"findings": [{"code": "code","what": "what","mend": "mend"}]})"),
              flat(json));

    report.messages.logs[0].lines[1] = L"第二\x9F行";
    report.findings = Judge(report);
    const std::string text = ToUtf8(RenderText(report));
    for (const char* const part : {
             "\n  Safe mode: yes\n",
             "arguments: none (from choice)\n  Hooked: a.dll!F\n  Not seen: x.dll\n\nProduct",
             "\n  User path: unknown\n",
             "\n  Not seen: runtime\n\nModules",
             "accepted\n    Loaded by 记事本.exe (12)\n    Loaded by b.exe (13)\n    After a restart: C:\\py",
             " is deleted\n    Not seen: programs\n",
             " handle FFFFFFFFF0010804 language 0804 (no name), TarvoTSF.ime\n",
             "\n    (flagged) 错误\xEF\xBF\xBD一\n  C:\\error.log\n    第一行\n    第二\xEF\xBF\xBD行\n  Not seen",
             "\n  module-in-use: C:\\TarvoPY.ime is loaded by 记事本.exe (12), b.exe (13).\n    End these programs, or",
             "\n  hooked-function: The code of a.dll!F is not that of its file.\n    Find the program that does this",
         }) {
        EXPECT_NE(text.npos, text.find(part)) << part << "\n" << text;
    }
}

TEST(StoredText, TellsWhatWindowsWouldNotHaveWritten)
{
    const std::string digits = "E\0000\0002\0000\0000\0008\0000\0004\0"s, end = "\0\0"s;
    const std::tuple<const wchar_t*, std::uint32_t, std::string, const wchar_t*> rows[] = {
        // name, type and data; "text|klid|oddities"
        {L"10", 1, digits, L"E0200804|e0200804|no terminator"},
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
    for (const auto& [name, type, data, expected] : rows) {
        std::uint32_t klid = 1;
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(data.data());
        const t_storedText stored = ReadPreloadText(name, type, {bytes, data.size()}, klid);
        EXPECT_EQ(expected, stored.text + FormatStr(L"|%x|", klid) + stored.odd);
    }
}

TEST(Utf8, EncodesEveryLengthAndReplacesSingleSurrogates)
{
    EXPECT_EQ("aé中\xF0\x9F\x98\x80", ToUtf8(L"aé中\xD83D\xDE00"));
    EXPECT_EQ("\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD", ToUtf8(L"\xD83Dx\xDE00\xD83D"));
    EXPECT_EQ("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", ToUtf8(L"\xD800\xDC00\xDBFF\xDFFF"));
    EXPECT_EQ("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", ToUtf8(L"\x7F\x80\x7FF\x800\xFFFF"));
}

TEST(LogTail, ReadsTheLastWholeLines)
{
    const std::string log = "\xFF\xFE" + "a\0\r\0\n\0\x2D\x4E\r\0\n\0c\0\r\0\n\0"s;
    const std::tuple<std::string, bool, std::size_t, t_texts> rows[] = {
        {log, true, 2, {L"中", L"c"}},
        {log, false, 9, {L"中", L"c"}},
        {"d\0e"s, true, 9, {L"d"}}, // half a character, no line end
        {"", true, 9, {}},
        {"x", false, 9, {}}};
    for (const auto& [bytes, whole, count, lines] : rows) {
        EXPECT_EQ(lines, LastLines(bytes, whole, count));
    }
}
