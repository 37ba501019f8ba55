#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/simple_array.h"

// A 64-bit program or library as it lies in its file: finds its functions and tells what their code is in memory. Every
// number in the file is checked before it is used; what is out of range reads as not there.
class t_imageFile
{
public:
    // The code that is compared of a function without unwind data, and at most of any other, in bytes.
    static constexpr std::uint32_t kLeafBytes = 16;
    static constexpr std::uint32_t kMaxFunctionBytes = 4096;

    //   fileBytes  the whole file; must outlive this object
    explicit t_imageFile(std::span<const std::uint8_t> fileBytes);

    // Whether the file is an image of x64 code. On an ARM machine the system's libraries hold other code as well, and
    // what a program of this kind sees of them is no copy of the file.
    bool IsValid() const { return valid; }

    // Finds an exported function by name.
    // Returns its address relative to the image's; 0 when there is none, or when another library has the function.
    std::uint32_t FindFunction(std::string_view name) const;

    // The code of the function that begins at a relative address, as the loader leaves it in memory.
    //   loadAddress  where the image lies in memory
    // Empty when the address is not in the file.
    itl::ImmSimpleArray<std::uint8_t> ReadFunction(std::uint32_t address, std::uint64_t loadAddress) const;

private:
    struct t_range
    {
        std::uint32_t address = 0, size = 0;
    };

    // A little-endian number of the file; 0 outside it.
    template <class Integer>
    Integer Read(std::size_t offset) const;
    // The same at a relative address.
    template <class Integer>
    Integer ReadAt(std::uint64_t address) const;
    // The bytes at a relative address, up to the end of what the file holds of their section.
    std::span<const std::uint8_t> BytesAt(std::uint64_t address) const;

    t_range Directory(std::size_t index) const;
    bool HasNameAt(std::uint32_t address, std::string_view name) const;
    std::uint32_t FunctionSize(std::uint32_t address) const;
    void Relocate(std::span<std::uint8_t> code, std::uint32_t address, std::uint64_t distance) const;

    std::span<const std::uint8_t> file;
    bool valid = false;
    std::uint64_t preferredAddress = 0;
    std::size_t optionalHeader = 0;
    std::size_t sections = 0;
    std::size_t sectionCount = 0;
};
