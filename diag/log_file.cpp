#include "diag/log_file.h"

#include <windows.h>

#include <aclapi.h>

#include <algorithm>
#include <tuple>

#include "base/directory.h"
#include "base/file_links.h"
#include "base/security.h"
#include "base/system_function.h"

namespace {

// Links resolved, in the words that the file was opened by, behind the name of its device: a sandboxed program cannot
// ask for the drive, nor for the long form of folders that it cannot list.
constexpr DWORD kOpenedNameOnDevice = 0x8 | 0x2; // FILE_NAME_OPENED, VOLUME_NAME_NT

// Since Vista.
using t_finalPathFunction = DWORD(WINAPI*)(HANDLE, wchar_t*, DWORD, DWORD);
t_finalPathFunction FindFinalPathFunction()
{
    return FindSystemFunction<t_finalPathFunction>(L"kernel32.dll", "GetFinalPathNameByHandleW");
}

// Where an open file or folder lies, without a backslash at the end. Empty when the system cannot tell.
t_path ReadFinalPath(HANDLE opened)
{
    const t_finalPathFunction getFinalPath = FindFinalPathFunction();
    wchar_t buffer[1024];
    const DWORD length =
        getFinalPath != nullptr ? getFinalPath(opened, buffer, ARRAYSIZE(buffer), kOpenedNameOnDevice) : 0;
    t_path path;
    path.assign(buffer, length < ARRAYSIZE(buffer) ? length : 0);
    if (path.ends_with(L'\\')) {
        path.pop_back();
    }
    return path;
}

// Whether two names mean one file by the rules of the file system, which fold more letters than the English ones.
bool IsSameName(std::wstring_view a, std::wstring_view b)
{
    using t_function = int(WINAPI*)(const wchar_t*, int, const wchar_t*, int, BOOL);
    const auto compare = FindSystemFunction<t_function>(L"kernel32.dll", "CompareStringOrdinal");
    return compare != nullptr && a.size() == b.size() &&
           compare(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

// The full path of a folder without a backslash at the end; empty on failure.
t_path ReadFullPath(const t_path& folder)
{
    wchar_t buffer[MAX_PATH];
    const DWORD length = GetFullPathNameW(DirectoryToAsk(folder).c_str(), ARRAYSIZE(buffer), buffer, nullptr);
    t_path path;
    path.assign(buffer, length < ARRAYSIZE(buffer) ? length : 0);
    if (path.ends_with(L'\\')) {
        path.pop_back();
    }
    return path;
}

// A folder that is a link is opened itself, not what it leads to.
t_openFile OpenFolder(const t_path& path, DWORD access)
{
    return t_openFile(DirectoryToAsk(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                      FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
}

// Whether the final path of a folder is the full path that was asked for.
bool IsAskedPath(const t_path& finalPath, const t_path& asked)
{
    // A substituted or mapped drive stands for another name and is no link on the way: whoever named the drive could
    // have named what it stands for. A sandboxed program may not ask the drive; there the rest alone is compared.
    const std::size_t driveLength = DriveLength(asked);
    const t_openFile drive = OpenFolder(JoinPath(asked.substr(0, driveLength), L""), FILE_READ_ATTRIBUTES);
    const t_path drivePath = drive ? ReadFinalPath(drive.Handle()) : t_path();

    wchar_t longForm[MAX_PATH];
    const DWORD length = GetLongPathNameW(asked.c_str(), longForm, ARRAYSIZE(longForm));
    // File systems differ in whether short names stay in the words that a folder was opened by.
    for (const std::wstring_view name :
         {std::wstring_view(asked), std::wstring_view(longForm, length < ARRAYSIZE(longForm) ? length : 0)}) {
        if (name.size() < driveLength) {
            continue;
        }
        const std::wstring expected = drivePath + std::wstring(name.substr(driveLength));
        const std::size_t begin = finalPath.size() - std::min(finalPath.size(), expected.size());
        if (IsSameName(std::wstring_view(finalPath).substr(begin), expected)) {
            return true;
        }
    }
    return false;
}

// The folder that a log file is asked for in. It stays where it is while it is held.
class t_logFolder
{
public:
    // Returns false when the folder cannot be opened or is not where it was asked for.
    bool Open(const t_path& path)
    {
        asked = ReadFullPath(path);
        folder = OpenFolder(asked, FILE_LIST_DIRECTORY);
        BY_HANDLE_FILE_INFORMATION info{};
        if (!folder || !GetFileInformationByHandle(folder.Handle(), &info) ||
            IsLink(folder.Handle(), info.dwFileAttributes)) {
            return false;
        }
        finalPath = ReadFinalPath(folder.Handle());
        // A look at the names on the way can be outrun; it serves only where there is nothing better.
        return finalPath.empty() ? FindFinalPathFunction() == nullptr && !LeadsOverLink(asked)
                                 : IsAskedPath(finalPath, asked);
    }

    t_path FilePath(const wchar_t* name) const { return JoinPath(asked, name); }

    // Whether an open file lies in the folder under the name.
    bool Holds(HANDLE file, const wchar_t* name) const
    {
        return finalPath.empty() ? !LeadsOverLink(asked) : IsSameName(ReadFinalPath(file), JoinPath(finalPath, name));
    }

private:
    t_path asked;
    t_openFile folder;
    t_path finalPath; // empty when the system cannot tell
};

// Lets programs of every user and integrity write the file too. A handle without the rights for it, because another
// user's file grants them to nobody else, fails here, and that user has done it already.
void RelaxSecurity(HANDLE file)
{
    if (ACL* const accessList = OpenAccessList()) {
        SetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, accessList, nullptr);
    }
    if (ACL* const label = LowMandatoryLabel()) {
        SetSecurityInfo(file, SE_FILE_OBJECT, LABEL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, label);
    }
}

// Changing the access list and the label takes two rights that reading and writing do not include.
t_openFile OpenFile(const t_path& path, DWORD disposition, DWORD flags)
{
    return t_openFile(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, disposition, FILE_ATTRIBUTE_NORMAL | flags,
                      WRITE_DAC | WRITE_OWNER);
}

} // namespace

t_openFile OpenLogFile(const t_path& folder, const wchar_t* name)
{
    t_logFolder place;
    if (!place.Open(folder)) {
        return t_openFile();
    }
    // A link in place of the file is opened itself, not what it leads to: that would be made when it is missing.
    t_openFile file = OpenFile(place.FilePath(name), OPEN_ALWAYS, FILE_FLAG_OPEN_REPARSE_POINT);
    BY_HANDLE_FILE_INFORMATION info{};
    if (!file || !GetFileInformationByHandle(file.Handle(), &info) || IsLink(file.Handle(), info.dwFileAttributes)) {
        return t_openFile();
    }
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        // What was opened is the form that a deduplicated or cloud file is stored in; its content takes the other way.
        file.Close();
        file = OpenFile(place.FilePath(name), OPEN_EXISTING, 0);
        const BY_HANDLE_FILE_INFORMATION seen = info;
        if (!file || !GetFileInformationByHandle(file.Handle(), &info) ||
            std::tie(info.dwVolumeSerialNumber, info.nFileIndexHigh, info.nFileIndexLow) !=
                std::tie(seen.dwVolumeSerialNumber, seen.nFileIndexHigh, seen.nFileIndexLow)) {
            return t_openFile();
        }
    }
    if (info.nNumberOfLinks > 1 || !place.Holds(file.Handle(), name)) {
        return t_openFile();
    }
    RelaxSecurity(file.Handle());
    return file;
}
