#include <windows.h>

#include <gtest/gtest.h>

#include <imm.h>
#include <shellapi.h>
#include <wtsapi32.h>

#include <optional>

#include "app/dispatcher.h"
#include "base/singleton.h"
#include "tests/fake_os_version.h"
#include "tests/scratch_registry.h"

namespace {

constexpr wchar_t kLayouts[] = L"System\\CurrentControlSet\\Control\\Keyboard Layouts";
constexpr wchar_t kPreload[] = L"Keyboard Layout\\Preload";

// Runs one command line on an empty machine with both layouts registered, or none, and lists what it asked the system
// for.
std::wstring StepsOf(WORD major, WORD minor, const wchar_t* option, bool registered, bool refused = false,
                     t_actionMode mode = t_actionMode::Install)
{
    t_singletonRegistry::Process().DestroyAll();
    const t_scratchRegistry registry;
    const t_fakeOsVersion os(major, minor);
    MakeKey(HKEY_LOCAL_MACHINE, kLayouts);
    WriteText(HKEY_CURRENT_USER, kPreload, L"1", L"E0200804");
    WriteText(HKEY_CURRENT_USER, kPreload, L"2", L"00000804");
    if (registered) {
        WriteText(HKEY_LOCAL_MACHINE, std::wstring(kLayouts) + L"\\E0200804", L"Ime File", L"TarvoPY.ime");
        WriteText(HKEY_LOCAL_MACHINE, std::wstring(kLayouts) + L"\\E0210804", L"Ime File", L"TarvoTSF.ime");
    }

    std::wstring steps;
    ImmImportPatch<decltype(&ImmInstallIMEW)> install("ImmInstallIMEW", [&](LPCWSTR, LPCWSTR text) {
        steps += std::wstring(L"install ") + text + L"; ";
        return reinterpret_cast<HKL>(std::uintptr_t{0xE0300804});
    });
    ImmImportPatch<decltype(&UnloadKeyboardLayout)> unload("UnloadKeyboardLayout", [&](HKL layout) -> WINBOOL {
        steps += FormatStr(L"unload %I64x; ", reinterpret_cast<std::int64_t>(layout));
        return FALSE;
    });
    const auto start = [&](std::wstring parameters) -> WINBOOL {
        const std::size_t file = parameters.rfind(L'\\');
        parameters.erase(parameters.rfind(L" ", file) + 1, file - parameters.rfind(L" ", file));
        steps += parameters.substr(parameters.find(L"/s")) + L"; ";
        return TRUE;
    };
    ImmImportPatch<decltype(&ShellExecuteExW)> execute(
        "ShellExecuteExW", [&](SHELLEXECUTEINFOW* info) { return start(info->lpParameters); });
    ImmImportPatch<decltype(&CreateProcessW)> process("CreateProcessW",
                                                      [&](LPCWSTR, LPWSTR line, auto...) { return start(line); });
    // The only loaded layout is the classic one, and only for the action that looks at nothing else.
    ImmImportPatch<decltype(&GetKeyboardLayoutList)> list("GetKeyboardLayoutList", [&](int count, HKL* layouts) {
        if (count > 0) {
            *layouts = reinterpret_cast<HKL>(std::uintptr_t{0xE0200804});
        }
        return std::wstring_view(option) == L"--debug" && registered ? 1 : 0;
    });
    ImmImportPatch<decltype(&ImmGetIMEFileNameW)> file("ImmGetIMEFileNameW", [](HKL, LPWSTR buffer, UINT) {
        lstrcpyW(buffer, L"TARVOPY.IME");
        return 11u;
    });
    ImmImportPatch<decltype(&WTSQuerySessionInformationW)> session(
        "WTSQuerySessionInformationW", [](HANDLE, DWORD, WTS_INFO_CLASS, LPWSTR*, DWORD*) -> WINBOOL { return FALSE; });

    std::optional<ImmImportPatch<decltype(&RegOpenKeyExW)>> open;
    std::optional<ImmImportPatch<decltype(&RegCreateKeyExW)>> create;
    if (refused) {
        open.emplace("RegOpenKeyExW", [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
        create.emplace("RegCreateKeyExW", [](HKEY, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, LPSECURITY_ATTRIBUTES, PHKEY,
                                             LPDWORD) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    }
    std::wstring program = L"TarvoLayout.exe", text = option;
    wchar_t* arguments[] = {program.data(), text.data()};
    t_errorChain errors;
    EXPECT_TRUE(ParseAndDispatch(errors, arguments, text.empty() ? 1 : 2, &mode));
    EXPECT_TRUE(errors.IsEmpty());
    open.reset();
    create.reset();
    if (DumpKey(HKEY_CURRENT_USER, kPreload) == L"[]\n1=1:00000804\\0\n") {
        steps += L"preload without it; ";
    }
    t_singletonRegistry::Process().DestroyAll();
    return steps;
}

} // namespace

TEST(Dispatcher, EachModeRunsItsStepsOnEachSystem)
{
    constexpr wchar_t kNew[] = L"install 中文(简体) - 塔沃拼音输入法; ";
    constexpr wchar_t kOld[] = L"install 中文 (简体) - 塔沃拼音输入法; ";
    constexpr wchar_t kService[] = L"unload ffffffffe0200804; /s TarvoTSF.ime; preload without it; ";
    constexpr wchar_t kNoService[] =
        L"unload ffffffffe0210804; /s /u TarvoTSF.ime; unload ffffffffe0200804; preload without it; ";
    constexpr wchar_t kNoClassic[] = L"unload ffffffffe0200804; preload without it; ";
    struct t_case
    {
        WORD major, minor;
        const wchar_t* install;
        const wchar_t* copy;
        const wchar_t* uninstall;
    };
    const t_case cases[] = {
        {0, 0, kOld, kOld, kNoClassic}, // a version that cannot be had
        {5, 2, kOld, kOld, kNoClassic},         {6, 0, kNew, kOld, kNoClassic},
        {6, 1, kNew, kOld, kNoClassic},         {6, 2, kService, kService, kNoService},
        {6, 3, kService, kService, kNoService}, {10, 0, kService, kService, kNoService},
    };
    for (const t_case& c : cases) {
        SCOPED_TRACE(std::to_string(c.major) + "." + std::to_string(c.minor));
        const bool service = std::wstring_view(c.install) == kService;
        EXPECT_EQ(c.install, StepsOf(c.major, c.minor, L"", service));
        EXPECT_EQ(c.install, StepsOf(c.major, c.minor, L"--install", service));
        EXPECT_EQ(c.copy, StepsOf(c.major, c.minor, L"-c", service));
        EXPECT_EQ(c.copy, StepsOf(c.major, c.minor, L"--delete", service));
        EXPECT_EQ(c.copy, StepsOf(c.major, c.minor, L"", service, false, static_cast<t_actionMode>(5)));
        EXPECT_EQ(c.uninstall, StepsOf(c.major, c.minor, L"-u", true));
        EXPECT_EQ(L"preload without it; ", StepsOf(c.major, c.minor, L"--debug", true));
        EXPECT_EQ(L"", StepsOf(c.major, c.minor, L"--debug", false));
    }
}

TEST(Dispatcher, CommandLineThatCannotBeSplitIsRejected)
{
    t_errorChain errors;
    t_actionMode mode = t_actionMode::Install;
    EXPECT_FALSE(ParseAndDispatch(errors, nullptr, 0, &mode));
    EXPECT_EQ(L"参数不合法", errors.Entries().front());
}

TEST(Dispatcher, RefusedAccessChangesNothingAndTheStepsGoOn)
{
    for (const wchar_t* const option : {L"--install", L"--copy"}) {
        EXPECT_TRUE(StepsOf(5, 2, option, true, true).starts_with(L"install ")) << option;
        EXPECT_EQ(L"/s TarvoTSF.ime; ", StepsOf(10, 0, option, true, true)) << option;
    }
    EXPECT_EQ(L"", StepsOf(6, 1, L"--uninstall", true, true));
    EXPECT_EQ(L"/s /u TarvoTSF.ime; ", StepsOf(10, 0, L"--uninstall", true, true));
}
