#include "tests/scratch_registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "base/str.h"
#include "base/system_function.h"

namespace {

constexpr wchar_t kScratchRoot[] = L"Software\\TarvoTests";

void DeleteTreeOf(HKEY key, const std::wstring& name)
{
    {
        t_keyHandle child;
        if (RegOpenKeyExW(key, name.c_str(), 0, KEY_ALL_ACCESS, child.Put()) != ERROR_SUCCESS) {
            return;
        }
        wchar_t sub[256];
        while (RegEnumKeyW(child.Get(), 0, sub, 256) == ERROR_SUCCESS) {
            DeleteTreeOf(child.Get(), sub);
        }
    }
    RegDeleteKeyW(key, name.c_str());
}

void Dump(HKEY key, const std::wstring& path, t_str& out)
{
    out << L"[" << path << L"]\n";
    std::map<std::wstring, t_str> values;
    wchar_t name[512];
    std::vector<BYTE> data(1 << 16);
    for (DWORD index = 0;; ++index) {
        DWORD length = 512, type = 0, bytes = static_cast<DWORD>(data.size());
        if (RegEnumValueW(key, index, name, &length, nullptr, &type, data.data(), &bytes) != ERROR_SUCCESS) {
            break;
        }
        t_str& line = values[std::wstring(name, length)];
        line << static_cast<std::uint32_t>(type) << L":";
        for (DWORD i = 0; i < bytes; ++i) {
            if ((type == REG_SZ || type == REG_EXPAND_SZ) && i + 1 < bytes) {
                const auto unit = static_cast<wchar_t>(data[i] | (data[i + 1] << 8));
                unit == 0 ? line << L"\\0" : line << unit;
                ++i;
            } else {
                line.AppendFormat(L"%02x", data[i]);
            }
        }
    }
    for (const auto& [valueName, line] : values) {
        out << valueName << L"=" << line << L"\n";
    }
    std::vector<std::wstring> subKeys;
    for (DWORD index = 0; RegEnumKeyW(key, index, name, 512) == ERROR_SUCCESS; ++index) {
        subKeys.emplace_back(name);
    }
    std::sort(subKeys.begin(), subKeys.end());
    for (const std::wstring& subKey : subKeys) {
        t_keyHandle child;
        if (RegOpenKeyExW(key, subKey.c_str(), 0, KEY_READ, child.Put()) == ERROR_SUCCESS) {
            Dump(child.Get(), path.empty() ? subKey : path + L"\\" + subKey, out);
        }
    }
}

} // namespace

t_scratchRegistry::t_scratchRegistry(std::initializer_list<HKEY> predefinedKeys)
    : path(FormatStr(L"%s\\%u", kScratchRoot, GetCurrentProcessId())), redirected(predefinedKeys)
{
    DeleteTreeOf(HKEY_CURRENT_USER, path);
    std::vector<std::pair<HKEY, t_keyHandle>> targets;
    for (const HKEY predefined : predefinedKeys) {
        const auto number = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(predefined));
        targets.emplace_back(predefined, MakeKey(HKEY_CURRENT_USER, FormatStr(L"%s\\%08x", path.c_str(), number)));
    }
    for (const auto& [predefined, target] : targets) {
        EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(predefined, target.Get()));
    }
}

t_scratchRegistry::~t_scratchRegistry()
{
    for (const HKEY predefined : redirected) {
        RegOverridePredefKey(predefined, nullptr);
    }
    DeleteTreeOf(HKEY_CURRENT_USER, path);
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

bool KeyExists(HKEY root, const std::wstring& path)
{
    t_keyHandle key;
    return RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
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
    t_str out;
    t_keyHandle key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS) {
        Dump(key.Get(), L"", out);
    }
    return out;
}
