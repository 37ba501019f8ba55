#include <windows.h>

#include <imm.h>
#include <shellapi.h>
#include <stdlib.h>

#include "app/dispatcher.h"
#include "base/handles.h"
#include "base/library_search.h"
#include "diag/message_box.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    RestrictLibrarySearch(); // before the first call that may load something
    ImmDisableIME(0);
    _set_error_mode(_OUT_TO_STDERR);

    int argumentCount = 0;
    const t_localMemory arguments(CommandLineToArgvW(GetCommandLineW(), &argumentCount));
    t_errorChain errors;
    t_actionMode mode = t_actionMode::Install;
    if (!ParseAndDispatch(errors, static_cast<wchar_t**>(arguments.Get()), argumentCount, &mode)) {
        ShowMessageBox(errors);
        return -1;
    }
    return 0;
}
