#include "base/elf_hash.h"

#include "base/ascii_case.h"

namespace {

std::uint32_t Mix(std::uint32_t hash, wchar_t unit)
{
    hash = (hash << 4) + static_cast<std::uint32_t>(unit);
    const std::uint32_t high = hash & 0xF0000000u;
    return hash ^ (high >> 24) ^ high;
}

} // namespace

std::uint32_t ElfHash(std::wstring_view text)
{
    std::uint32_t hash = 0;
    for (const wchar_t unit : text) {
        hash = Mix(hash, unit);
    }
    return hash;
}

std::uint32_t ElfHashIgnoringCase(std::wstring_view text)
{
    std::uint32_t hash = 0;
    for (const wchar_t unit : text) {
        hash = Mix(hash, FoldCase(unit));
    }
    return hash;
}
