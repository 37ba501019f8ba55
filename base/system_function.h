#pragma once

#include <windows.h>

// Looks up a function that not every supported system has, so that the program still loads where it is missing.
//   library  a library that is loaded already, such as L"kernel32.dll"; not null
//   name     not null
// Returns null when the library or the function is missing. Behind it: GetModuleHandleW, GetProcAddress.
template <class Function>
Function FindSystemFunction(const wchar_t* library, const char* name)
{
    const HMODULE module = GetModuleHandleW(library);
    return module == nullptr ? nullptr
                             : reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}
