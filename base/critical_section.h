#pragma once

#include "base/mutex.h"

// A lock between the threads of one process, behind the same interface as t_mutex. Its name is a label for messages.
class t_criticalSection : public t_mutex
{
public:
    t_criticalSection() = default;
    ~t_criticalSection() override;

    // Initialises the critical section; succeeds at once when that was done before. Safe against two threads at once.
    //   newName  label, formed by the rule of t_mutex::Create; may be null
    // On failure appends "创建CriticalSection失败:" with the name and the system's code.
    // Behind it: InitializeCriticalSectionAndSpinCount.
    [[nodiscard]] bool Create(t_errorChain& errors, const wchar_t* newName) override;
    void Close() override;
    bool IsCreated() const override { return initialised; }
    [[nodiscard]] bool DoLock(t_errorChain& errors) override;
    void DoUnlock() override;

private:
    CRITICAL_SECTION section = {};
    bool initialised = false;
};

// A critical section that creates itself when it is constructed.
class t_csAutoInit : public t_criticalSection
{
public:
    //   label     name for messages; not null
    //   attempts  how often creating is tried: systems before Vista need memory for it and may refuse for a moment.
    //             When all fail, Lock reports the object as not created.
    t_csAutoInit(const wchar_t* label, int attempts);
};
