#include "launch/process_launcher.h"

#include <gtest/gtest.h>
#include <shellapi.h>

#include "tests/chain_entries.h"
#include "tests/import_patch.h"
#include "tests/signed_modules/signed_modules.h"

namespace {

using t_shellPatch = ImmImportPatch<decltype(&ShellExecuteExW)>;

TEST(LaunchProcess, FailureAppendsItsTextAndAllAfterIt)
{
    const auto entriesFor = [](INT_PTR code) {
        const t_shellPatch shell("ShellExecuteExW", [=](SHELLEXECUTEINFOW* request) {
            request->hInstApp = reinterpret_cast<HINSTANCE>(code);
            SetLastError(1223);
            return FALSE;
        });
        t_errorChain errors;
        EXPECT_FALSE(LaunchProcess(errors, L"name", nullptr, nullptr, nullptr, SW_SHOW, 0));
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

// The program really runs, in its own folder, and nobody gets between check and start.
TEST(LaunchProcess, StartsTheFileThatWasChecked)
{
    const t_trustScope trust;
    const std::wstring program = SignedModule(L"started.exe");
    ASSERT_TRUE(CopyFileW(SignedModule(L"maker.exe").c_str(), program.c_str(), FALSE));
    const t_handle mail = MakeFileHandle(CreateMailslotW(L"\\\\.\\mailslot\\tarvo_launch_test", 0, 60000, nullptr));
    t_shellPatch shell("ShellExecuteExW", [&](SHELLEXECUTEINFOW* request) {
        EXPECT_FALSE(CopyFileW(SignedModule(L"unsigned.exe").c_str(), program.c_str(), FALSE));
        EXPECT_FALSE(MoveFileExW(program.c_str(), SignedModule(L"moved.exe").c_str(), MOVEFILE_REPLACE_EXISTING));
        EXPECT_FALSE(DeleteFileW(program.c_str()));
        return shell.Original(request);
    });
    t_errorChain errors;
    ASSERT_TRUE(LaunchProcess(errors, (L"\\\\?\\" + program).c_str(), nullptr, L"a \"b c\"", L"*", SW_HIDE, 0));
    wchar_t text[2048];
    DWORD bytes = 0;
    ASSERT_TRUE(ReadFile(mail.Get(), text, sizeof(text), &bytes, nullptr));
    EXPECT_EQ(std::wstring(text, bytes / 2), SignedModule(L"|\"" + program + L"\" a \"b c\""));
    for (int tries = 0; !DeleteFileW(program.c_str()) && tries < 1000; ++tries) {
        Sleep(10); // until the program has ended
    }
}

} // namespace
