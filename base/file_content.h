#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

// The bytes of a file. The memory is not filled before they are read, as a string's would be, and is aligned for units
// of UTF-16, so that a text of these can be used where it lies.
struct t_fileContent
{
    std::unique_ptr<wchar_t[]> memory; // null for no bytes
    std::size_t size = 0;              // in bytes

    t_fileContent() = default;

    // Memory that cannot be had raises std::bad_alloc.
    explicit t_fileContent(std::size_t bytes)
        : memory(std::make_unique_for_overwrite<wchar_t[]>((bytes + sizeof(wchar_t) - 1) / sizeof(wchar_t))),
          size(bytes)
    {
    }

    char* Data() { return reinterpret_cast<char*>(memory.get()); }
    std::string_view Bytes() const { return {reinterpret_cast<const char*>(memory.get()), size}; }
};
