#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

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
