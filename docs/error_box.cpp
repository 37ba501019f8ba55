// Shows the error box of a rejected command line, for its picture. Only a failure of the system to hand out the command
// line brings it about, so this stands for the program's entry with that failure.
#include "app/dispatcher.h"
#include "diag/message_box.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    t_errorChain errors;
    t_actionMode mode = t_actionMode::Install;
    if (!ParseAndDispatch(errors, nullptr, 0, &mode)) {
        ShowMessageBox(errors);
    }
    return 0;
}
