#pragma once

#include <cstdint>
#include <string_view>

// The classic ELF hash over a text's units, as they stand.
std::uint32_t ElfHash(std::wstring_view text);

// The same over the units with 'A' to 'Z' lowered: the hash of names that compare without letter case.
std::uint32_t ElfHashIgnoringCase(std::wstring_view text);
