#include "base/pending_files.h"

#include "base/reg.h"
#include "diag/system_error.h"

namespace {

constexpr wchar_t kSessionManagerKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kValueName[] = L"PendingFileRenameOperations";

// Reads the stored list; empty when there is none.
bool ReadStoredList(t_errorChain& errors, const t_reg& key, std::wstring& stored)
{
    stored.clear();
    DWORD bytes = 0;
    const LSTATUS result = RegQueryValueExW(key.Handle(), kValueName, nullptr, nullptr, nullptr, &bytes);
    if (result == ERROR_FILE_NOT_FOUND || (result == ERROR_SUCCESS && bytes == 0)) {
        return true;
    }
    stored.resize(bytes / sizeof(wchar_t) + 1); // room for half a unit at the end, which is cut off
    bytes = static_cast<DWORD>(stored.size() * sizeof(wchar_t));
    if (!key.GetPendingRenames(errors, stored.data(), bytes)) {
        return false;
    }
    stored.resize(bytes / sizeof(wchar_t));
    return true;
}

bool Queue(t_errorChain& errors, const wchar_t* source, const wchar_t* target, DWORD flags)
{
    return MoveFileExW(source, target, flags | MOVEFILE_DELAY_UNTIL_REBOOT) ||
           FailWithSystemError(errors, GetLastError(), L"无法登记重启后的文件操作：%s", source);
}

} // namespace

bool ListPendingOperations(t_errorChain& errors, t_pendingOperations& operations)
{
    operations.clear();
    t_reg key(HKEY_LOCAL_MACHINE);
    std::wstring stored;
    if (!key.Open(errors, kSessionManagerKey, t_regAccess::read) || !ReadStoredList(errors, key, stored)) {
        return false;
    }
    operations = ReadPendingList(stored);
    return true;
}

bool QueueDeletion(t_errorChain& errors, const wchar_t* path)
{
    return Queue(errors, path, nullptr, 0);
}

bool QueueReplacement(t_errorChain& errors, const wchar_t* source, const wchar_t* target)
{
    return Queue(errors, source, target, MOVEFILE_REPLACE_EXISTING);
}

bool TakeBackPendingOperations(t_errorChain& errors, std::wstring_view path, std::size_t& removed)
{
    removed = 0;
    t_reg key(HKEY_LOCAL_MACHINE);
    std::wstring stored;
    if (!key.Open(errors, kSessionManagerKey, t_regAccess::write) || !ReadStoredList(errors, key, stored)) {
        return false;
    }
    const std::wstring rest = RemoveFromPendingList(stored, path, removed);
    if (removed == 0) {
        return true;
    }
    // An empty list would still make programs that only look whether there is one ask for a restart.
    return rest.empty() ? key.DeleteValue(errors, kValueName)
                        : key.SetPendingRenames(errors, rest.data(), static_cast<DWORD>(rest.size() * sizeof(wchar_t)));
}
