#include "base/locker.h"

#include <utility>

bool t_locker::Lock(t_errorChain& errors, t_mutex& lock)
{
    Release();
    if (!lock.Lock(errors)) {
        return false;
    }
    held = &lock;
    return true;
}

bool t_locker::Lock(t_errorChain& errors)
{
    return bound != nullptr ? Lock(errors, *bound) : errors.Fail(L"null lock");
}

void t_locker::Release()
{
    if (t_mutex* const lock = std::exchange(held, nullptr)) {
        lock->Unlock();
    }
}
