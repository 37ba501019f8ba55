#include "imereg/layout_keys.h"

#include <algorithm>

#include "base/ascii_case.h"
#include "base/number_text.h"
#include "base/registry_text.h"
#include "base/trace.h"
#include "catalogue/language.h"

namespace {

constexpr wchar_t kLayoutsPath[] = L"System\\CurrentControlSet\\Control\\Keyboard Layouts";
constexpr DWORD kMaxSubKeys = 250;
constexpr std::size_t kImeFileUnits = 200;
constexpr std::size_t kLayoutTextUnits = 260;

LSTATUS OpenLayout(HKEY layouts, std::uint32_t klid, REGSAM access, t_keyHandle& layout)
{
    return RegOpenKeyExW(layouts, FormatStr(L"%08x", klid).c_str(), 0, access, layout.Put());
}

// Reads a text of at most `units` characters, its terminator included where it is stored.
template <std::size_t units>
LSTATUS ReadText(HKEY key, const wchar_t* valueName, t_str& text)
{
    wchar_t buffer[units + 1] = {};
    DWORD size = units * sizeof(wchar_t);
    const LSTATUS result = RegQueryValueExW(key, valueName, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    if (result == ERROR_SUCCESS) {
        buffer[size / sizeof(wchar_t)] = L'\0';
        text = buffer;
    }
    return result;
}

} // namespace

LSTATUS OpenLayoutsKey(REGSAM access, t_keyHandle& layouts)
{
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, kLayoutsPath, 0, access, layouts.Put());
}

itl::ImmSimpleArray<std::uint32_t> CollectChineseKlids(HKEY layouts)
{
    itl::ImmSimpleArray<std::uint32_t> klids;
    DWORD count = 0;
    RegQueryInfoKeyW(layouts, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr);
    for (DWORD index = 0; index < std::min(count, kMaxSubKeys); ++index) {
        wchar_t name[200] = {};
        DWORD length = ARRAYSIZE(name);
        const LSTATUS result = RegEnumKeyExW(layouts, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA) {
            continue;
        }
        name[ARRAYSIZE(name) - 1] = L'\0';
        if (const std::uint32_t klid = ParseHexPrefix(name); LOWORD(klid) == kChinesePrc) {
            klids.push_back(klid);
        }
    }
    return klids;
}

bool ReadImeFile(HKEY layouts, std::uint32_t klid, REGSAM access, t_str& imeFile)
{
    t_keyHandle layout;
    return OpenLayout(layouts, klid, access, layout) == ERROR_SUCCESS &&
           ReadText<kImeFileUnits>(layout.Get(), L"Ime File", imeFile) == ERROR_SUCCESS;
}

std::uint32_t FindLayoutKlidByImeFile(std::wstring_view imeFile)
{
    t_keyHandle layouts;
    if (OpenLayoutsKey(KEY_READ, layouts) != ERROR_SUCCESS) {
        return 0;
    }
    for (const std::uint32_t klid : CollectChineseKlids(layouts.Get())) {
        t_str stored;
        if (ReadImeFile(layouts.Get(), klid, KEY_READ, stored) && EqualIgnoringCase(stored, imeFile)) {
            return klid;
        }
    }
    return 0;
}

LSTATUS UpdateLayoutText(std::uint32_t klid, const std::wstring& text)
{
    t_keyHandle layouts;
    if (const LSTATUS result = OpenLayoutsKey(KEY_ALL_ACCESS, layouts); result != ERROR_SUCCESS) {
        return result;
    }
    t_keyHandle layout;
    if (const LSTATUS result = OpenLayout(layouts.Get(), klid, KEY_ALL_ACCESS, layout); result != ERROR_SUCCESS) {
        return result;
    }
    t_str stored;
    const LSTATUS result = ReadText<kLayoutTextUnits>(layout.Get(), L"layout text", stored);
    if (result != ERROR_SUCCESS || stored == text) {
        return result;
    }
    return WriteTerminatedText(layout.Get(), L"layout text", text);
}

void DeleteLayoutKey(std::uint32_t klid)
{
    const t_str path = FormatStr(L"%s\\%08X", kLayoutsPath, klid);
    const LSTATUS result = RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
    if (result != ERROR_SUCCESS) {
        n_trace::Trace(L"删除键盘布局失败", L"RegDeleteKey(%s) returns %d", path.c_str(), result);
    }
}
