#include "imereg/preload_list.h"

#include <algorithm>

#include "base/ascii_case.h"
#include "base/number_text.h"

void t_preloadSlots::Place(std::wstring_view name, std::wstring_view data)
{
    const std::int64_t slot = std::int64_t{ParseDecimalPrefix(name)} - 1;
    if (slot < 0 || slot >= static_cast<std::int64_t>(kSlots) - 1) {
        return;
    }
    auto& target = slots[static_cast<std::size_t>(slot)];
    target.fill(L'\0');
    std::copy_n(data.begin(), std::min(data.size(), kDigits), target.begin());
    ++count;
}

bool t_preloadSlots::Contains(std::uint32_t klid) const
{
    const t_str text = FormatStr(L"%08X", klid);
    const auto end = slots.begin() + static_cast<std::ptrdiff_t>(std::min(count, kSlots));
    return std::any_of(slots.begin(), end, [&text](const auto& slot) { return EqualIgnoringCase(slot.data(), text); });
}

bool t_preloadSlots::Append(std::uint32_t klid)
{
    // Names such as "1" and "01" count twice for one slot, so the count can outgrow the table.
    if (count >= kSlots) {
        return false;
    }
    const t_str text = FormatStr(L"%08X", klid);
    std::copy_n(text.begin(), kDigits, slots[count].begin());
    ++count;
    return true;
}

void PlaceInPreloadMap(t_preloadMap& map, std::wstring_view name, std::wstring_view data)
{
    if (const std::uint32_t klid = ParseHexPrefix(data); klid != 0) {
        map[static_cast<std::int32_t>(ParseUnsignedDecimalPrefix(name))] = klid;
    }
}

bool EraseFromPreloadMap(t_preloadMap& map, std::uint32_t klid)
{
    const auto found = std::find_if(map.begin(), map.end(), [klid](const auto& entry) { return entry.second == klid; });
    if (found == map.end()) {
        return false;
    }
    map.erase(found);
    return true;
}
