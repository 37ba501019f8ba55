#pragma once

#include <windows.h>

#include "base/path.h"

// Links between files: symbolic links, junctions and mount points, which lead an elevated program where somebody else
// wants it.

// The length in characters of "C:", or of "\\server\share", at the beginning of a full path.
std::size_t DriveLength(std::wstring_view fullPath);

// Whether the path, or a folder on the way, is a link, or cannot be looked at. A look by names, which can be outrun: it
// serves before Vista, where an open file cannot be asked where it lies. Behind it: GetFileAttributesW.
bool LeadsOverLink(const t_path& fullPath);

// Whether something that was opened itself, and not what it leads to, is a link. Deduplicated and cloud files are
// reparse points, too, and lead nowhere; before Vista, where the kind cannot be asked, there are none of these.
//   attributes  of the file
// Behind it: GetFileInformationByHandleEx, looked up at run time.
bool IsLink(HANDLE opened, DWORD attributes);
