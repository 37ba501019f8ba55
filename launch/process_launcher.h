#pragma once

#include <windows.h>

#include "diag/error_chain.h"

// Starts a program, or opens a document or a web address, through the shell and does not wait for it. The call is
// complete when it returns, so it may be made from a short-lived thread without a message loop. A file is started only
// when VerifyModule accepts it, and then by its real path; an ".exe" without the shell, whatever the verb, where the
// current user has classes of his own for programs, which could put another one in its place.
//   program           full path on a drive or of a network share, or an address with "http://" or "https://"; not null.
//                     A bare name is refused: the shell would look for it in the current folder and in the current
//                     user's registry, where anybody may have put something. An address is opened by the program that
//                     the user has chosen for it, with the rights of the caller
//   verb              the shell's verb; null means "open"
//   parameters        command line behind the program's name; may be null
//   workingDirectory  "*" stands for the folder of the program; null for the current directory
//   showCommand       SW_ constant
//   extraMask         further SEE_MASK_ bits for the shell, 0 for none; those that make it start something else than
//                     the program, or return a handle, are not passed on
// Returns false when the program was not started, and appends why it was refused, or the system error and then, where
// the shell was asked, its failure texts.
// Behind it: ShellExecuteExW, CreateProcessW.
bool LaunchProcess(t_errorChain& errors, const wchar_t* program, const wchar_t* verb, const wchar_t* parameters,
                   const wchar_t* workingDirectory, int showCommand, ULONG extraMask);
