#include "tests/registry_tree.h"

#include <gtest/gtest.h>

#include <shlwapi.h>

#include <numeric>
#include <set>

#include "base/str.h"
#include "base/system_function.h"

t_scratchRegistry::t_scratchRegistry(std::initializer_list<HKEY> predefinedKeys)
    : path(FormatStr(L"Software\\TarvoTests\\%u", GetCurrentProcessId())), redirected(predefinedKeys)
{
    SHDeleteKeyW(HKEY_CURRENT_USER, path.c_str());
    const t_keyHandle scratch = MakeKey(HKEY_CURRENT_USER, path);
    for (const HKEY predefined : redirected) {
        const auto number = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(predefined));
        const t_keyHandle target = MakeKey(scratch.Get(), FormatStr(L"%08x", number));
        EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(predefined, target.Get()));
    }
}

t_scratchRegistry::~t_scratchRegistry()
{
    for (const HKEY predefined : redirected) {
        RegOverridePredefKey(predefined, nullptr);
    }
    SHDeleteKeyW(HKEY_CURRENT_USER, path.c_str());
}

t_keyHandle MakeKey(HKEY root, const std::wstring& path)
{
    t_keyHandle key;
    EXPECT_EQ(ERROR_SUCCESS,
              RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr));
    return key;
}

std::wstring FullNameOf(HKEY key)
{
    struct
    {
        ULONG bytes;
        wchar_t text[512];
    } name{};
    ULONG size = 0;
    using t_queryKey = LONG(NTAPI*)(HKEY, int, void*, ULONG, ULONG*);
    const auto queryKey = FindSystemFunction<t_queryKey>(L"ntdll.dll", "NtQueryKey");
    if (queryKey(key, 3, &name, sizeof(name), &size) != 0) { // a predefined key has no name; a new handle to it has
        EXPECT_EQ(0, queryKey(MakeKey(key, L"").Get(), 3, &name, sizeof(name), &size));
    }
    return {name.text, name.bytes / sizeof(wchar_t)};
}

t_scratchLink::t_scratchLink(HKEY root, const std::wstring& path, HKEY target)
{
    const std::wstring name = FullNameOf(target);
    MakeKey(root, path.substr(0, path.find_last_of(L'\\') + 1)); // or it would be volatile too
    EXPECT_EQ(ERROR_SUCCESS,
              RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_CREATE_LINK | REG_OPTION_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, link.Put(), nullptr));
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExW(link.Get(), L"SymbolicLinkValue", 0, REG_LINK, reinterpret_cast<const BYTE*>(name.data()),
                             static_cast<DWORD>(name.size() * sizeof(wchar_t))));
}

t_scratchLink::~t_scratchLink()
{
    // By its handle: RegDeleteKeyW may follow the link.
    EXPECT_EQ(0, FindSystemFunction<LONG(NTAPI*)(HKEY)>(L"ntdll.dll", "NtDeleteKey")(link.Get()));
}

t_keyHandle OpenKey(HKEY root, const std::wstring& path)
{
    t_keyHandle key;
    RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.Put());
    return key;
}

void WriteRaw(HKEY root, const std::wstring& path, const wchar_t* value, DWORD type, const void* data, DWORD bytes)
{
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExW(MakeKey(root, path).Get(), value, 0, type, static_cast<const BYTE*>(data), bytes));
}

void WriteText(HKEY root, const std::wstring& path, const wchar_t* value, const std::wstring& text)
{
    WriteRaw(root, path, value, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::wstring DumpKey(HKEY root, const std::wstring& path)
{
    const t_keyHandle key = OpenKey(root, path);
    return key ? ReadTree(key.Get()).Dump() : L"";
}

t_storedKey ReadTree(HKEY root)
{
    t_storedKey tree;
    wchar_t name[16384];
    std::vector<BYTE> data(1 << 17);
    for (DWORD index = 0;; ++index) {
        DWORD length = ARRAYSIZE(name), type = 0, bytes = static_cast<DWORD>(data.size());
        if (RegEnumValueW(root, index, name, &length, nullptr, &type, data.data(), &bytes) != ERROR_SUCCESS) {
            break;
        }
        tree.values.push_back({{name, length}, type, {data.begin(), data.begin() + bytes}});
    }
    for (DWORD index = 0; RegEnumKeyW(root, index, name, ARRAYSIZE(name)) == ERROR_SUCCESS; ++index) {
        if (const t_keyHandle key = OpenKey(root, name)) {
            tree.keys.push_back(ReadTree(key.Get()));
            tree.keys.back().name = name;
        }
    }
    return tree;
}

std::wstring t_storedKey::Dump(const std::wstring& path) const
{
    std::set<std::wstring> lines, below;
    for (const auto& [valueName, type, data] : values) {
        t_str line = valueName + FormatStr(L"=%u:", type);
        std::size_t i = 0;
        for (; (type == REG_SZ || type == REG_EXPAND_SZ) && i + 1 < data.size(); i += 2) {
            const auto unit = static_cast<wchar_t>(data[i] | data[i + 1] << 8);
            unit == 0 ? line << L"\\0" : line << unit;
        }
        for (; i < data.size(); ++i) {
            line.AppendFormat(L"%02x", data[i]);
        }
        lines.insert(line + L"\n");
    }
    for (const t_storedKey& key : keys) {
        below.insert(key.Dump(path.empty() ? key.name : path + L"\\" + key.name));
    }
    const std::wstring own = std::accumulate(lines.begin(), lines.end(), L"[" + path + L"]\n");
    return std::accumulate(below.begin(), below.end(), own);
}
