#include "config/new_file.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

namespace n_config {

t_newFile::~t_newFile()
{
    if (exists) {
        file.Close();
        DeleteFileW(path.c_str());
    }
}

DWORD t_newFile::Create(std::wstring_view folder)
{
    const std::wstring directory(folder);
    DWORD number = GetTickCount() ^ (GetCurrentProcessId() << 16);
    DWORD code = ERROR_FILE_EXISTS;
    for (int attempt = 0; attempt < 100 && code == ERROR_FILE_EXISTS; ++attempt, ++number) {
        // A name of 8 and 3 characters fits into every directory that can be made.
        path = FormatStr(L"%s%08x.tmp", directory.c_str(), number);
        // A link under that name is a file that exists, whatever it leads to. A share may withhold the right to change
        // the access list.
        file = t_openFile(path.c_str(), GENERIC_WRITE, 0, CREATE_NEW,
                          FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, WRITE_DAC);
        exists = static_cast<bool>(file);
        code = exists ? DWORD{ERROR_SUCCESS} : GetLastError();
    }
    return code;
}

void t_newFile::CopyAccessList(const wchar_t* from)
{
    alignas(void*) BYTE usual[1024];
    BYTE* descriptor = usual;
    DWORD size = 0;
    bool read = GetFileSecurityW(from, DACL_SECURITY_INFORMATION, usual, sizeof(usual), &size);
    std::unique_ptr<BYTE[]> larger;
    if (!read && size > sizeof(usual)) {
        larger.reset(descriptor = new (std::nothrow) BYTE[size]);
        read = larger != nullptr && GetFileSecurityW(from, DACL_SECURITY_INFORMATION, descriptor, size, &size);
    }
    if (read) {
        // Without this request the list would no longer count as inherited from the directory.
        SetSecurityDescriptorControl(descriptor, SE_DACL_AUTO_INHERIT_REQ, SE_DACL_AUTO_INHERIT_REQ);
        SetKernelObjectSecurity(file.Handle(), DACL_SECURITY_INFORMATION, descriptor);
    }
}

DWORD t_newFile::Write(std::string_view bytes)
{
    const bool written = file.Write(bytes.data(), bytes.size()) && file.Flush();
    const DWORD code = written ? DWORD{ERROR_SUCCESS} : GetLastError();
    file.Close();
    return code;
}

// MoveFileExW does it in one step; ReplaceFileW needs two, and the name would be gone for a moment between them.
DWORD t_newFile::TakeName(const wchar_t* other)
{
    if (!MoveFileExW(path.c_str(), other, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        return GetLastError();
    }
    exists = false;
    return ERROR_SUCCESS;
}

::t_path t_newFile::Keep() noexcept
{
    exists = false;
    return std::move(path);
}

} // namespace n_config
