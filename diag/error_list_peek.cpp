#include "diag/error_list_peek.h"

#include <windows.h>

#include <cstring>
#include <vector>

#include "base/handles.h"
#include "base/shared_memory.h"
#include "diag/error_list_layout.h"
#include "diag/system_error.h"

namespace {

constexpr wchar_t kMemoryName[] = L"Local\\TVSM_ErrorList";
constexpr wchar_t kMutexName[] = L"Local\\tvpy_mutex_error_list";
constexpr wchar_t kReadFailed[] = L"无法读取消息缓存";
constexpr wchar_t kDamaged[] = L"消息缓存已损坏";
constexpr DWORD kWaitMilliseconds = 1000;
constexpr std::size_t kTotalBytes = t_sharedMemory::kHeaderBytes + t_errorListLayout::kBytes;

using t_view = ImmUnique<void*, &UnmapViewOfFile>;

// The list's lock, when somebody has made it. One who dies with it leaves it taken by whoever waits.
class t_listLock
{
public:
    t_listLock() : mutex(OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, kMutexName))
    {
        const DWORD result = mutex ? WaitForSingleObject(mutex.Get(), kWaitMilliseconds) : DWORD{WAIT_FAILED};
        taken = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
        if (result == WAIT_TIMEOUT) {
            SetLastError(ERROR_TIMEOUT);
        }
    }
    t_listLock(const t_listLock&) = delete;
    t_listLock& operator=(const t_listLock&) = delete;
    ~t_listLock()
    {
        if (taken) {
            ReleaseMutex(mutex.Get());
        }
    }

    bool IsTaken() const { return taken; }

private:
    t_handle mutex;
    bool taken = false;
};

// Memory that another program only reserved would fault when it is touched.
bool IsReadable(const void* view)
{
    MEMORY_BASIC_INFORMATION region{};
    return VirtualQuery(view, &region, sizeof(region)) == sizeof(region) && region.State == MEM_COMMIT &&
           region.RegionSize >= kTotalBytes;
}

} // namespace

bool PeekErrorList(t_errorChain& errors, itl::ImmSimpleArray<t_postedError>& entries)
{
    entries.clear();
    const t_handle mapping(OpenFileMappingW(FILE_MAP_READ, FALSE, kMemoryName));
    if (!mapping) {
        return GetLastError() == ERROR_FILE_NOT_FOUND || FailWithSystemError(errors, GetLastError(), kReadFailed);
    }
    const t_view view(MapViewOfFile(mapping.Get(), FILE_MAP_READ, 0, 0, kTotalBytes));
    if (!view) {
        return FailWithSystemError(errors, GetLastError(), kReadFailed);
    }
    if (!IsReadable(view.Get())) {
        return errors.Fail(kDamaged);
    }
    // Entries are taken from a copy, so that they stay where they are.
    std::vector<std::uint16_t> copy(t_errorListLayout::kBytes / sizeof(std::uint16_t));
    {
        const t_listLock lock;
        if (!lock.IsTaken()) {
            return FailWithSystemError(errors, GetLastError(), kReadFailed);
        }
        std::memcpy(copy.data(), static_cast<const BYTE*>(view.Get()) + t_sharedMemory::kHeaderBytes,
                    t_errorListLayout::kBytes);
    }
    t_errorListLayout list(copy);
    while (list.HasUnread()) {
        t_postedError entry;
        if (list.ReadNext(entry.text, entry.flag) != t_errorListResult::done) {
            return errors.Fail(kDamaged);
        }
        entries.push_back(std::move(entry));
    }
    return true;
}
