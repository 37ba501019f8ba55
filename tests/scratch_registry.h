#pragma once

#include <windows.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "base/handles.h"

// Redirects predefined keys of this process to sub-keys of one scratch key for the life of a test, and deletes them
// then. The code under test runs against the real registry functions and finds an empty registry.
class t_scratchRegistry
{
public:
    explicit t_scratchRegistry(std::initializer_list<HKEY> predefinedKeys = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE,
                                                                             HKEY_CLASSES_ROOT, HKEY_USERS});
    ~t_scratchRegistry();
    t_scratchRegistry(const t_scratchRegistry&) = delete;
    t_scratchRegistry& operator=(const t_scratchRegistry&) = delete;

private:
    std::wstring path;
    std::vector<HKEY> redirected;
};

// Opens a key for all access, creating it when it is missing. A failure is a test failure and gives a null owner.
t_keyHandle MakeKey(HKEY root, const std::wstring& path);

// The full name of a key, such as "\REGISTRY\USER\.DEFAULT\Keyboard Layout".
std::wstring FullNameOf(HKEY key);

// A volatile symbolic link from one key's name to another key, for the life of a scope.
class t_scratchLink
{
public:
    t_scratchLink(HKEY root, const std::wstring& path, HKEY target);
    ~t_scratchLink();

private:
    t_keyHandle link;
};

// Opens a key for reading. Null when there is none.
t_keyHandle OpenKey(HKEY root, const std::wstring& path);

// Writes raw bytes, or a text with its terminator.
void WriteRaw(HKEY root, const std::wstring& path, const wchar_t* value, DWORD type, const void* data, DWORD bytes);
void WriteText(HKEY root, const std::wstring& path, const wchar_t* value, const std::wstring& text);

// Everything under a key as t_storedKey::Dump prints it; nothing without the key.
std::wstring DumpKey(HKEY root, const std::wstring& path);
