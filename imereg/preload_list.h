#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "base/str.h"

// The two in-memory forms of a preload list: value names are positions counted from 1, data is a KLID in hexadecimal.
// Adding keeps the texts of the others as they are stored, removing writes all anew from their numbers. Each reads what
// the other writes.

// Form used for adding: a table filled by value name, but searched and rewritten by count. With gaps in the numbering
// what stands beyond the count is dropped.
class t_preloadSlots
{
public:
    static constexpr std::size_t kSlots = 100;
    static constexpr std::size_t kDigits = 8;

    // Takes over one stored value when its name is a position from 1 to 99.
    //   data  cut to eight characters
    void Place(std::wstring_view name, std::wstring_view data);

    // Whether the KLID's eight digits stand among the counted slots, in any letter case.
    bool Contains(std::uint32_t klid) const;

    // Puts the KLID, in upper-case digits, behind the counted slots. Returns false when the table has no room.
    bool Append(std::uint32_t klid);

    // The eight units of a counted slot: a text shorter than that is filled up with 0. The first belongs to value "1".
    std::size_t Count() const { return count; }
    std::wstring Slot(std::size_t index) const { return {slots[index].data(), kDigits}; }

private:
    std::array<std::array<wchar_t, kDigits + 1>, kSlots> slots = {};
    std::size_t count = 0;
};

// Form used for removing: position to KLID, in ascending order of positions.
using t_preloadMap = std::map<std::int32_t, std::uint32_t>;

// Takes over one stored value, replacing an entry of the same position; data that holds no KLID is skipped.
void PlaceInPreloadMap(t_preloadMap& map, std::wstring_view name, std::wstring_view data);

// Erases the first entry that holds the KLID. Returns false when there is none.
bool EraseFromPreloadMap(t_preloadMap& map, std::uint32_t klid);
