#pragma once

#include <windows.h>

#include "diag/error_chain.h"

// Starts a program, or opens a document, through the shell and does not wait for it. The call is complete when it
// returns, so it may be made from a short-lived thread without a message loop. A program given by a path is started
// only when VerifyModule accepts it, and then by its real path.
//   program           full path on a drive or of a network share, or a bare name or an address; not null
//   verb              the shell's verb; null means "open"
//   parameters        command line behind the program's name; may be null
//   workingDirectory  "*" stands for the folder of the program; null for the current directory
//   showCommand       SW_ constant
//   extraMask         further SEE_MASK_ bits, 0 for none; those that make the shell start something else than the
//                     program, or return a handle, are not passed on
// Returns false when the program was not started, and appends why it was refused, or the system error and then the
// shell's failure texts.
// Behind it: ShellExecuteExW.
bool LaunchProcess(t_errorChain& errors, const wchar_t* program, const wchar_t* verb, const wchar_t* parameters,
                   const wchar_t* workingDirectory, int showCommand, ULONG extraMask);
