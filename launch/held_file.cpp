#include "launch/held_file.h"

#include <algorithm>

#include "base/ascii_case.h"
#include "base/file_links.h"
#include "base/system_directory.h"
#include "base/system_function.h"
#include "diag/system_error.h"

namespace {

constexpr std::wstring_view kLongForm = L"\\\\?\\";
constexpr std::wstring_view kLongNetworkForm = L"\\\\?\\UNC\\";

bool StartsWithDrive(std::wstring_view path)
{
    return path.size() >= 3 && FoldCase(path[0]) >= L'a' && FoldCase(path[0]) <= L'z' && path[1] == L':' &&
           path[2] == L'\\';
}

// Takes "\\?\" off. Returns false when what is left is not a full path on a drive or of a network share.
bool MakePlain(t_path& path)
{
    if (EqualIgnoringCase(std::wstring_view(path).substr(0, kLongNetworkForm.size()), kLongNetworkForm)) {
        path.replace(0, kLongNetworkForm.size(), L"\\\\");
    } else if (path.starts_with(kLongForm)) {
        path.erase(0, kLongForm.size());
        return StartsWithDrive(path);
    }
    const bool ofServer = path.size() > 2 && path.starts_with(L"\\\\") &&
                          std::wstring_view(L"\\.?").find(path[2]) == std::wstring_view::npos;
    return ofServer || StartsWithDrive(path);
}

// Makes a plain path one without "." and "..", short names and a dot or blank at its end. Sets the last error on
// failure.
bool ReadLongPath(const t_path& plainPath, t_path& longPath)
{
    wchar_t buffer[MAX_PATH];
    DWORD length = GetFullPathNameW(plainPath.c_str(), ARRAYSIZE(buffer), buffer, nullptr);
    if (length != 0 && length < ARRAYSIZE(buffer)) {
        length = GetLongPathNameW(buffer, buffer, ARRAYSIZE(buffer));
    }
    if (length >= ARRAYSIZE(buffer)) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    longPath.assign(buffer, length);
    return length != 0;
}

// Tells the path of an open file; null where the system cannot, before Vista.
using t_finalPathCall = DWORD(WINAPI*)(HANDLE, wchar_t*, DWORD, DWORD);

t_finalPathCall FindFinalPathCall()
{
    return FindSystemFunction<t_finalPathCall>(L"kernel32.dll", "GetFinalPathNameByHandleW");
}

// Finds the plain path that an open file or folder really has; the path it was opened by serves where the system cannot
// tell. Sets the last error on failure.
bool ReadRealPath(t_finalPathCall finalPathCall, HANDLE opened, const t_path& plainPath, t_path& realPath)
{
    if (finalPathCall == nullptr) {
        if (!ReadLongPath(plainPath, realPath)) {
            return false;
        }
        if (LeadsOverLink(realPath)) {
            SetLastError(ERROR_CANT_ACCESS_FILE);
            return false;
        }
        return true;
    }

    wchar_t buffer[MAX_PATH + kLongNetworkForm.size()];
    const DWORD length = finalPathCall(opened, buffer, ARRAYSIZE(buffer), 0);
    if (length == 0) {
        return false;
    }
    if (length < ARRAYSIZE(buffer)) {
        realPath.assign(buffer, length);
    }
    if (length >= ARRAYSIZE(buffer) || !MakePlain(realPath) || realPath.size() >= MAX_PATH) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    return true;
}

// Opens a file or folder to ask what it is; it takes part in no sharing.
//   flags  further flags of CreateFileW
t_openFile OpenToIdentify(const t_path& path, DWORD flags = 0)
{
    return t_openFile(path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags);
}

bool AreSame(HANDLE a, HANDLE b)
{
    BY_HANDLE_FILE_INFORMATION first{};
    BY_HANDLE_FILE_INFORMATION second{};
    return GetFileInformationByHandle(a, &first) && GetFileInformationByHandle(b, &second) &&
           first.dwVolumeSerialNumber == second.dwVolumeSerialNumber && first.nFileIndexHigh == second.nFileIndexHigh &&
           first.nFileIndexLow == second.nFileIndexLow;
}

// Whether an open folder is the system directory.
//   realPath  the folder's
bool IsSystemDirectory(t_finalPathCall finalPathCall, HANDLE folder, const t_path& realPath)
{
    t_path plainSystemPath;
    ReadSystemDirectory(plainSystemPath);
    const t_openFile systemDirectory = OpenToIdentify(plainSystemPath);
    t_path systemPath;
    // Identity alone would not do: the serial number and the file numbers of a foreign disk or server can be forged.
    return systemDirectory && ReadRealPath(finalPathCall, systemDirectory.Handle(), plainSystemPath, systemPath) &&
           EqualIgnoringCase(realPath, systemPath) && AreSame(folder, systemDirectory.Handle());
}

// Finds the path of an open file in the system directory; false when it was not opened by a name of that directory, or
// over a link in it.
bool ReadSystemPath(t_finalPathCall finalPathCall, HANDLE opened, const t_path& plainPath, t_path& systemPath)
{
    t_path name;
    if (!ReadLongPath(plainPath, name)) {
        return false;
    }
    t_path folderPath = name;
    folderPath.CutLastComponent();
    const t_openFile folder = OpenToIdentify(folderPath);
    if (!folder || !ReadRealPath(finalPathCall, folder.Handle(), folderPath, systemPath) ||
        !IsSystemDirectory(finalPathCall, folder.Handle(), systemPath)) {
        return false;
    }
    systemPath << L"\\";
    systemPath.append(FileNamePart(name));
    // Opened like this a link is a file of its own. Its attribute would not tell: files that the system keeps
    // compressed or fetches on demand have it too.
    const t_openFile named = OpenToIdentify(systemPath, FILE_FLAG_OPEN_REPARSE_POINT);
    return named && AreSame(opened, named.Handle());
}

} // namespace

bool t_heldFile::Open(t_errorChain& errors, const wchar_t* path)
{
    file.Close();
    t_path plainPath(path);
    std::replace(plainPath.begin(), plainPath.end(), L'/', L'\\');
    const t_path opened = plainPath;
    if (!MakePlain(plainPath)) {
        return errors.Fail(L"模块校验失败:%s 不是驱动器或网络上的完整路径", path);
    }
    if (plainPath.find(L':', 2) != t_path::npos) {
        return errors.Fail(L"模块校验失败:%s 指向文件中的数据流", path);
    }

    file = t_openFile(opened.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    if (!file) {
        return FailWithSystemError(errors, GetLastError(), L"模块校验失败:无法打开 %s", path);
    }
    // The files of the system directory are hard links: they have another name in the component store, which the system
    // may give for the real path. Only for other files is it asked.
    const t_finalPathCall finalPathCall = FindFinalPathCall();
    openedInSystemDirectory = ReadSystemPath(finalPathCall, file.Handle(), plainPath, realPath);
    if (openedInSystemDirectory) {
        return true;
    }
    if (!ReadRealPath(finalPathCall, file.Handle(), plainPath, realPath)) {
        return FailWithSystemError(errors, GetLastError(), L"模块校验失败:无法确定 %s 的真实路径", path);
    }
    // The program is started by this path, so it must lead here. It may not: without "\\?\" a name that ends with a dot
    // or blank stands for another file, and before Vista a link could have been exchanged meanwhile.
    const t_openFile again = OpenToIdentify(realPath);
    if (!again || !AreSame(file.Handle(), again.Handle())) {
        return errors.Fail(L"模块校验失败:%s 与 %s 不是同一个文件", path, realPath.c_str());
    }
    return true;
}

bool t_heldFile::IsInSystemDirectory() const
{
    if (openedInSystemDirectory) {
        return true;
    }
    t_path folderPath = realPath;
    folderPath.CutLastComponent();
    const t_openFile folder = OpenToIdentify(folderPath);
    return folder && IsSystemDirectory(FindFinalPathCall(), folder.Handle(), folderPath);
}
