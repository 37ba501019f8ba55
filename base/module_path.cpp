#include "base/module_path.h"

bool ReadModulePath(HMODULE module, t_path& path)
{
    path.clear();
    wchar_t buffer[MAX_PATH];
    const DWORD length = GetModuleFileNameW(module, buffer, MAX_PATH);
    // A path that was cut fills the buffer; before Vista it then has no terminator either.
    if (length == 0 || length >= MAX_PATH) {
        return false;
    }
    path.assign(buffer, length);
    return true;
}
