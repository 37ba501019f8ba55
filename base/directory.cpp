#include "base/directory.h"

#include <windows.h>

t_path DirectoryToAsk(const t_path& path)
{
    const bool bareDrive = path.size() == 2 && path[1] == L':';
    return bareDrive ? JoinPath(path, L"") : path;
}

bool DirectoryExists(const t_path& path)
{
    const DWORD attributes = GetFileAttributesW(DirectoryToAsk(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsMissing(const t_path& path)
{
    if (GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) {
        return false;
    }
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}
