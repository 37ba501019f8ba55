#include "config/new_file.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "config/file_bytes.h"

namespace n_config {

namespace {

// A share may withhold the right to change the access list.
t_handle CreateEmpty(const ::t_path& path)
{
    t_handle file;
    for (const DWORD securityRights : {DWORD{WRITE_DAC}, DWORD{0}}) {
        // A link under that name is a file that exists, whatever it leads to.
        file = MakeFileHandle(CreateFileW(path.c_str(), GENERIC_WRITE | securityRights, 0, nullptr, CREATE_NEW,
                                          FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
        if (file || GetLastError() != ERROR_ACCESS_DENIED) {
            break;
        }
    }
    return file;
}

} // namespace

t_newFile::~t_newFile()
{
    if (exists) {
        file.Reset();
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
        file = CreateEmpty(path);
        exists = static_cast<bool>(file);
        code = exists ? DWORD{ERROR_SUCCESS} : GetLastError();
    }
    return code;
}

void t_newFile::CopyAccessList(const wchar_t* from)
{
    DWORD size = 0;
    GetFileSecurityW(from, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    const std::unique_ptr<BYTE[]> descriptor(size != 0 ? new (std::nothrow) BYTE[size] : nullptr);
    if (descriptor != nullptr && GetFileSecurityW(from, DACL_SECURITY_INFORMATION, descriptor.get(), size, &size)) {
        // Without this request the list would no longer count as inherited from the directory.
        SetSecurityDescriptorControl(descriptor.get(), SE_DACL_AUTO_INHERIT_REQ, SE_DACL_AUTO_INHERIT_REQ);
        SetKernelObjectSecurity(file.Get(), DACL_SECURITY_INFORMATION, descriptor.get());
    }
}

DWORD t_newFile::Write(std::string_view bytes)
{
    DWORD code = WriteBytes(file.Get(), bytes);
    if (code == ERROR_SUCCESS && !FlushFileBuffers(file.Get())) {
        code = GetLastError();
    }
    file.Reset();
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
