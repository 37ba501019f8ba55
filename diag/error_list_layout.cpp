#include "diag/error_list_layout.h"

#include <algorithm>
#include <atomic>

namespace {

constexpr std::size_t kUnitBytes = 2;
constexpr std::size_t kHeaderUnits = 6;
constexpr std::size_t kEntryUnits = 2; // flag and terminator

constexpr std::size_t kCapacityField = 0, kEndField = 1, kBeginField = 2;

bool EqualText(std::span<const std::uint16_t> stored, std::wstring_view text)
{
    return std::equal(
        stored.begin(), stored.end(), text.begin(), text.end(),
        [](std::uint16_t unit, wchar_t character) { return unit == static_cast<std::uint16_t>(character); });
}

} // namespace

// Fields are read and written in one access: what was checked is what is used, whatever another process writes
// meanwhile, and a process that dies never leaves half a number.
std::uint32_t t_errorListLayout::Field(std::size_t index) const
{
    return std::atomic_ref(reinterpret_cast<std::uint32_t*>(units.data())[index]).load(std::memory_order_acquire);
}

void t_errorListLayout::SetField(std::size_t index, std::size_t value)
{
    const auto bytes = static_cast<std::uint32_t>(value * kUnitBytes);
    std::atomic_ref(reinterpret_cast<std::uint32_t*>(units.data())[index]).store(bytes, std::memory_order_release);
}

bool t_errorListLayout::ReadHeader(t_header& header) const
{
    const std::uint32_t capacity = Field(kCapacityField), end = Field(kEndField), begin = Field(kBeginField);
    header = {capacity / kUnitBytes, end / kUnitBytes, begin / kUnitBytes};
    return ((capacity | end | begin) % kUnitBytes) == 0 && header.capacity <= units.size() &&
           header.end <= header.capacity && header.begin <= header.end && header.begin >= kHeaderUnits;
}

void t_errorListLayout::InitialiseIfNew()
{
    if (Field(kCapacityField) == 0) {
        SetField(kEndField, kHeaderUnits);
        SetField(kBeginField, kHeaderUnits);
        SetField(kCapacityField, units.size()); // last: it says that the others are there
    }
}

t_errorListResult t_errorListLayout::Contains(std::wstring_view text, bool& found) const
{
    t_header header;
    if (!ReadHeader(header)) {
        return t_errorListResult::damaged;
    }
    const auto end = units.begin() + static_cast<std::ptrdiff_t>(header.end);
    bool seen = false;
    for (auto at = units.begin() + static_cast<std::ptrdiff_t>(header.begin); at != end && !seen;) {
        const auto entryText = at + 1;
        const auto terminator = std::find(entryText, end, 0);
        if (terminator == end) {
            return t_errorListResult::damaged;
        }
        // A clear flag reads as an empty string before the text, a set one as the first character of it.
        seen = *at == 0 ? text.empty() || EqualText({entryText, terminator}, text) : EqualText({at, terminator}, text);
        at = terminator + 1;
    }
    found = seen;
    return t_errorListResult::done;
}

t_errorListResult t_errorListLayout::Add(std::wstring_view text, bool flag)
{
    t_header header;
    bool found = false;
    if (!ReadHeader(header) || Contains(text, found) == t_errorListResult::damaged) {
        return t_errorListResult::damaged;
    }
    if (found) {
        return t_errorListResult::done;
    }
    if (text.size() + kEntryUnits > header.capacity - header.end) {
        return t_errorListResult::full;
    }
    const std::span<std::uint16_t> entry = units.subspan(header.end, text.size() + kEntryUnits);
    entry.front() = flag ? 1 : 0;
    std::transform(text.begin(), text.end(), entry.begin() + 1,
                   [](wchar_t character) { return static_cast<std::uint16_t>(character); });
    entry.back() = 0;
    SetField(kEndField, header.end + entry.size()); // a process that dies before leaves the list as it was
    return t_errorListResult::done;
}

t_errorListResult t_errorListLayout::ReadNext(t_str& text, bool& flag)
{
    t_header header;
    if (!ReadHeader(header)) {
        return t_errorListResult::damaged;
    }
    const std::span<const std::uint16_t> unread = units.subspan(header.begin, header.end - header.begin);
    if (unread.empty()) {
        text.clear();
        flag = false;
        return t_errorListResult::done;
    }
    const auto terminator = std::find(unread.begin() + 1, unread.end(), 0);
    if (terminator == unread.end()) {
        return t_errorListResult::damaged;
    }
    flag = unread.front() != 0;
    text.assign(unread.begin() + 1, terminator);
    SetField(kBeginField, header.begin + static_cast<std::size_t>(terminator - unread.begin()) + 1);
    return t_errorListResult::done;
}

bool t_errorListLayout::HasUnread() const
{
    t_header header;
    return !ReadHeader(header) || header.begin != header.end;
}

t_errorListResult t_errorListLayout::MarkAllRead()
{
    t_header header;
    if (!ReadHeader(header)) {
        return t_errorListResult::damaged;
    }
    SetField(kBeginField, header.end);
    return t_errorListResult::done;
}
