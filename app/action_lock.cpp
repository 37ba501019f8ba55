#include "app/action_lock.h"

#include <sddl.h>

namespace {

constexpr wchar_t kName[] = L"Global\\tvpy_mutex_layout_action";
constexpr wchar_t kAdministratorsAndSystem[] = L"D:(A;;GA;;;BA)(A;;GA;;;SY)";
constexpr DWORD kLimitMilliseconds = 30'000;

t_handle CreateLock()
{
    // The default access list names only the account that made the mutex; the next setup may run as another.
    t_localMemory descriptor;
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, FALSE};
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(kAdministratorsAndSystem, SDDL_REVISION_1,
                                                             descriptor.Put(), nullptr)) {
        attributes.lpSecurityDescriptor = descriptor.Get();
    }
    return t_handle(CreateMutexW(&attributes, FALSE, kName));
}

} // namespace

t_actionLock::t_actionLock() : mutex(CreateLock())
{
    if (mutex) {
        const DWORD result = WaitForSingleObject(mutex.Get(), kLimitMilliseconds);
        // Abandoned by a process that died in the middle: what it left is what this action finds, as after a restart.
        held = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    }
}

t_actionLock::~t_actionLock()
{
    if (held) {
        ReleaseMutex(mutex.Get());
    }
}
