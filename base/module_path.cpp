#include "base/module_path.h"

bool ReadModulePath(HMODULE module, t_path& path)
{
    return ReadModulePathWith(&GetModuleFileNameW, module, path);
}

bool ReadModulePathWith(t_moduleFileNameFunction function, HMODULE module, t_path& path)
{
    path.clear();
    wchar_t buffer[MAX_PATH];
    const DWORD length = function(module, buffer, MAX_PATH);
    // A path that was cut fills the buffer; before Vista it then has no terminator either.
    if (length == 0 || length >= MAX_PATH) {
        return false;
    }
    path.assign(buffer, length);
    return true;
}

HMODULE BaseLibraryModule()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&BaseLibraryModule), &module);
    return module;
}
