#include "config/stored_file.h"

#include <windows.h>

#include <algorithm>
#include <new>

#include "base/file_links.h"
#include "base/open_file.h"
#include "config/new_file.h"
#include "diag/system_error.h"

namespace n_config {

namespace {

// Virus scanners, search indexers and programs that store the file themselves hold it for moments.
constexpr int kPauses = 4;
constexpr DWORD kPauseMilliseconds = 30;

// Whether somebody holds a file, or its rights or those of its folder refuse the call. The system's answer does not
// tell: access is denied to a replacement of a file that is open, too, and to a file that is being deleted.
bool IsRefused(DWORD code)
{
    return code == ERROR_SHARING_VIOLATION || code == ERROR_ACCESS_DENIED || code == ERROR_LOCK_VIOLATION ||
           code == ERROR_USER_MAPPED_FILE;
}

// Makes a call that returns a system error code, a few times as long as it is refused.
template <class Call>
DWORD RetryWhileRefused(Call call)
{
    DWORD code = call();
    for (int pause = 0; pause < kPauses && IsRefused(code); ++pause) {
        Sleep(kPauseMilliseconds);
        code = call();
    }
    return code;
}

DWORD CodeOf(bool done)
{
    return done ? DWORD{ERROR_SUCCESS} : GetLastError();
}

std::wstring_view FolderOf(std::wstring_view path)
{
    return path.substr(0, path.find_last_of(L"\\/:") + 1);
}

DWORD Rename(const wchar_t* from, const wchar_t* to)
{
    return CodeOf(MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
}

DWORD ReplaceByNewFile(const wchar_t* path, std::string_view bytes, t_oldContent old)
{
    t_newFile created;
    DWORD code = created.Create(FolderOf(path));
    if (code == ERROR_SUCCESS) {
        created.CopyAccessList(path);
        code = created.Write(bytes);
    }
    const ::t_path aside(FormatStr(L"%s.bad", path));
    bool moved = false;
    if (code == ERROR_SUCCESS && old == t_oldContent::setAside) {
        code = RetryWhileRefused([&] { return Rename(path, aside.c_str()); });
        moved = code == ERROR_SUCCESS;
        code = code == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SUCCESS} : code; // somebody has taken it away
    }
    if (code == ERROR_SUCCESS) {
        code = RetryWhileRefused([&] { return created.TakeName(path); });
        if (code != ERROR_SUCCESS && moved) {
            Rename(aside.c_str(), path);
        }
    }
    return code;
}

// Keeps the content of a file in another one, with the access list of the first.
DWORD KeepContent(t_newFile& kept, const wchar_t* path, std::string_view content)
{
    DWORD code = kept.Create(FolderOf(path));
    if (IsRefused(code)) {
        wchar_t folder[MAX_PATH + 1] = {};
        const DWORD length = GetTempPathW(ARRAYSIZE(folder), folder); // with a backslash at its end
        code = length != 0 && length < ARRAYSIZE(folder) ? kept.Create(folder) : DWORD{ERROR_PATH_NOT_FOUND};
    }
    if (code == ERROR_SUCCESS) {
        kept.CopyAccessList(path);
        code = kept.Write(content);
    }
    return code;
}

// Gives an open file, which is long enough for them, other bytes.
bool Overwrite(const t_openFile& file, std::string_view bytes)
{
    return file.Seek(0) && file.Write(bytes.data(), bytes.size()) && file.Resize(bytes.size()) && file.Flush();
}

// A link, or another name, leads to a file that a less privileged user may have chosen.
bool HasOneName(HANDLE file)
{
    BY_HANDLE_FILE_INFORMATION info{};
    return GetFileInformationByHandle(file, &info) && !IsLink(file, info.dwFileAttributes) && info.nNumberOfLinks == 1;
}

// keptPath receives the path of the old content where that could not be put back.
DWORD WriteInPlace(const wchar_t* path, std::string_view bytes, ::t_path& keptPath)
{
    t_openFile file;
    // No more than the rights that are used: a share may withhold others. Nobody may read half of the content.
    DWORD code = RetryWhileRefused([&] {
        file = t_openFile(path, GENERIC_READ | FILE_WRITE_DATA, 0, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT);
        return CodeOf(static_cast<bool>(file));
    });
    if (code != ERROR_SUCCESS) {
        return code == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_ACCESS_DENIED} : code; // the folder refused a new file
    }
    if (!HasOneName(file.Handle())) {
        return ERROR_CANT_ACCESS_FILE;
    }
    t_fileContent old;
    code = CodeOf(file.ReadAll(old, kMaxFileBytes));
    t_newFile kept;
    if (code == ERROR_SUCCESS) {
        code = KeepContent(kept, path, old.Bytes());
    }
    if (code != ERROR_SUCCESS) {
        return code;
    }
    // Room first, so that a full disk refuses before anything is written.
    if (!file.Resize(std::max(old.size, bytes.size()))) {
        return GetLastError();
    }
    code = CodeOf(Overwrite(file, bytes));
    if (code != ERROR_SUCCESS && !Overwrite(file, old.Bytes())) {
        keptPath = kept.Keep();
    }
    return code;
}

} // namespace

bool ReadStoredFile(t_errorChain& errors, const wchar_t* path, t_fileContent& content, std::size_t maxBytes)
{
    try {
        bool opened = false;
        const DWORD code = RetryWhileRefused([&] {
            // A program that has the file open for writing keeps nobody from reading it.
            const t_openFile file(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
            opened = static_cast<bool>(file);
            return CodeOf(opened && file.ReadAll(content, maxBytes));
        });
        return code == ERROR_SUCCESS ||
               FailWithSystemError(errors, code, opened ? L"无法读取ini文件" : L"无法打开ini文件");
    } catch (const std::bad_alloc&) {
        return FailWithSystemError(errors, ERROR_NOT_ENOUGH_MEMORY, L"无法读取ini文件:分配内存失败");
    }
}

bool ReplaceStoredFile(t_errorChain& errors, const wchar_t* path, std::string_view bytes, t_oldContent old)
{
    if (bytes.size() > kMaxFileBytes) {
        return FailWithSystemError(errors, ERROR_FILE_TOO_LARGE, L"保存ini文件失败:%s", path); // nobody could read it
    }
    SetFileAttributesW(path, FILE_ATTRIBUTE_NORMAL); // a read-only file cannot be replaced
    ::t_path keptPath;
    DWORD code = ReplaceByNewFile(path, bytes, old);
    if (IsRefused(code) && old == t_oldContent::replaced) {
        code = WriteInPlace(path, bytes, keptPath);
    }
    if (code == ERROR_SUCCESS) {
        return true;
    }
    FailWithSystemError(errors, code, L"保存ini文件失败:%s", path);
    if (!keptPath.empty()) {
        errors.Fail(L"旧内容保存在:%s", keptPath.c_str());
    }
    return false;
}

} // namespace n_config
