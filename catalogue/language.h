#pragma once

#include <cstdint>

// The language of the input method: Chinese (PRC). The low half of its layouts' identifiers and handles.
inline constexpr std::uint16_t kChinesePrc = 0x0804;
