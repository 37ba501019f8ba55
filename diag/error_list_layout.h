#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/byte_stream.h"
#include "base/str.h"

enum class t_errorListResult
{
    done,
    full,    // the text does not fit
    damaged, // the list is not one that Add, ReadNext and MarkAllRead leave
};

// The byte layout of the shared error list: a header of three 32-bit little-endian fields (capacity, end, begin), all
// in bytes from the start of the area, then entries back to back, each a flag of 16 bits, a text in UTF-16LE and a
// terminator.
//
// Any process of the session can write to the area at any time. Every operation takes the header once, checks it, and
// looks at nothing outside the area, whatever stands there; a list found damaged is left as it is.
class t_errorListLayout
{
public:
    static constexpr std::uint32_t kBytes = 1048576;

    //   listArea  the list area, aligned to four bytes and at least as long as the header; must outlive this object
    explicit t_errorListLayout(std::span<std::byte> listArea);

    // Writes the header of an empty list when there is none yet (capacity 0).
    void InitialiseIfNew();

    // Appends a text unless it stands among the unread entries already. Only entries with a clear flag are found so:
    // the comparison takes each entry's flag and text as they follow each other, one string after the next, and a set
    // flag is the first character of one string with the text.
    //   text  without terminators in it
    t_errorListResult Add(std::wstring_view text, bool flag);

    // Takes the oldest unread entry; without one the text is empty and the flag clear.
    // Both outputs are unchanged when the list is damaged.
    t_errorListResult ReadNext(t_str& text, bool& flag);

    // Whether there is an entry that ReadNext would take, or one that is damaged.
    bool HasUnread() const;

    // Takes every unread entry.
    t_errorListResult MarkAllRead();

    // Whether the text is among the unread entries, by the rule of Add.
    t_errorListResult Contains(std::wstring_view text, bool& found) const;

private:
    struct t_header
    {
        std::uint32_t capacity, end, begin;
    };

    bool ReadHeader(t_header& bounds) const;
    t_byteReader Unread(const t_header& bounds) const;

    t_header& header;
    std::span<std::byte> area; // of whole units, with the header
};
