#include "diag/error_list_layout.h"

#include <algorithm>
#include <atomic>

namespace {

constexpr std::size_t kUnitBytes = 2;
constexpr std::size_t kHeaderBytes = 12;
constexpr std::size_t kEntryUnits = 2; // flag and terminator

bool EqualText(std::span<const std::uint16_t> stored, std::wstring_view text)
{
    return std::equal(
        stored.begin(), stored.end(), text.begin(), text.end(),
        [](std::uint16_t unit, wchar_t character) { return unit == static_cast<std::uint16_t>(character); });
}

// Fields are read and written in one access: what was checked is what is used, whatever another process writes
// meanwhile, and a process that dies never leaves half a number.
std::uint32_t Load(std::uint32_t& field)
{
    return std::atomic_ref(field).load(std::memory_order_acquire);
}

//   units  of the entries, from their start
void Store(std::uint32_t& field, std::size_t units)
{
    const auto bytes = static_cast<std::uint32_t>(kHeaderBytes + units * kUnitBytes);
    std::atomic_ref(field).store(bytes, std::memory_order_release);
}

std::size_t ToUnits(std::uint32_t offset)
{
    return (offset - kHeaderBytes) / kUnitBytes;
}

} // namespace

// Bytes become the objects that are laid over them; so header and entries are never the same memory as two types.
t_errorListLayout::t_errorListLayout(std::span<std::byte> area)
    : header(*reinterpret_cast<t_header*>(area.data())),
      units(reinterpret_cast<std::uint16_t*>(area.data() + kHeaderBytes), (area.size() - kHeaderBytes) / kUnitBytes)
{
    static_assert(sizeof(t_header) == kHeaderBytes);
}

bool t_errorListLayout::ReadHeader(t_bounds& bounds) const
{
    const std::uint32_t capacity = Load(header.capacity), end = Load(header.end), begin = Load(header.begin);
    if (((capacity | end | begin) % kUnitBytes) != 0 || capacity > kHeaderBytes + units.size_bytes() ||
        end > capacity || begin > end || begin < kHeaderBytes) {
        return false;
    }
    bounds = {ToUnits(capacity), ToUnits(end), ToUnits(begin)};
    return true;
}

void t_errorListLayout::InitialiseIfNew()
{
    if (Load(header.capacity) == 0) {
        Store(header.end, 0);
        Store(header.begin, 0);
        Store(header.capacity, units.size()); // last: it says that the others are there
    }
}

t_errorListResult t_errorListLayout::Contains(std::wstring_view text, bool& found) const
{
    t_bounds bounds;
    if (!ReadHeader(bounds)) {
        return t_errorListResult::damaged;
    }
    const auto end = units.begin() + static_cast<std::ptrdiff_t>(bounds.end);
    bool seen = false;
    for (auto at = units.begin() + static_cast<std::ptrdiff_t>(bounds.begin); at != end && !seen;) {
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
    t_bounds bounds;
    bool found = false;
    if (!ReadHeader(bounds) || Contains(text, found) == t_errorListResult::damaged) {
        return t_errorListResult::damaged;
    }
    if (found) {
        return t_errorListResult::done;
    }
    if (text.size() + kEntryUnits > bounds.capacity - bounds.end) {
        return t_errorListResult::full;
    }
    const std::span<std::uint16_t> entry = units.subspan(bounds.end, text.size() + kEntryUnits);
    entry.front() = flag ? 1 : 0;
    std::transform(text.begin(), text.end(), entry.begin() + 1,
                   [](wchar_t character) { return static_cast<std::uint16_t>(character); });
    entry.back() = 0;
    Store(header.end, bounds.end + entry.size()); // a process that dies before leaves the list as it was
    return t_errorListResult::done;
}

t_errorListResult t_errorListLayout::ReadNext(t_str& text, bool& flag)
{
    t_bounds bounds;
    if (!ReadHeader(bounds)) {
        return t_errorListResult::damaged;
    }
    const std::span<const std::uint16_t> unread = units.subspan(bounds.begin, bounds.end - bounds.begin);
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
    Store(header.begin, bounds.begin + static_cast<std::size_t>(terminator - unread.begin()) + 1);
    return t_errorListResult::done;
}

bool t_errorListLayout::HasUnread() const
{
    t_bounds bounds;
    return !ReadHeader(bounds) || bounds.begin != bounds.end;
}

t_errorListResult t_errorListLayout::MarkAllRead()
{
    t_bounds bounds;
    if (!ReadHeader(bounds)) {
        return t_errorListResult::damaged;
    }
    Store(header.begin, bounds.end);
    return t_errorListResult::done;
}
