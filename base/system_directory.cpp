#include "base/system_directory.h"

UINT ReadSystemDirectory(t_path& path)
{
    path.clear();
    wchar_t buffer[MAX_PATH];
    const UINT length = GetSystemDirectoryW(buffer, MAX_PATH);
    if (length < MAX_PATH) {
        path.assign(buffer, length);
    }
    return length;
}

t_library LoadSystemLibrary(std::wstring_view name)
{
    t_path path;
    ReadSystemDirectory(path);
    return t_library(path.empty() ? nullptr
                                  : LoadLibraryExW(path.Join(name).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
}
