#pragma once

#include <array>
#include <cstring>
#include <map>

#include "tests/registry_tree.h"

// The lists of a user's hive that is plain data: how they are changed, written down step by step.
namespace n_model {

const std::wstring kPreload = L"Keyboard Layout\\Preload";
const std::wstring kSortOrder = L"SoftWare\\Microsoft\\CTF\\SortOrder\\AssemblyItem\\0x00000804";

inline void AddToSortOrder(t_storedKey& hive, std::uint32_t klid)
{
    t_storedKey* const language = hive.Key(kSortOrder);
    if (language == nullptr || language->keys.empty() || language->keys[0].name.size() >= 50) {
        return;
    }
    t_storedKey& list = language->keys[0];
    const auto count = static_cast<std::uint32_t>(list.keys.size());
    for (std::uint32_t i = 0; i < count; ++i) {
        const t_storedKey* const item = list.Key(FormatStr(L"%08x", i));
        const t_storedValue* const value = item != nullptr ? item->Value(L"KeyboardLayout") : nullptr;
        if (value != nullptr && value->data.size() == 4 && std::memcmp(value->data.data(), &klid, 4) == 0) {
            return;
        }
    }
    t_storedKey& item = list.Make(FormatStr(L"%08x", count));
    item.SetText(L"CLSID", L"{00000000-0000-0000-0000-000000000000}", true);
    item.SetText(L"Profile", L"{00000000-0000-0000-0000-000000000000}", true);
    item.Set(L"KeyboardLayout", REG_DWORD, &klid, 4);
}

// Makes the list's key anew, unless its sub-keys keep it from being deleted.
inline t_storedKey& RecreatePreload(t_storedKey& hive)
{
    t_storedKey& keyboardLayout = *hive.Key(L"Keyboard Layout");
    if (hive.Key(kPreload)->keys.empty()) {
        t_storedKey::Erase(keyboardLayout.keys, L"Preload");
    }
    return keyboardLayout.Make(L"Preload");
}

// Returns whether there is a list.
inline bool AddToPreload(t_storedKey& hive, std::uint32_t klid, bool vistaOrLater)
{
    if (vistaOrLater) {
        AddToSortOrder(hive, klid);
    }
    const t_storedKey* const preload = hive.Key(kPreload);
    if (preload == nullptr) {
        return false;
    }
    std::array<std::wstring, 100> slots;
    std::size_t count = 0;
    for (std::size_t index = 0; index < std::min<std::size_t>(preload->values.size(), 100); ++index) {
        const t_storedValue& value = preload->values[index];
        if (value.name.size() >= 10 || value.data.size() > 18) {
            break;
        }
        const long position = std::wcstol(value.name.c_str(), nullptr, 10);
        if (position >= 1 && position <= 99) {
            slots[static_cast<std::size_t>(position) - 1] = value.Text(8);
            ++count;
        }
    }
    const t_str text = FormatStr(L"%08X", klid);
    const auto end = slots.begin() + static_cast<std::ptrdiff_t>(count);
    if (count == 100 || std::any_of(slots.begin(), end, [&](const auto& slot) { return Fold(slot) == Fold(text); })) {
        return true;
    }
    slots[count] = text;
    t_storedKey& made = RecreatePreload(hive);
    for (std::size_t i = 0; i <= count; ++i) {
        slots[i].resize(8);
        made.SetText(std::to_wstring(i + 1), slots[i], true);
    }
    return true;
}

inline void RemoveFromPreload(t_storedKey& hive, std::uint32_t klid)
{
    const t_storedKey* const preload = hive.Key(kPreload);
    std::map<std::int32_t, std::uint32_t> map;
    for (const t_storedValue& value : preload != nullptr ? preload->values : std::vector<t_storedValue>()) {
        if (value.name.size() >= 512 || value.data.size() > 64) {
            break;
        }
        if (const std::uint32_t stored = Hex(value.Text(32)); stored != 0) {
            map[static_cast<std::int32_t>(std::wcstoul(value.name.c_str(), nullptr, 10))] = stored;
        }
    }
    const auto found = std::find_if(map.begin(), map.end(), [klid](const auto& entry) { return entry.second == klid; });
    if (found == map.end() || !preload->keys.empty()) {
        return;
    }
    map.erase(found);
    t_storedKey& made = RecreatePreload(hive);
    int position = 0;
    for (const auto& [old, stored] : map) {
        made.SetText(std::to_wstring(++position), FormatStr(L"%08x", stored), true);
    }
}

} // namespace n_model

// Writes lists as other programs may leave them: with gaps, in any spelling, of any type and length.
inline void WriteRandomLists(t_random& random, HKEY root, const std::wstring& hive)
{
    const std::wstring user = hive.empty() ? L"" : hive + L"\\", preload = user + n_model::kPreload,
                       list = user + n_model::kSortOrder + L"\\" +
                              (random.OneIn(8) ? std::wstring(48 + random.Below(3), L'x') : L"{34745C63}") + L"\\";
    const std::uint32_t klids[] = {0xE0200804, 0xE0210804, 0x00000804, 0x00000409};
    if (!random.OneIn(8)) {
        MakeKey(root, random.OneIn(8) ? user + L"Keyboard Layout" : preload);
    }
    const bool many = hive.empty() && random.OneIn(12); // of which none ends the reading or is asked for
    const auto write = [&](const std::wstring& name) {
        const std::wstring text = FormatStr(random.OneIn(2) ? L"%08x" : L"%08X", many ? klids[3] : random.Of(klids));
        many ? WriteText(root, preload, name.c_str(), text)
             : WriteRandomText(random, root, preload, name.c_str(),
                               random.Of({text, text, text, text.substr(0, 4), text + L"0"}));
    };
    int position = 0;
    for (auto count = many ? 98 + random.Below(6) : random.Below(6); count > 0; --count) {
        position += !many && random.OneIn(9) ? 2 : 1;
        write(random.OneIn(many ? 99 : 5)
                  ? random.Of({L"0", L"01", L"99", L"100", L"x", L" 2", L"1x", L"2x", L"-1", L"123456789",
                               L"1234567890", L"4294967297"})
                  : FormatStr(position < 100 ? L"%d" : L"0%d", (position - 1) % 99 + 1).c_str());
    }
    if (random.OneIn(20)) {
        write(std::wstring(510 + random.Below(3), L'0'));
    }
    if (random.OneIn(20)) {
        MakeKey(root, preload + L"\\x");
    }
    for (auto count = random.Below(4); count > 0; --count) {
        const std::uint32_t klid = random.OneIn(2) ? klids[2] : random.Of(klids);
        WriteRaw(root, list + FormatStr(L"%08x", count - random.Below(2)), L"KeyboardLayout",
                 random.OneIn(8) ? REG_BINARY : REG_DWORD, &klid, random.OneIn(4) ? 3 : 4);
    }
}
