#pragma once

#include <windows.h>

#include "diag/error_chain.h"

// Appends "系统错误", the code in decimal, ": " and the system's text for the code, on one line.
//   entry  an entry of an error chain, or any string
//   code   a Windows error code
// A code without a text gives the number alone. Behind it: FormatMessageW in the neutral language.
void AppendSystemError(t_str& entry, DWORD code);

// Appends an entry with the system error to the chain, if it keeps entries.
void AddSystemError(t_errorChain& errors, DWORD code);

// Reports a failed system call: one entry with the system error, then one with the formatted text. Returns false.
template <class... Args>
bool FailWithSystemError(t_errorChain& errors, DWORD code, const wchar_t* format, Args... arguments)
{
    AddSystemError(errors, code);
    return errors.Fail(format, arguments...);
}
