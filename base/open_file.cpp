#include "base/open_file.h"

#include <algorithm>

t_openFile::t_openFile(const wchar_t* path, DWORD access, DWORD share, DWORD disposition, DWORD flags,
                       DWORD wished) noexcept
{
    for (DWORD rights = access | wished;; rights = access) {
        file = MakeFileHandle(CreateFileW(path, rights, share, nullptr, disposition, flags, nullptr));
        if (file || rights == access || GetLastError() != ERROR_ACCESS_DENIED) {
            return;
        }
    }
}

bool t_openFile::Read(void* buffer, std::size_t bytes, std::size_t& count) const
{
    count = 0;
    for (DWORD chunk = 0, moved = 0; count < bytes && moved == chunk; count += moved) {
        chunk = static_cast<DWORD>(std::min(bytes - count, kMaxTransferBytes));
        if (!ReadFile(file.Get(), static_cast<char*>(buffer) + count, chunk, &moved, nullptr)) {
            return false;
        }
    }
    return true; // the system moves less than it was asked to where the file ends only
}

bool t_openFile::Seek(std::uint64_t position) const
{
    LARGE_INTEGER distance{};
    distance.QuadPart = static_cast<LONGLONG>(position);
    return SetFilePointerEx(file.Get(), distance, nullptr, FILE_BEGIN);
}
