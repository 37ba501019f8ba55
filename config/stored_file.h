#pragma once

#include <string>
#include <string_view>

#include "diag/error_chain.h"

namespace n_config {

// The size in bytes beyond which a file is not read. Configuration files are small; some lie where any program of the
// user can write.
inline constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

// Reads a whole file, also one that another program has open for writing. One that cannot be opened or changes its
// length meanwhile is tried again for an eighth of a second.
//   path   not null
//   bytes  receives the content
// On failure appends the system error and "无法打开ini文件", "无法读取ini文件" or "无法读取ini文件:分配内存失败".
// Behind it: CreateFileW, GetFileSizeEx, ReadFile.
bool ReadStoredFile(t_errorChain& errors, const wchar_t* path, std::string& bytes);

// Gives a file new content, or creates it. The bytes are written to a new file beside it, which then takes its name in
// one step: whatever happens in between, the file has either its old or its new content. It keeps its access list; its
// attributes become normal. A process that ends in the middle leaves the new file ("xxxxxxxx.tmp") behind.
//   path  not null
// On failure appends the system error and "保存ini文件失败:" with the path. Behind it: SetFileAttributesW, CreateFileW,
// WriteFile, FlushFileBuffers, MoveFileExW.
bool ReplaceStoredFile(t_errorChain& errors, const wchar_t* path, std::string_view bytes);

} // namespace n_config
