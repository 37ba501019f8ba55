#pragma once

#include <cstdint>
#include <string_view>

// Number syntax of registry names and values, with 32-bit results on every platform.

// Reads the longest hexadecimal prefix as wcstoul with base 16 does: leading white space, a sign and "0x" are accepted,
// text without digits gives 0, too large a number gives 0xFFFFFFFF.
std::uint32_t ParseHexPrefix(std::wstring_view text);

// Reads the longest decimal prefix as wcstol with base 10 does, saturating at the 32-bit limits.
std::int32_t ParseDecimalPrefix(std::wstring_view text);

// Reads the longest decimal prefix as wcstoul with base 10 does, saturating at 0xFFFFFFFF.
std::uint32_t ParseUnsignedDecimalPrefix(std::wstring_view text);

// Reads a text that consists of digits and nothing else, as many as there are.
//   base   up to 16
//   limit  the largest number that is accepted
//   value  receives the number; unchanged on failure
// Returns false for an empty text, for one with anything else in it, and for a larger number.
[[nodiscard]] bool ParseDigits(std::wstring_view text, std::uint32_t base, std::uint32_t limit, std::uint32_t& value);

// Reads a text that consists of one to eight hexadecimal digits and nothing else. Returns false otherwise.
[[nodiscard]] bool ParseHexDigits(std::wstring_view text, std::uint32_t& value);
