#pragma once

#include <windows.h>

#include <objbase.h>

#include <string>

// An answer to the look-up of SHGetKnownFolderPath: every folder is this one.
inline std::wstring knownFolder;

inline HRESULT WINAPI AnswerKnownFolder(const GUID&, DWORD, HANDLE, wchar_t** path)
{
    *path = static_cast<wchar_t*>(CoTaskMemAlloc((knownFolder.size() + 1) * sizeof(wchar_t)));
    lstrcpyW(*path, knownFolder.c_str());
    return S_OK;
}
