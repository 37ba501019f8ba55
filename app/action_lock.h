#pragma once

#include "base/handles.h"

// One action at a time on the machine. An action reads a list, deletes it and writes it anew: a second one that reads
// in between would write the list back without the entries of the first.
//
// The lock is a mutex of the whole machine, not of one session, since setups also run in other sessions and as other
// administrators. It only keeps honest installers apart: any program may hold it for ever, which must not hold up a
// setup, so after a limit, or when the mutex cannot be had at all, the action runs without it.
class t_actionLock
{
public:
    // Waits for the lock, at most thirty seconds: an action takes a fraction of one. Behind it: CreateMutexW,
    // WaitForSingleObject.
    t_actionLock();
    t_actionLock(const t_actionLock&) = delete;
    t_actionLock& operator=(const t_actionLock&) = delete;

    // Gives the lock back if it was had. Behind it: ReleaseMutex.
    ~t_actionLock();

private:
    t_handle mutex;
    bool held = false;
};
