#include "tests/windows_test.h"

#include <imm.h>

#include "base/handles.h"
#include "diag/message_box.h"
#include "diag/system_error.h"

namespace {

// Takes the place of the system's message box and keeps what it was asked to show.
struct t_shownBox
{
    std::tuple<HWND, std::wstring, std::wstring, UINT> given;
    DWORD thread = 0;
    t_handle shown{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    REPLACE(patch, MessageBoxW, [this](auto... all) {
        given = {all...};
        thread = GetCurrentThreadId();
        SetEvent(shown.Get());
        return IDOK;
    });
};

template <class Flag>
concept takes = requires(t_errorChain& chain, std::span<wchar_t> buffer, Flag flag)
{
    JoinLines(chain, buffer, flag);
    ShowMessageBoxAsync(chain, nullptr, nullptr, flag);
};
static_assert(takes<bool> && !takes<const wchar_t*>);

} // namespace

TEST(MessageBox, ShowsTheJoinedChain)
{
    t_shownBox box;
    t_errorChain chain;
    ShowMessageBox(chain);
    EXPECT_EQ(0, box.patch.calls);
    chain.Fail(L"%s", L"参数不合法");
    ShowMessageBox(chain);
    EXPECT_EQ(std::tuple(nullptr, L"参数不合法", L"塔沃输入法错误报告", UINT{MB_OK}), box.given);
    EXPECT_EQ(GetCurrentThreadId(), box.thread);
    EXPECT_FALSE(chain.HasFailed());
}

TEST(MessageBox, AsynchronousBoxOutlivesTheChain)
{
    t_shownBox box;
    DWORD disabledThread = 0;
    REPLACE(disable, ImmDisableIME, [&](DWORD thread) -> WINBOOL { return disabledThread = thread, TRUE; });
    HWND const owner = GetDesktopWindow();
    const std::wstring longCaption(2000, L'c');
    {
        t_errorChain chain;
        ShowMessageBoxAsync(chain, owner, nullptr, true);
        chain.Fail(L"one");
        ShowMessageBoxAsync(chain, owner, longCaption.c_str(), true);
    }
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(box.shown.Get(), INFINITE));
    EXPECT_EQ(1, box.patch.calls) << "an empty chain shows nothing";
    EXPECT_EQ(std::tuple(owner, L"one\r\n\r\n进程名：diag_tests.exe", longCaption.substr(0, 1023), UINT{MB_OK}),
              box.given);
    EXPECT_EQ(box.thread, disabledThread);
    EXPECT_NE(GetCurrentThreadId(), box.thread);
}

TEST(SystemError, TextIsOneLine)
{
    std::wstring given;
    REPLACE(format, FormatMessageW, [&](DWORD flags, LPCVOID, DWORD, DWORD language, LPWSTR buffer, DWORD, va_list*) {
        EXPECT_EQ(std::pair(0x1100ul, 0x0400ul), std::pair(flags, language));
        auto* const text = static_cast<wchar_t*>(LocalAlloc(LPTR, (given.size() + 1) * sizeof(wchar_t)));
        *reinterpret_cast<wchar_t**>(buffer) = text;
        return static_cast<DWORD>(given.copy(text, given.size()));
    });
    const std::tuple<DWORD, const wchar_t*, const wchar_t*> cases[] = {
        {5, L"拒绝\r\n访问\t。\r\n", L"系统错误5: 拒绝  访问 。  "},
        {12002, L"", L"系统错误12002: 网络连接超时"},
        {0xFFFFFFFF, L"", L"系统错误-1"},
    };
    for (const auto& [code, text, expected] : cases) {
        given = text;
        t_str entry;
        AppendSystemError(entry, code);
        EXPECT_EQ(expected, entry);
    }
}
