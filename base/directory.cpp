#include "base/directory.h"

#include <windows.h>

bool DirectoryExists(const t_path& path)
{
    const bool bareDrive = path.size() == 2 && path[1] == L':';
    const DWORD attributes = GetFileAttributesW(bareDrive ? JoinPath(path, L"").c_str() : path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}
