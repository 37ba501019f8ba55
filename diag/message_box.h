#pragma once

#include <windows.h>

#include <span>

#include "diag/error_chain.h"

// Caption of every error message of the product.
inline constexpr wchar_t kErrorCaption[] = L"塔沃输入法错误报告";

// Joins the chain for a message box, at most ten entries, with the running program's file name when asked for.
//   buffer           receives the terminated text; at least one unit
//   withProcessName  whether the program's file name is added (GetModuleFileNameW)
void JoinLines(t_errorChain& chain, std::span<wchar_t> buffer, bool withProcessName);

// A pointer, such as a literal, would be taken for a set flag.
void JoinLines(t_errorChain& chain, std::span<wchar_t> buffer, const void* notAFlag) = delete;

// Shows the chain in a message box without an owner and returns when the user has closed it. An empty chain shows
// nothing. Behind it: MessageBoxW.
void ShowMessageBox(t_errorChain& chain);

// Shows the chain in a message box on a thread of its own and returns at once; the chain may be changed or freed then.
// An empty chain shows nothing, and so does a failure to get memory or a thread.
//   owner    window that owns the box; may be null
//   caption  cut to 1,023 characters; null means kErrorCaption
void ShowMessageBoxAsync(t_errorChain& chain, HWND owner, const wchar_t* caption, bool withProcessName);
void ShowMessageBoxAsync(t_errorChain& chain, HWND owner, const wchar_t* caption, const void* notAFlag) = delete;
