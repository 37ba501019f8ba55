#pragma once

#include <gtest/gtest.h>

#include <sstream>

#include "base/str.h"
#include "tests/scratch_registry.h"

constexpr wchar_t kPreload[] = L"Keyboard Layout\\Preload";
constexpr wchar_t kSortList[] = L"SoftWare\\Microsoft\\CTF\\SortOrder\\AssemblyItem\\0x00000804\\{34745C63}";

// The preload list below a key of a root as text: "name=data" for each value, sorted by name and separated by blanks;
// "-" marks a unit of 0.
inline void WriteList(HKEY root, const std::wstring& user, const std::wstring& list)
{
    const std::wstring path = user + (user.empty() ? L"" : L"\\") + kPreload;
    MakeKey(root, path);
    std::wistringstream values(list);
    for (std::wstring value; values >> value;) {
        const std::size_t equals = value.find(L'=');
        WriteText(root, path, value.substr(0, equals).c_str(), value.substr(equals + 1));
    }
}

inline std::wstring ReadList(HKEY root, const std::wstring& user)
{
    std::wstring list = DumpKey(root, user + (user.empty() ? L"" : L"\\") + kPreload).erase(0, 3);
    for (const auto& [from, to] : {std::pair(L"=1:", L"="), {L"\\0", L"-"}, {L"\n", L" "}}) {
        for (std::size_t at; (at = list.find(from)) != list.npos;) {
            list.replace(at, wcslen(from), to);
        }
    }
    return list;
}
