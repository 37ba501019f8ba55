#pragma once

#include "base/simple_array.h"
#include "base/str.h"
#include "diag/error_chain.h"

// An unread entry of the shared error list.
struct t_postedError
{
    t_str text;
    bool flag = false;
};

// Reads the unread entries of the shared error list and leaves them there; see t_errorList. Nothing is created: without
// a list, because no program of the product runs, there are no entries, which is no failure.
//   entries  receives them, oldest first; what stands before damage stays
// On failure appends the system error and "无法读取消息缓存", or "消息缓存已损坏". The list's mutex is waited for for a
// second at most. Behind it: OpenFileMappingW, OpenMutexW.
bool PeekErrorList(t_errorChain& errors, itl::ImmSimpleArray<t_postedError>& entries);
