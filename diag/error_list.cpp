#include "diag/error_list.h"

#include <mutex>

#include "base/locker.h"
#include "diag/error_list_layout.h"

namespace {

constexpr wchar_t kMemoryName[] = L"Local\\TVSM_ErrorList";
constexpr wchar_t kMutexName[] = L"Local\\tvpy_mutex_error_list";

// Takes the mutex that this process keeps for all its lists; made on first use.
bool LockList(t_errorChain& errors, t_locker& locker)
{
    static std::mutex creation;
    static t_mutex mutex;
    {
        const std::lock_guard lock(creation);
        if (!mutex.Create(errors, kMutexName)) {
            return false;
        }
    }
    return locker.Lock(errors, mutex);
}

t_errorListLayout Layout(const t_sharedMemory& memory)
{
    return t_errorListLayout({static_cast<std::byte*>(memory.Data()), t_errorListLayout::kBytes});
}

bool Report(t_errorChain& errors, t_errorListResult result)
{
    switch (result) {
    case t_errorListResult::done:
        return true;
    case t_errorListResult::full:
        errors.Fail(L"消息缓存已满");
        return errors.Fail(L"消息无法放入缓存");
    default:
        return errors.Fail(L"消息缓存已损坏");
    }
}

// Runs an operation on the open list under its lock.
template <class Operation>
bool Access(t_errorChain& errors, const t_sharedMemory& memory, Operation operation)
{
    t_locker locker;
    if (!LockList(errors, locker)) {
        return false;
    }
    if (memory.Data() == nullptr) {
        return errors.Fail(L"消息缓存未打开");
    }
    return Report(errors, operation(Layout(memory)));
}

} // namespace

bool t_errorList::Open(t_errorChain& errors)
{
    t_locker locker;
    if (!LockList(errors, locker) || !memory.Open(errors, kMemoryName, t_errorListLayout::kBytes)) {
        return false;
    }
    Layout(memory).InitialiseIfNew();
    return true;
}

bool t_errorList::Add(t_errorChain& errors, const wchar_t* text, bool flag)
{
    return Access(errors, memory, [=](t_errorListLayout list) { return list.Add(text, flag); });
}

bool t_errorList::ReadNext(t_errorChain& errors, t_str& text, bool& flag)
{
    return Access(errors, memory, [&](t_errorListLayout list) { return list.ReadNext(text, flag); });
}

bool t_errorList::MarkAllRead(t_errorChain& errors)
{
    return Access(errors, memory, [](t_errorListLayout list) { return list.MarkAllRead(); });
}

bool t_errorList::Contains(const wchar_t* text) const
{
    t_errorChain discarded(t_errorChain::kDiscarding);
    bool found = false;
    Access(discarded, memory, [&](t_errorListLayout list) { return list.Contains(text, found); });
    return found;
}
