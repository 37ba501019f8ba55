#include "diag/error_list_layout.h"

#include <atomic>
#include <utility>

namespace {

constexpr std::uint32_t kUnitBytes = 2;
constexpr std::uint32_t kHeaderBytes = 12;
constexpr std::uint32_t kEntryUnits = 2; // flag and terminator

// Fields are read and written in one access: what was checked is what is used, whatever another process writes
// meanwhile, and a process that dies never leaves half a number.
std::uint32_t Load(std::uint32_t& field)
{
    return std::atomic_ref(field).load(std::memory_order_acquire);
}

void Store(std::uint32_t& field, std::size_t offset)
{
    std::atomic_ref(field).store(static_cast<std::uint32_t>(offset), std::memory_order_release);
}

} // namespace

t_errorListLayout::t_errorListLayout(std::span<std::byte> listArea)
    : header(*reinterpret_cast<t_header*>(listArea.data())), area(listArea.first(listArea.size() & ~std::size_t{1}))
{
    static_assert(sizeof(t_header) == kHeaderBytes);
}

bool t_errorListLayout::ReadHeader(t_header& bounds) const
{
    bounds = {Load(header.capacity), Load(header.end), Load(header.begin)};
    return ((bounds.capacity | bounds.end | bounds.begin) % kUnitBytes) == 0 && bounds.capacity <= area.size() &&
           bounds.end <= bounds.capacity && bounds.begin <= bounds.end && bounds.begin >= kHeaderBytes;
}

t_byteReader t_errorListLayout::Unread(const t_header& bounds) const
{
    return t_byteReader(area.subspan(bounds.begin, bounds.end - bounds.begin));
}

void t_errorListLayout::InitialiseIfNew()
{
    if (Load(header.capacity) == 0) {
        Store(header.end, kHeaderBytes);
        Store(header.begin, kHeaderBytes);
        Store(header.capacity, area.size()); // last: it says that the others are there
    }
}

t_errorListResult t_errorListLayout::Contains(std::wstring_view text, bool& found) const
{
    t_header bounds;
    if (!ReadHeader(bounds)) {
        return t_errorListResult::damaged;
    }
    // Each unit is read once, where it lies: another process may write it meanwhile.
    const auto* at = reinterpret_cast<const volatile std::uint16_t*>(area.data() + bounds.begin);
    const auto* const end = at + (bounds.end - bounds.begin) / kUnitBytes;
    bool seen = false;
    while (!seen && at != end) {
        // A clear flag reads as an empty string before the text, a set one as the first character of it.
        const std::uint16_t flag = *at++;
        bool same = flag == 0 || (!text.empty() && text.front() == flag);
        const std::wstring_view expected = text.substr(same && flag != 0 ? 1 : 0);
        std::size_t length = 0;
        std::uint16_t unit = 1;
        while (same && at != end && (unit = *at++) != 0) {
            same = length < expected.size() && expected[length] == unit;
            ++length;
        }
        while (unit != 0 && at != end) {
            unit = *at++;
        }
        if (unit != 0) {
            return t_errorListResult::damaged;
        }
        seen = (same && length == expected.size()) || (flag == 0 && text.empty());
    }
    found = seen;
    return t_errorListResult::done;
}

t_errorListResult t_errorListLayout::Add(std::wstring_view text, bool flag)
{
    t_header bounds;
    bool found = false;
    if (!ReadHeader(bounds) || Contains(text, found) == t_errorListResult::damaged) {
        return t_errorListResult::damaged;
    }
    if (found) {
        return t_errorListResult::done;
    }
    const std::size_t bytes = (text.size() + kEntryUnits) * kUnitBytes;
    if (bytes > bounds.capacity - bounds.end) {
        return t_errorListResult::full;
    }
    t_byteWriter entry(area.subspan(bounds.end, bytes));
    entry.Write(std::uint16_t{flag});
    entry.WriteUnits(text);
    entry.Write(std::uint16_t{0});
    Store(header.end, bounds.end + bytes); // a process that dies before leaves the list as it was
    return t_errorListResult::done;
}

t_errorListResult t_errorListLayout::ReadNext(t_str& text, bool& flag)
{
    t_header bounds;
    if (!ReadHeader(bounds)) {
        return t_errorListResult::damaged;
    }
    t_byteReader unread = Unread(bounds);
    std::uint16_t storedFlag = 0;
    t_str stored;
    if (unread.Read(storedFlag)) {
        if (!unread.ReadText(stored)) {
            return t_errorListResult::damaged;
        }
        Store(header.begin, bounds.end - unread.Left());
    }
    text = std::move(stored);
    flag = storedFlag != 0;
    return t_errorListResult::done;
}

bool t_errorListLayout::HasUnread() const
{
    t_header bounds;
    return !ReadHeader(bounds) || bounds.begin != bounds.end;
}

t_errorListResult t_errorListLayout::MarkAllRead()
{
    t_header bounds;
    if (!ReadHeader(bounds)) {
        return t_errorListResult::damaged;
    }
    Store(header.begin, bounds.end);
    return t_errorListResult::done;
}
