#include "base/image_code.h"

#include <algorithm>

#include "base/byte_stream.h"

namespace {

// Offsets and numbers of the file format.
constexpr std::uint16_t kDosMark = 0x5A4D;       // "MZ"
constexpr std::uint32_t kImageMark = 0x00004550; // "PE" and two zeros
constexpr std::uint16_t kMachineX64 = 0x8664;
constexpr std::uint16_t kFormat64 = 0x020B;
constexpr std::size_t kImageOffsetField = 0x3C;
constexpr std::size_t kFileHeaderBytes = 24; // with the mark before it
constexpr std::size_t kPreferredAddressField = 24;
constexpr std::size_t kDirectoryCountField = 108;
constexpr std::size_t kDirectories = 112;
constexpr std::size_t kSectionBytes = 40;
constexpr std::size_t kMaxSections = 96; // the loader takes no more
constexpr std::size_t kExports = 0, kUnwindEntries = 3, kRelocations = 5;
constexpr std::uint32_t kUnwindEntryBytes = 12;
constexpr std::uint32_t kRelocationHeaderBytes = 8;
constexpr unsigned kRelocation32 = 3, kRelocation64 = 10;

} // namespace

t_imageFile::t_imageFile(std::span<const std::uint8_t> fileBytes) : file(fileBytes)
{
    const std::size_t header = Read<std::uint32_t>(kImageOffsetField);
    optionalHeader = header + kFileHeaderBytes;
    valid = Read<std::uint16_t>(0) == kDosMark && Read<std::uint32_t>(header) == kImageMark &&
            Read<std::uint16_t>(header + 4) == kMachineX64 && Read<std::uint16_t>(optionalHeader) == kFormat64;
    preferredAddress = Read<std::uint64_t>(optionalHeader + kPreferredAddressField);
    sectionCount = std::min<std::size_t>(Read<std::uint16_t>(header + 6), kMaxSections);
    sections = optionalHeader + Read<std::uint16_t>(header + 20);
}

template <class Integer>
Integer t_imageFile::Read(std::size_t offset) const
{
    Integer number = 0;
    if (offset <= file.size()) {
        t_byteReader(std::as_bytes(file.subspan(offset))).Read(number);
    }
    return number;
}

std::span<const std::uint8_t> t_imageFile::BytesAt(std::uint64_t address) const
{
    for (std::size_t i = 0; i < sectionCount; ++i) {
        const std::size_t section = sections + i * kSectionBytes;
        const std::uint64_t begin = Read<std::uint32_t>(section + 12);
        const std::uint64_t size = Read<std::uint32_t>(section + 16);
        const std::uint64_t offset = Read<std::uint32_t>(section + 20);
        if (address >= begin && address < begin + size) {
            const std::uint64_t from = offset + (address - begin);
            const std::uint64_t to = std::min<std::uint64_t>(offset + size, file.size());
            return from < to ? file.subspan(from, to - from) : std::span<const std::uint8_t>();
        }
    }
    return {};
}

template <class Integer>
Integer t_imageFile::ReadAt(std::uint64_t address) const
{
    const std::span<const std::uint8_t> bytes = BytesAt(address);
    return bytes.size() < sizeof(Integer) ? Integer{0}
                                          : Read<Integer>(static_cast<std::size_t>(bytes.data() - file.data()));
}

t_imageFile::t_range t_imageFile::Directory(std::size_t index) const
{
    if (!valid || index >= Read<std::uint32_t>(optionalHeader + kDirectoryCountField)) {
        return {};
    }
    const std::size_t entry = optionalHeader + kDirectories + index * 8;
    return {Read<std::uint32_t>(entry), Read<std::uint32_t>(entry + 4)};
}

bool t_imageFile::HasNameAt(std::uint32_t address, std::string_view name) const
{
    const std::span<const std::uint8_t> bytes = BytesAt(address);
    return bytes.size() > name.size() && bytes[name.size()] == 0 && std::equal(name.begin(), name.end(), bytes.begin());
}

std::uint32_t t_imageFile::FindFunction(std::string_view name) const
{
    const t_range exports = Directory(kExports);
    const std::uint64_t functions = ReadAt<std::uint32_t>(exports.address + std::uint64_t{28});
    const std::uint64_t names = ReadAt<std::uint32_t>(exports.address + std::uint64_t{32});
    const std::uint64_t ordinals = ReadAt<std::uint32_t>(exports.address + std::uint64_t{36});
    // No more names than the file has room for, whatever it says.
    const std::uint64_t count =
        std::min<std::uint64_t>(ReadAt<std::uint32_t>(exports.address + std::uint64_t{24}), BytesAt(names).size() / 4);
    for (std::uint64_t i = 0; i < count; ++i) {
        if (HasNameAt(ReadAt<std::uint32_t>(names + i * 4), name)) {
            const std::uint64_t ordinal = ReadAt<std::uint16_t>(ordinals + i * 2);
            const std::uint32_t address = ReadAt<std::uint32_t>(functions + ordinal * 4);
            // An address inside the directory is that of a text: the name of a function of another library.
            return address - exports.address < exports.size ? 0 : address;
        }
    }
    return 0;
}

std::uint32_t t_imageFile::FunctionSize(std::uint32_t address) const
{
    const t_range entries = Directory(kUnwindEntries);
    const std::span<const std::uint8_t> bytes = BytesAt(entries.address);
    const auto size = static_cast<std::uint32_t>(std::min<std::size_t>(entries.size, bytes.size()));
    for (std::uint32_t at = 0; size - at >= kUnwindEntryBytes; at += kUnwindEntryBytes) {
        const std::uint64_t entry = std::uint64_t{entries.address} + at;
        const std::uint32_t end = ReadAt<std::uint32_t>(entry + 4);
        if (ReadAt<std::uint32_t>(entry) == address && end > address) {
            return std::min(end - address, kMaxFunctionBytes);
        }
    }
    return kLeafBytes;
}

itl::ImmSimpleArray<std::uint8_t> t_imageFile::ReadFunction(std::uint32_t address, std::uint64_t loadAddress) const
{
    std::span<const std::uint8_t> bytes = BytesAt(address);
    bytes = bytes.first(std::min<std::size_t>(bytes.size(), FunctionSize(address)));
    itl::ImmSimpleArray<std::uint8_t> code(bytes.begin(), bytes.end());
    Relocate(code, address, loadAddress - preferredAddress);
    return code;
}

// Adds the distance between the preferred and the real address to every absolute address within the code.
void t_imageFile::Relocate(std::span<std::uint8_t> code, std::uint32_t address, std::uint64_t distance) const
{
    const t_range relocations = Directory(kRelocations);
    const auto size =
        static_cast<std::uint32_t>(std::min<std::size_t>(relocations.size, BytesAt(relocations.address).size()));
    std::uint32_t blockBytes = 0;
    for (std::uint32_t block = 0; size - block >= kRelocationHeaderBytes; block += blockBytes) {
        const std::uint64_t header = std::uint64_t{relocations.address} + block;
        const std::uint64_t page = ReadAt<std::uint32_t>(header);
        blockBytes = std::min(ReadAt<std::uint32_t>(header + 4), size - block);
        if (blockBytes < kRelocationHeaderBytes) {
            return;
        }
        for (std::uint32_t at = kRelocationHeaderBytes; at + 2 <= blockBytes; at += 2) {
            const unsigned entry = ReadAt<std::uint16_t>(header + at);
            const unsigned kind = entry >> 12;
            const std::uint64_t target = page + (entry & 0x0FFF);
            const std::size_t width = kind == kRelocation64 ? 8 : kind == kRelocation32 ? 4 : 0;
            const std::uint64_t moved =
                (width == 8 ? ReadAt<std::uint64_t>(target) : ReadAt<std::uint32_t>(target)) + distance;
            // The number may begin before the code or end behind it.
            for (std::size_t i = 0; i < width; ++i) {
                const std::uint64_t index = target + i - address;
                if (index < code.size()) {
                    code[index] = static_cast<std::uint8_t>(moved >> (8 * i));
                }
            }
        }
    }
}
