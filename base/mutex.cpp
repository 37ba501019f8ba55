#include "base/mutex.h"

#include <string_view>

#include "base/perf.h"
#include "base/security.h"
#include "diag/system_error.h"

namespace {

constexpr std::wstring_view kPrefix = L"Local\\";
constexpr wchar_t kNoName[] = L"Mutex_NoName";

} // namespace

void t_mutex::SetName(const wchar_t* newName)
{
    const bool hasName = newName != nullptr && *newName != L'\0';
    std::wstring_view given = hasName ? newName : kNoName;
    std::wstring formed(kPrefix);
    if (given.starts_with(kPrefix)) {
        given.remove_prefix(kPrefix.size());
        if (given.starts_with(kPrefix)) {
            formed.clear();
        }
    }
    formed += given;
    CopyCut(name, formed);
}

bool t_mutex::Create(t_errorChain& errors, const wchar_t* newName)
{
    const t_perfSection perf(t_perfKind::function, L"CreateMutex");
    if (handle) {
        return true;
    }
    SetName(newName);
    if (newName != nullptr && *newName != L'\0') {
        handle.Reset(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name));
        if (!handle) {
            const t_perfSection secondAttempt(t_perfKind::function, L"CreateMutex2");
            handle.Reset(CreateMutexW(OpenSecurityAttributes(), FALSE, name));
        }
    } else {
        handle.Reset(CreateMutexW(nullptr, FALSE, nullptr));
    }
    if (!handle) {
        return FailWithSystemError(errors, GetLastError(), L"互斥量创建失败：%s", static_cast<const wchar_t*>(name));
    }
    return true;
}

bool t_mutex::DoLock(t_errorChain& errors)
{
    if (!handle) {
        return true;
    }
    const DWORD result = WaitForSingleObject(handle.Get(), INFINITE);
    switch (result) {
    case WAIT_OBJECT_0:
    case WAIT_ABANDONED:
        return true;
    case WAIT_TIMEOUT:
        return errors.Fail(L"获取Mutex失败：WAIT_TIMEOUT");
    case WAIT_FAILED:
        return FailWithSystemError(errors, GetLastError(), L"获取Mutex失败");
    default:
        return errors.Fail(L"获取Mutex失败：WaitForSingleObject返回值不识别(%d)", result);
    }
}

void t_mutex::DoUnlock()
{
    if (handle) {
        ReleaseMutex(handle.Get());
    }
}

bool t_mutex::Lock(t_errorChain& errors)
{
    const t_perfSection perf(t_perfKind::function, L"Lock");
    return IsCreated() ? DoLock(errors) : errors.Fail(L"t_mutex::Lock 未初始化");
}

void t_mutex::Unlock()
{
    const t_perfSection perf(t_perfKind::function, L"Unlock");
    DoUnlock();
}
