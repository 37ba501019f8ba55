#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace n_config {

// The size in bytes beyond which a file is not read. Configuration files are small; some lie where any program of the
// user can write.
inline constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

// Both return a system error code, ERROR_SUCCESS when everything was moved.

// Reads an open file from its beginning to its end. Somebody who changes its length meanwhile gives
// ERROR_SHARING_VIOLATION. Memory that cannot be had raises std::bad_alloc. Behind it: GetFileSizeEx, ReadFile.
//   bytes     receives the content
//   maxBytes  a larger file gives ERROR_FILE_TOO_LARGE
[[nodiscard]] DWORD ReadBytes(HANDLE file, std::string& bytes, std::size_t maxBytes);

// Writes bytes at the file's position. Behind it: WriteFile.
[[nodiscard]] DWORD WriteBytes(HANDLE file, std::string_view bytes);

} // namespace n_config
