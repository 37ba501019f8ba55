#include "imereg/sort_order.h"

#include "base/guid_text.h"
#include "base/handles.h"
#include "base/os_version.h"
#include "base/registry_link.h"
#include "base/registry_text.h"

namespace {

constexpr wchar_t kSortOrderPath[] = L"SoftWare\\Microsoft\\CTF\\SortOrder\\AssemblyItem\\0x00000804";

// Whether the item at an index of the list holds the layout.
bool HoldsLayout(HKEY list, DWORD index, std::uint32_t klid)
{
    t_keyHandle item;
    if (RegOpenKeyExW(list, FormatStr(L"%08x", index).c_str(), 0, KEY_READ, item.Put()) != ERROR_SUCCESS) {
        return false;
    }
    std::uint32_t stored = 0;
    DWORD size = sizeof(stored);
    return RegQueryValueExW(item.Get(), L"KeyboardLayout", nullptr, nullptr, reinterpret_cast<BYTE*>(&stored), &size) ==
               ERROR_SUCCESS &&
           size == sizeof(stored) && stored == klid;
}

} // namespace

void AddToSortOrder(std::uint32_t klid, HKEY hive)
{
    if (!IsVistaOrLater()) {
        return;
    }
    t_keyHandle language;
    if (OpenUnlinkedKey(hive, kSortOrderPath, KEY_ALL_ACCESS, language) != ERROR_SUCCESS) {
        return;
    }
    wchar_t listName[50] = {};
    t_keyHandle list;
    DWORD count = 0;
    if (RegEnumKeyW(language.Get(), 0, listName, ARRAYSIZE(listName)) != ERROR_SUCCESS ||
        OpenUnlinkedKey(language.Get(), listName, KEY_ALL_ACCESS, list) != ERROR_SUCCESS ||
        RegQueryInfoKeyW(list.Get(), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr) != ERROR_SUCCESS) {
        return;
    }
    for (DWORD index = 0; index < count; ++index) {
        if (HoldsLayout(list.Get(), index, klid)) {
            return;
        }
    }

    t_keyHandle item;
    if (CreateUnlinkedKey(list.Get(), FormatStr(L"%08x", count).c_str(), item) != ERROR_SUCCESS) {
        return;
    }
    // Null identifiers mark a plain keyboard layout; a text-service profile would have its own.
    const t_str nullGuid = FormatGuid(t_guid{});
    WriteTerminatedText(item.Get(), L"CLSID", nullGuid);
    WriteTerminatedText(item.Get(), L"Profile", nullGuid);
    RegSetValueExW(item.Get(), L"KeyboardLayout", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&klid), sizeof(klid));
}
