#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstdint>
#include <string_view>

#include "base/str.h"

// A class or profile identifier, laid out as the system's GUID.
struct t_guid
{
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::uint8_t data4[8] = {};

    friend auto operator<=>(const t_guid&, const t_guid&) = default; // field by field, data4 byte by byte
};

// Whether every field is 0. As two numbers: the catalogue asks it of every pair of its records.
inline bool IsNullGuid(const t_guid& guid)
{
    const auto halves = std::bit_cast<std::array<std::uint64_t, 2>>(guid);
    return (halves[0] | halves[1]) == 0;
}

// The braced upper-case text of 38 characters, such as "{00000000-0000-0000-0000-000000000000}".
t_str FormatGuid(const t_guid& guid);

// Reads the text form, with or without its opening brace, at fixed positions; separators and what follows the last
// digit are not looked at.
//   guid  receives the identifier; unchanged on failure
// Returns false when a group of digits is not hexadecimal or the text is too short.
bool ParseGuid(std::wstring_view text, t_guid& guid);
