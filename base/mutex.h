#pragma once

#include <windows.h>

#include "base/handles.h"
#include "diag/error_chain.h"

// A named lock between the processes of one session, and the interface of every lock of the base library.
//
// Locking an object that was never created through DoLock succeeds without doing anything; Lock refuses it.
class t_mutex
{
public:
    t_mutex() = default;
    t_mutex(const t_mutex&) = delete;
    t_mutex& operator=(const t_mutex&) = delete;
    virtual ~t_mutex() = default;

    // Opens the named mutex, or creates it open to every user and integrity. Succeeds at once when already created.
    //   newName  any name: the prefix "Local\" is added, or reduced to one of two, and the result is cut to 259
    //            characters; null or empty makes a mutex that is private to this object
    // On failure appends the system error and "互斥量创建失败：" with the name. Behind it: OpenMutexW, CreateMutexW.
    [[nodiscard]] virtual bool Create(t_errorChain& errors, const wchar_t* newName);

    virtual void Close() { handle.Reset(); }
    virtual bool IsCreated() const { return static_cast<bool>(handle); }

    // Takes the lock, waiting without limit. A lock abandoned by a process that died counts as taken; what it guards is
    // not repaired. On failure appends what the wait said. Behind it: WaitForSingleObject.
    [[nodiscard]] virtual bool DoLock(t_errorChain& errors);

    // Gives the lock back. Behind it: ReleaseMutex.
    virtual void DoUnlock();

    // Takes the lock; fails with "t_mutex::Lock 未初始化" when Create has not succeeded.
    [[nodiscard]] bool Lock(t_errorChain& errors);

    void Unlock();

    // The formed name; empty before Create.
    const wchar_t* Name() const { return name; }

protected:
    // Forms and keeps the name of the object in the session's namespace.
    void SetName(const wchar_t* newName);

private:
    t_handle handle;
    wchar_t name[MAX_PATH] = {};
};
