#pragma once

#include "base/pending_list.h"
#include "diag/error_chain.h"

// File operations that wait for the next restart, because a file is in use. The system's session manager carries them
// out; the list is a value of its key.

// Lists what waits for any file.
//   operations  receives the list; empty also when nothing waits, which is no failure
// On failure appends what t_reg says.
bool ListPendingOperations(t_errorChain& errors, t_pendingOperations& operations);

// Queues the deletion of a file, or of a folder that is empty then, and the replacement of a file by another one of the
// same drive. Wants an administrator.
//   path, source, target  full paths; not null
// On failure appends the system error and "无法登记重启后的文件操作：" with the path. Behind both: MoveFileExW.
bool QueueDeletion(t_errorChain& errors, const wchar_t* path);
bool QueueReplacement(t_errorChain& errors, const wchar_t* source, const wchar_t* target);

// Takes back every operation that waits for a file or for files in a folder. What another program queues at the same
// moment may be lost: the system offers no lock for the list.
//   path     full path; not empty
//   removed  receives the number of operations taken back
// Behind it: the list's value, which is deleted when nothing is left.
bool TakeBackPendingOperations(t_errorChain& errors, std::wstring_view path, std::size_t& removed);
