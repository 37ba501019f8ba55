#pragma once

#include "base/mutex.h"

// Holds a lock for the life of a block.
class t_locker
{
public:
    t_locker() = default;

    //   lockToUse  the lock that Lock(errors) takes; not taken yet; may be null, then taking it fails
    explicit t_locker(t_mutex* lockToUse) : bound(lockToUse) {}
    t_locker(const t_locker&) = delete;
    t_locker& operator=(const t_locker&) = delete;
    ~t_locker() { Release(); }

    // Takes a lock and remembers it; one that was held before is given back first. The lock must outlive this object.
    // Fails with what t_mutex::Lock appends.
    [[nodiscard]] bool Lock(t_errorChain& errors, t_mutex& lock);

    // Takes the lock given to the constructor; appends "null lock" when that is null.
    [[nodiscard]] bool Lock(t_errorChain& errors);

    // Gives the remembered lock back, if there is one.
    void Release();

private:
    t_mutex* bound = nullptr;
    t_mutex* held = nullptr;
};
