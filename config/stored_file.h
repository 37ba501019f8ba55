#pragma once

#include <string_view>

#include "base/file_content.h"
#include "diag/error_chain.h"

namespace n_config {

// The size in bytes beyond which a file is not read. Configuration files are small; some lie where any program of the
// user can write.
inline constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

// Reads a whole file, also one that another program has open for writing. One that cannot be opened or changes its
// length meanwhile is tried again for an eighth of a second.
//   path      not null
//   content   receives the bytes
//   maxBytes  a larger file fails
// On failure appends the system error and "无法打开ini文件", "无法读取ini文件" or "无法读取ini文件:分配内存失败".
// Behind it: CreateFileW, GetFileSizeEx, ReadFile.
[[nodiscard]] bool ReadStoredFile(t_errorChain& errors, const wchar_t* path, t_fileContent& content,
                                  std::size_t maxBytes);

// What becomes of the content that a file has.
enum class t_oldContent
{
    replaced,
    setAside, // moved to "NAME.bad". That replaces what was moved there before: the content somebody misses is the last
              // one, and a file that is damaged again and again must not fill the folder
};

// Gives a file new content, or creates it. The bytes are written to a new file beside it, which then takes its name in
// one step: whatever happens in between, the file has either its old or its new content. It keeps its access list; its
// attributes become normal. A process that ends in the middle leaves the new file ("xxxxxxxx.tmp") behind.
//
// Where the folder's rights allow no new file or no replacement, the bytes are written into the file itself, which
// nobody else can have open then. Its old content is kept in such a file beside it, or else in the temporary folder,
// until that is done, and put back when it fails. Content to be set aside is not written over like that: the call
// fails. A process that ends in the middle leaves the file with parts of both contents, and the old one whole in the
// file that kept it. A file with a second name and a link are not written into: they could be anybody's.
//
// Somebody who holds the file is waited for, an eighth of a second in each of the two ways.
//   path  not null
// On failure appends the system error and "保存ini文件失败:" with the path; behind them, when the old content could not
// be put back either, "旧内容保存在:" with the path of the file that keeps it. Behind it: SetFileAttributesW,
// CreateFileW, WriteFile, FlushFileBuffers, MoveFileExW, GetTempPathW, SetEndOfFile.
[[nodiscard]] bool ReplaceStoredFile(t_errorChain& errors, const wchar_t* path, std::string_view bytes,
                                     t_oldContent old);

} // namespace n_config
