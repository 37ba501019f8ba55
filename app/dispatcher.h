#pragma once

#include "app/action_options.h"
#include "diag/error_chain.h"

// Reads the action mode from the command line and runs that action's steps. What the steps return is not looked at: no
// step needs another's success, and the setup package has nothing to do about a failure. The action runs under the
// machine's action lock (t_actionLock).
//   arguments      the program path and its arguments; null when the command line could not be split
//   argumentCount  number of arguments
//   mode           not null; in: the mode without options; out: the mode that ran
// Returns false, and appends "参数不合法", only when the command line is rejected; then nothing has run.
bool ParseAndDispatch(t_errorChain& errors, wchar_t** arguments, int argumentCount, t_actionMode* mode);
