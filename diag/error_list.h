#pragma once

#include "base/shared_memory.h"
#include "base/str.h"

// The list of error messages that every process of the product posts to, and a reporting process collects. It lives in
// shared memory of the session, keeps each text once while it is unread, and never gives space back: a full list
// refuses messages until the last process that has it open is gone.
//
// Every operation holds the mutex "Local\tvpy_mutex_error_list" and fails with what t_mutex appends when it cannot. A
// process that dies in the middle leaves a list that the others go on using. Damage, which only another program can
// have done, is reported as "消息缓存已损坏".
class t_errorList
{
public:
    // Opens or makes the list, "Local\TVSM_ErrorList". Fails with what t_sharedMemory::Open appends. The other
    // operations fail with "消息缓存未打开" before this has succeeded.
    [[nodiscard]] bool Open(t_errorChain& errors);

    // Posts a message; one that is there already, with a clear flag and unread, is not posted again.
    //   text  not null
    // A message that does not fit fails with "消息缓存已满" and "消息无法放入缓存".
    bool Add(t_errorChain& errors, const wchar_t* text, bool flag);

    // Takes the oldest unread message; without one the text is empty and the flag clear.
    [[nodiscard]] bool ReadNext(t_errorChain& errors, t_str& text, bool& flag);

    // Takes every unread message.
    bool MarkAllRead(t_errorChain& errors);

    // Whether Add would not post the text again; false also when the list cannot be looked at.
    //   text  not null
    bool Contains(const wchar_t* text) const;

private:
    t_sharedMemory memory;
};
