#include "config/file_bytes.h"

#include <algorithm>

namespace n_config {

namespace {

// Network redirectors before Vista refuse to move more than 64 MB in one call.
constexpr std::size_t kChunkBytes = std::size_t{1} << 20;

} // namespace

DWORD ReadBytes(HANDLE file, std::string& bytes, std::size_t maxBytes)
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file, &size)) {
        return GetLastError();
    }
    if (size.QuadPart > static_cast<LONGLONG>(maxBytes)) {
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

DWORD WriteBytes(HANDLE file, std::string_view bytes)
{
    while (!bytes.empty()) {
        DWORD moved = 0;
        const DWORD chunk = static_cast<DWORD>(std::min(bytes.size(), kChunkBytes));
        if (!WriteFile(file, bytes.data(), chunk, &moved, nullptr)) {
            return GetLastError();
        }
        if (moved == 0) {
            return ERROR_DISK_FULL;
        }
        bytes.remove_prefix(moved);
    }
    return ERROR_SUCCESS;
}

} // namespace n_config
