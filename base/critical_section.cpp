#include "base/critical_section.h"

#include <mutex>

namespace {

// 1,024 spins before waiting. The high bit asks systems before Vista for the wait event at once, so that entering
// cannot fail later for want of memory.
constexpr DWORD kSpinCount = 0x80000400;

std::mutex& CreationLock()
{
    static std::mutex lock;
    return lock;
}

} // namespace

t_criticalSection::~t_criticalSection()
{
    t_criticalSection::Close();
}

bool t_criticalSection::Create(t_errorChain& errors, const wchar_t* newName)
{
    const std::lock_guard lock(CreationLock());
    if (initialised) {
        return true;
    }
    SetName(newName);
    if (!InitializeCriticalSectionAndSpinCount(&section, kSpinCount)) {
        return errors.Fail(L"创建CriticalSection失败:%s, %d", Name(), GetLastError());
    }
    initialised = true;
    return true;
}

void t_criticalSection::Close()
{
    if (initialised) {
        DeleteCriticalSection(&section);
        initialised = false;
    }
}

bool t_criticalSection::DoLock(t_errorChain&)
{
    if (initialised) {
        EnterCriticalSection(&section);
    }
    return true;
}

void t_criticalSection::DoUnlock()
{
    if (initialised) {
        LeaveCriticalSection(&section);
    }
}

t_csAutoInit::t_csAutoInit(const wchar_t* label, int attempts)
{
    t_errorChain discarded(t_errorChain::kDiscarding);
    for (int i = 0; i < attempts && !Create(discarded, label); ++i) {
        Sleep(0);
    }
}
