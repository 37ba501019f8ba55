#pragma once

#include <cstdint>
#include <span>

#include "base/str.h"

namespace n_report {

// A text of the registry as it is stored.
struct t_storedText
{
    t_str text;
    t_str odd; // what Windows would have stored in another way; empty when nothing is odd
};

// Reads the data of a value that should be a text (REG_SZ): whole characters, ended by one terminator. Data of a type
// that holds no text gives none.
//   type  number of the stored type
t_storedText ReadStoredText(std::uint32_t type, std::span<const std::uint8_t> data);

// The same for an entry of a preload list, which also has eight hexadecimal digits under the number of its place.
//   name  name of the value
//   klid  receives the number; 0 when the text holds none
t_storedText ReadPreloadText(std::wstring_view name, std::uint32_t type, std::span<const std::uint8_t> data,
                             std::uint32_t& klid);

} // namespace n_report
