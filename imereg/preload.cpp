#include "imereg/preload.h"

#include <cwchar>

#include "base/handles.h"
#include "base/registry_link.h"
#include "base/registry_text.h"
#include "base/trace.h"
#include "imereg/sort_order.h"

namespace {

constexpr wchar_t kKeyboardLayout[] = L"Keyboard Layout";
constexpr wchar_t kPreload[] = L"Preload";
constexpr wchar_t kPreloadPath[] = L"Keyboard Layout\\Preload";
constexpr wchar_t kTraceTag[] = L"更新预加载列表失败";

// The text in a buffer that a registry call filled; it need not be terminated.
std::wstring_view TextIn(const wchar_t* buffer, std::size_t units)
{
    return {buffer, wcsnlen(buffer, units)};
}

// Fills the table from the key's values, up to the first that cannot be read: one that is too long ends the list.
t_preloadSlots ReadSlots(HKEY preload)
{
    t_preloadSlots slots;
    for (DWORD index = 0; index < t_preloadSlots::kSlots; ++index) {
        wchar_t name[10] = {};
        wchar_t data[t_preloadSlots::kDigits + 1] = {};
        DWORD nameLength = ARRAYSIZE(name);
        DWORD size = sizeof(data);
        if (RegEnumValueW(preload, index, name, &nameLength, nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size) !=
            ERROR_SUCCESS) {
            break;
        }
        slots.Place(TextIn(name, ARRAYSIZE(name)), TextIn(data, ARRAYSIZE(data)));
    }
    return slots;
}

// Writes every slot with a stated length of eight digits. Returns the status of the last write.
LSTATUS WriteSlots(HKEY preload, const t_preloadSlots& slots)
{
    LSTATUS result = ERROR_SUCCESS;
    for (std::size_t i = 0; i < slots.Count(); ++i) {
        const t_str name = FormatStr(L"%d", static_cast<int>(i + 1));
        result = WriteTerminatedText(preload, name.c_str(), slots.Slot(i));
    }
    return result;
}

} // namespace

LSTATUS AddToPreload(std::uint32_t klid, HKEY hive, const wchar_t* label, bool traceEnabled)
{
    const auto traced = [&](const wchar_t* call, LSTATUS result) {
        if (traceEnabled) {
            n_trace::Trace(kTraceTag, L"%s: %s returns %d", label, call, result);
        }
        return result;
    };

    AddToSortOrder(klid, hive);

    t_keyHandle keyboardLayout;
    LSTATUS result = OpenUnlinkedKey(hive, kKeyboardLayout, KEY_ALL_ACCESS, keyboardLayout);
    if (result != ERROR_SUCCESS) {
        return traced(L"RegOpenKeyEx(Keyboard Layout)", result);
    }
    t_keyHandle preload;
    result = OpenUnlinkedKey(keyboardLayout.Get(), L"preload", KEY_ALL_ACCESS, preload);
    if (result != ERROR_SUCCESS) {
        return traced(L"RegOpenKeyEx(preload)", result);
    }
    t_preloadSlots slots = ReadSlots(preload.Get());
    if (slots.Contains(klid) || !slots.Append(klid)) {
        return ERROR_SUCCESS;
    }

    DeleteOpenKey(preload);
    result = CreateUnlinkedKey(keyboardLayout.Get(), kPreload, preload);
    if (result != ERROR_SUCCESS) {
        return traced(L"RegCreateKeyEx(Preload)", result);
    }
    result = WriteSlots(preload.Get(), slots);
    if (result != ERROR_SUCCESS) {
        traced(L"RegSetValueEx", result);
    }
    RegFlushKey(preload.Get());
    return RegFlushKey(hive);
}

void RemoveFromPreload(std::uint32_t klid, HKEY hive)
{
    t_preloadMap map;
    if (ReadPreloadMap(hive, map) && EraseFromPreloadMap(map, klid)) {
        WritePreloadMap(hive, map);
    }
}

bool ReadPreloadMap(HKEY hive, t_preloadMap& map)
{
    t_keyHandle preload;
    if (OpenUnlinkedKey(hive, kPreloadPath, KEY_ALL_ACCESS, preload) != ERROR_SUCCESS) {
        return false;
    }
    for (DWORD index = 0;; ++index) {
        wchar_t name[512] = {};
        wchar_t data[32] = {};
        DWORD nameLength = ARRAYSIZE(name);
        DWORD size = sizeof(data);
        if (RegEnumValueW(preload.Get(), index, name, &nameLength, nullptr, nullptr, reinterpret_cast<BYTE*>(data),
                          &size) != ERROR_SUCCESS) {
            return true;
        }
        PlaceInPreloadMap(map, TextIn(name, ARRAYSIZE(name)), TextIn(data, ARRAYSIZE(data)));
    }
}

void WritePreloadMap(HKEY hive, const t_preloadMap& map)
{
    t_keyHandle keyboardLayout;
    t_keyHandle preload;
    if (OpenUnlinkedKey(hive, kKeyboardLayout, KEY_ALL_ACCESS, keyboardLayout) != ERROR_SUCCESS ||
        OpenUnlinkedKey(keyboardLayout.Get(), kPreload, KEY_ALL_ACCESS, preload) != ERROR_SUCCESS ||
        DeleteOpenKey(preload) != ERROR_SUCCESS ||
        CreateUnlinkedKey(keyboardLayout.Get(), kPreload, preload) != ERROR_SUCCESS) {
        return;
    }
    int position = 0;
    for (const auto& [storedPosition, klid] : map) {
        const t_str name = FormatStr(L"%d", ++position);
        WriteTerminatedText(preload.Get(), name.c_str(), FormatStr(L"%08x", klid));
    }
}
