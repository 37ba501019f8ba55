#include "config/stored_file.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <new>

#include "base/handles.h"
#include "diag/system_error.h"

namespace n_config {

namespace {

// Network redirectors before Vista refuse to move more than 64 MB in one call.
constexpr std::size_t kChunkBytes = std::size_t{1} << 20;

// Virus scanners, search indexers and programs that store the file themselves hold it for moments.
constexpr int kPauses = 4;
constexpr DWORD kPauseMilliseconds = 30;

// Makes a call that returns a system error code, a few times as long as the code may come from somebody who holds the
// file. Access is denied for that, too: to a replacement of a file that is open, and to one that is being deleted.
template <class Call>
DWORD RetryWhileHeld(Call call)
{
    DWORD code = call();
    for (int pause = 0; pause < kPauses && (code == ERROR_SHARING_VIOLATION || code == ERROR_ACCESS_DENIED); ++pause) {
        Sleep(kPauseMilliseconds);
        code = call();
    }
    return code;
}

// Reads a file from its beginning to its end. Returns a system error code.
DWORD ReadWhole(HANDLE file, std::string& bytes)
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file, &size)) {
        return GetLastError();
    }
    if (size.QuadPart > static_cast<LONGLONG>(kMaxFileBytes)) {
        return ERROR_FILE_TOO_LARGE;
    }
    bytes.resize(static_cast<std::size_t>(size.QuadPart));
    for (std::size_t done = 0; done < bytes.size();) {
        DWORD moved = 0;
        const DWORD chunk = static_cast<DWORD>(std::min(bytes.size() - done, kChunkBytes));
        if (!ReadFile(file, bytes.data() + done, chunk, &moved, nullptr)) {
            return GetLastError();
        }
        if (moved == 0) {
            return ERROR_SHARING_VIOLATION; // cut since its size was read, by somebody who is writing it
        }
        done += moved;
    }
    LARGE_INTEGER sizeNow{};
    if (!GetFileSizeEx(file, &sizeNow)) {
        return GetLastError();
    }
    return sizeNow.QuadPart == size.QuadPart ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
}

bool WriteBytes(HANDLE file, std::string_view bytes)
{
    while (!bytes.empty()) {
        DWORD moved = 0;
        const DWORD chunk = static_cast<DWORD>(std::min(bytes.size(), kChunkBytes));
        if (!WriteFile(file, bytes.data(), chunk, &moved, nullptr)) {
            return false;
        }
        if (moved == 0) {
            SetLastError(ERROR_DISK_FULL);
            return false;
        }
        bytes.remove_prefix(moved);
    }
    return true;
}

// A file beside another one, deleted unless it takes the other's name.
class t_replacement
{
public:
    explicit t_replacement(const wchar_t* pathToReplace) : target(pathToReplace) {}
    t_replacement(const t_replacement&) = delete;
    t_replacement& operator=(const t_replacement&) = delete;
    ~t_replacement()
    {
        if (exists) {
            file.Reset();
            DeleteFileW(path.c_str());
        }
    }

    // Creates the file empty, never touching one that exists.
    bool Create()
    {
        const std::wstring_view whole(target);
        const std::wstring directory(whole.substr(0, whole.find_last_of(L"\\/:") + 1));
        DWORD number = GetTickCount() ^ (GetCurrentProcessId() << 16);
        for (int attempt = 0; attempt < 100; ++attempt, ++number) {
            // A name of 8 and 3 characters fits into every directory that can be made.
            path = FormatStr(L"%s%08x.tmp", directory.c_str(), number);
            file = MakeFileHandle(CreateFileW(path.c_str(), GENERIC_WRITE | WRITE_DAC, 0, nullptr, CREATE_NEW,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
            exists = static_cast<bool>(file);
            if (exists || GetLastError() != ERROR_FILE_EXISTS) {
                break;
            }
        }
        return exists;
    }

    // Gives the file the access list of the one it is to replace. Without one, or where the file system has none, the
    // list inherited from the directory stays.
    void CopyAccessList()
    {
        DWORD size = 0;
        GetFileSecurityW(target, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
        const std::unique_ptr<BYTE[]> descriptor(size != 0 ? new (std::nothrow) BYTE[size] : nullptr);
        if (descriptor != nullptr &&
            GetFileSecurityW(target, DACL_SECURITY_INFORMATION, descriptor.get(), size, &size)) {
            // Without this request the list would no longer count as inherited from the directory.
            SetSecurityDescriptorControl(descriptor.get(), SE_DACL_AUTO_INHERIT_REQ, SE_DACL_AUTO_INHERIT_REQ);
            SetKernelObjectSecurity(file.Get(), DACL_SECURITY_INFORMATION, descriptor.get());
        }
    }

    // Writes the content through to the disk.
    bool Write(std::string_view bytes) { return WriteBytes(file.Get(), bytes) && FlushFileBuffers(file.Get()); }

    // Takes the other file's name. MoveFileExW does it in one step; ReplaceFileW needs two, and the name would be gone
    // for a moment between them.
    bool TakeName()
    {
        file.Reset();
        if (!MoveFileExW(path.c_str(), target, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            return false;
        }
        exists = false;
        return true;
    }

private:
    const wchar_t* target;
    ::t_str path;
    t_handle file;
    bool exists = false;
};

} // namespace

bool ReadStoredFile(t_errorChain& errors, const wchar_t* path, std::string& bytes)
{
    try {
        bool opened = false;
        const DWORD code = RetryWhileHeld([&] {
            // A program that has the file open for writing keeps nobody from reading it.
            const t_handle file =
                MakeFileHandle(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                           nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
            opened = static_cast<bool>(file);
            return opened ? ReadWhole(file.Get(), bytes) : GetLastError();
        });
        return code == ERROR_SUCCESS ||
               FailWithSystemError(errors, code, opened ? L"无法读取ini文件" : L"无法打开ini文件");
    } catch (const std::bad_alloc&) {
        return FailWithSystemError(errors, ERROR_NOT_ENOUGH_MEMORY, L"无法读取ini文件:分配内存失败");
    }
}

bool ReplaceStoredFile(t_errorChain& errors, const wchar_t* path, std::string_view bytes)
{
    if (bytes.size() > kMaxFileBytes) {
        return FailWithSystemError(errors, ERROR_FILE_TOO_LARGE, L"保存ini文件失败:%s", path); // nobody could read it
    }
    SetFileAttributesW(path, FILE_ATTRIBUTE_NORMAL); // a read-only file cannot be replaced
    t_replacement replacement(path);
    bool done = replacement.Create();
    if (done) {
        replacement.CopyAccessList();
        done = replacement.Write(bytes) && replacement.TakeName();
    }
    return done || FailWithSystemError(errors, GetLastError(), L"保存ini文件失败:%s", path);
}

} // namespace n_config
