#pragma once

#include <windows.h>

#include <cstdint>

// The handle of an IME layout is its KLID, a 32-bit number whose top bit is set: 64-bit Windows extends its sign.

inline std::uint32_t KlidOf(HKL layout)
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(layout));
}

inline HKL HandleOf(std::uint32_t klid)
{
    return reinterpret_cast<HKL>(static_cast<std::intptr_t>(static_cast<std::int32_t>(klid)));
}
