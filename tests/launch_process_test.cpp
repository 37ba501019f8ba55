#include "launch/process_launcher.h"

#include <objbase.h>
#include <shellapi.h>

#include "tests/signed_modules/signed_modules.h"
#include "tests/windows_test.h"

namespace {

TEST(LaunchProcess, FailureAppendsItsTextAndAllAfterIt)
{
    const auto entriesFor = [](INT_PTR code) {
        REPLACE(shell, ShellExecuteExW, [=](auto* request) {
            request->hInstApp = reinterpret_cast<HINSTANCE>(code);
            SetLastError(1223);
            return FALSE;
        });
        t_errorChain errors;
        EXPECT_FALSE(LaunchProcess(errors, L"HTTPS://name", nullptr, nullptr, nullptr, SW_SHOW, 0));
        EXPECT_TRUE(errors.HasFailed());
        return Entries(errors);
    };
    const std::pair<INT_PTR, const wchar_t*> kOrder[] = {
        {0, L"out of memory or"},      {2, L"file was not found"},  {3, L"path was not found"},
        {11, L".exe file is invalid"}, {5, L"denied access"},       {27, L"is incomplete"},
        {30, L"being processed"},      {29, L"transaction failed"}, {28, L"timed out"},
        {32, L"(DLL) was not"},        {31, L"no application"},     {8, L"not enough memory"},
        {26, L"sharing violation"}};
    std::wstring all = entriesFor(0);
    for (const auto& [code, words] : kOrder) {
        EXPECT_EQ(entriesFor(code), all);
        const std::size_t first = all.find(L'|') + 1, second = all.find(L'|', first);
        EXPECT_LT(all.find(words), second) << code;
        all.erase(first - (second == all.npos), second - first + 1);
    }
    for (const INT_PTR code : {1, 4, 6, 7, 9, 10, 12, 25, 33}) {
        EXPECT_EQ(entriesFor(code), L"系统错误1223") << code;
    }
}

// The program really runs, in its own folder, and nobody gets between check and start: not with its file, and not with
// a class of programs, which this shell follows as that of Windows does.
TEST(LaunchProcess, StartsTheFileThatWasChecked)
{
    SKIP_WITHOUT_TRUST_SCOPE();
    const t_trustScope trust;
    const std::wstring program = SignedModule(L"started.EXE");
    const t_handle mail = MakeFileHandle(CreateMailslotW(L"\\\\.\\mailslot\\tarvo_launch_test", 0, 60000, nullptr));
    const auto tryToExchange = [&] {
        EXPECT_FALSE(CopyFileW(SignedModule(L"unsigned.exe").c_str(), program.c_str(), FALSE));
        EXPECT_FALSE(MoveFileExW(program.c_str(), SignedModule(L"moved.exe").c_str(), MOVEFILE_REPLACE_EXISTING));
        EXPECT_FALSE(DeleteFileW(program.c_str()));
    };
    std::wstring other;
    REPLACE(shell, ShellExecuteExW, [&](auto* request) {
        tryToExchange();
        request->lpFile = other.empty() ? request->lpFile : other.c_str();
        return shell.Original(request);
    });
    const std::wstring explorer = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\.exe\\";
    const std::pair<std::wstring, bool> kKeys[] = {
        {L"Software\\Classes\\txtfile", false}, {explorer + L"OpenWithList", false},
        {explorer + L"UserChoice", true},       {explorer + L"UserChoiceLatest", true},
        {L"Software\\Classes\\.exe", true},     {L"Software\\Classes\\exefile", true},
    };
    for (const auto& [key, isOfPrograms] : kKeys) {
        ASSERT_TRUE(CopyFileW(SignedModule(L"maker.exe").c_str(), program.c_str(), FALSE));
        REPLACE(direct, CreateProcessW, [&](auto... arguments) {
            tryToExchange();
            return direct.Original(arguments...);
        });
        MakeKey(HKEY_CURRENT_USER, key);
        other = isOfPrograms ? SignedModule(L"unsigned.exe") : L"";
        t_errorChain errors;
        ASSERT_TRUE(LaunchProcess(errors, (L"\\\\?\\" + program).c_str(), nullptr, L"a \"b c\"", L"*", SW_HIDE, 0));
        EXPECT_EQ(direct.calls, isOfPrograms) << key;
        wchar_t text[2048];
        DWORD bytes = 0;
        ASSERT_TRUE(ReadFile(mail.Get(), text, sizeof(text), &bytes, nullptr));
        EXPECT_EQ(std::wstring(text, bytes / 2), SignedModule(L"|\"" + program + L"\" a \"b c\""));
        for (int tries = 0; !DeleteFileW(program.c_str()) && tries < 1000; ++tries) {
            Sleep(10); // until the program has ended
        }
        RegDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
    }
}

// Where the user's classes cannot be looked at, a program is not given to the shell, but everything else is.
TEST(LaunchProcess, OnlyProgramsAreStartedWithoutTheShell)
{
    SKIP_WITHOUT_TRUST_SCOPE();
    const t_trustScope trust;
    REPLACE(classes, RegOpenKeyExW, [](HKEY, LPCWSTR, DWORD, REGSAM, HKEY*) { return ERROR_ACCESS_DENIED; });
    std::wstring toShell, shellFolder;
    REPLACE(shell, ShellExecuteExW, [&](auto* request) {
        EXPECT_EQ(0xFFCFFD80, request->fMask) << "no bit that changes what is asked";
        toShell = request->lpFile, shellFolder = request->lpDirectory;
        return TRUE;
    });
    HRESULT entered = S_OK;
    REPLACE(enter, CoInitializeEx, [&](auto...) { return entered; });
    REPLACE(leave, CoUninitialize, [] {});
    REPLACE(direct, CreateProcessW,
            [](auto, LPWSTR line, auto, auto, BOOL inherit, auto, auto, LPCWSTR folder, auto* startup, auto) {
                EXPECT_EQ(line, L'"' + SignedModule(L"maker.exe") + L'"');
                EXPECT_FALSE(inherit);
                EXPECT_EQ(folder, SignedModule(L"").substr(0, SignedModule(L"").size() - 1));
                EXPECT_EQ(startup->dwFlags, static_cast<DWORD>(STARTF_USESHOWWINDOW));
                EXPECT_EQ(startup->wShowWindow, SW_SHOWMINIMIZED);
                return SetLastError(740), FALSE;
            });
    const auto launch = [&](const std::wstring& program) {
        t_errorChain errors;
        toShell.clear();
        const bool started = LaunchProcess(errors, program.c_str(), nullptr, nullptr, L"*", SW_SHOWMINIMIZED, ~0u);
        EXPECT_EQ(started, !errors.HasFailed());
        EXPECT_EQ(toShell, started ? program : L"");
        return Entries(errors);
    };
    const std::wstring program = SignedModule(L"maker.exe"), document = SignedModule(L"listed 0.dat");
    EXPECT_EQ(launch(program), L"系统错误740|无法启动 " + program);
    std::ofstream(document.c_str()).close();
    EXPECT_EQ(launch(document), L"");
    entered = RPC_E_CHANGED_MODE;
    for (const auto& [address, folder] : {std::pair{L"https://x/y.exe", L""}, {L"HTTP://x:\\y", L"HTTP://x:\\"}}) {
        EXPECT_EQ(launch(address), L"");
        EXPECT_EQ(shellFolder, folder);
    }
    EXPECT_EQ(leave.calls, 1) << "once for each time that it was entered";
    for (const wchar_t* const refused : {L"file:///C:/x.exe", L"shell:AppsFolder", L"ms-settings:x", L"mailto:x",
                                         L"http:x", L"https:/x", L"x.exe", L"x", L""}) {
        EXPECT_EQ(launch(refused), FormatStr(L"模块校验失败:%s 不是驱动器或网络上的完整路径", refused));
    }
}

} // namespace
