#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Takes little-endian numbers off some bytes, front to back and never beyond their end. Every byte is read once: bytes
// that somebody else may write meanwhile give what stood there at one time.
class t_byteReader
{
public:
    explicit t_byteReader(std::span<const std::byte> bytes) : rest(bytes) {}

    // The number of bytes that are left.
    std::size_t Left() const { return rest.size(); }

    // Takes a number of an unsigned type. Where fewer bytes are left than it has, returns false and takes none.
    template <class Integer>
    bool Read(Integer& number)
    {
        if (rest.size() < sizeof(Integer)) {
            return false;
        }
        number = 0;
        for (std::size_t i = 0; i < sizeof(Integer); ++i) {
            number = static_cast<Integer>(number | static_cast<Integer>(rest[i]) << (8 * i));
        }
        rest = rest.subspan(sizeof(Integer));
        return true;
    }

    // Takes UTF-16 units up to a terminator, and that. Returns false when there is none.
    //   text  receives the units before the terminator, or all that are left
    bool ReadText(std::wstring& text)
    {
        text.clear();
        std::uint16_t unit = 0;
        while (Read(unit)) {
            if (unit == 0) {
                return true;
            }
            text += static_cast<wchar_t>(unit);
        }
        return false;
    }

private:
    std::span<const std::byte> rest;
};

// Puts little-endian numbers into some bytes, front to back and never beyond their end.
class t_byteWriter
{
public:
    explicit t_byteWriter(std::span<std::byte> bytes) : rest(bytes) {}

    // Puts a number of an unsigned type. Where there is no room for it, returns false and puts none.
    template <class Integer>
    bool Write(Integer number)
    {
        if (rest.size() < sizeof(Integer)) {
            return false;
        }
        for (std::size_t i = 0; i < sizeof(Integer); ++i) {
            rest[i] = static_cast<std::byte>(number >> (8 * i));
        }
        rest = rest.subspan(sizeof(Integer));
        return true;
    }

    // Puts the units of a text without a terminator. Returns false when only a part had room.
    bool WriteUnits(std::wstring_view text)
    {
        for (const wchar_t unit : text) {
            if (!Write(static_cast<std::uint16_t>(unit))) {
                return false;
            }
        }
        return true;
    }

private:
    std::span<std::byte> rest;
};
