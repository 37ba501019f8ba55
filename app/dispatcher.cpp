#include "app/dispatcher.h"

#include <windows.h>

#include "app/action_lock.h"
#include "base/os_version.h"
#include "imereg/keyboard_layout.h"
#include "imereg/layout_handle.h"
#include "imereg/preload.h"
#include "imereg/text_service.h"

namespace {

constexpr wchar_t kLayoutText[] = L"中文(简体) - 塔沃拼音输入法";
constexpr wchar_t kOlderLayoutText[] = L"中文 (简体) - 塔沃拼音输入法"; // as Windows spelled its own before Vista

void ReplaceClassicByTextService()
{
    RemoveImeLayout(kClassicImeFile);
    RegisterTextService();
}

void Install()
{
    const bool vistaOrLater = IsVistaOrLater();
    if (IsWin8OrLater()) {
        ReplaceClassicByTextService();
    } else {
        InstallClassicLayout(0, vistaOrLater ? kLayoutText : kOlderLayoutText);
    }
}

void Uninstall()
{
    if (IsWin8OrLater()) {
        RemoveImeLayout(kTextServiceImeFile);
        UnregisterTextService();
    }
    RemoveImeLayout(kClassicImeFile);
}

void TakeOutOfPreload()
{
    if (const HKL layout = FindLoadedLayoutByImeFile(kClassicImeFile)) {
        RemoveFromPreload(KlidOf(layout), HKEY_CURRENT_USER);
    }
}

void InstallWithOlderText()
{
    if (IsWin8OrLater()) {
        ReplaceClassicByTextService();
    } else {
        InstallClassicLayout(0, kOlderLayoutText);
    }
}

} // namespace

bool ParseAndDispatch(t_errorChain& errors, wchar_t** arguments, int argumentCount, t_actionMode* mode)
{
    // Without its arguments the program cannot tell an installation from a removal.
    if (arguments == nullptr || !ParseActionOptions(argumentCount, arguments, mode)) {
        return errors.Fail(L"%s", L"参数不合法");
    }
    const t_actionLock lock;
    switch (*mode) {
    case t_actionMode::Install:
        Install();
        return true;
    case t_actionMode::Uninstall:
        Uninstall();
        return true;
    case t_actionMode::Debug:
        TakeOutOfPreload();
        return true;
    case t_actionMode::Copy:
    case t_actionMode::Delete:
        break; // as any number that is no mode
    }
    InstallWithOlderText();
    return true;
}
