#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/str.h"

// Ends the run when a property does not hold.
inline void Check(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

// The bytes as text: little-endian UTF-16 units.
inline t_str ToUnits(const std::uint8_t* data, std::size_t size)
{
    t_str text;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    }
    return text;
}

// Takes the text up to the next unit 0 from the front of the input.
inline t_str TakeText(std::wstring_view& input)
{
    t_str text{std::wstring(input.substr(0, input.find(L'\0')))};
    input.remove_prefix(text.size() < input.size() ? text.size() + 1 : input.size());
    return text;
}
