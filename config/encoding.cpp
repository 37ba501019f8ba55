#include "config/encoding.h"

#include <bit>
#include <cstdint>

namespace n_config {

namespace {

constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf16BigEndianMark = "\xFE\xFF";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::uint32_t Byte(char byte)
{
    return static_cast<unsigned char>(byte);
}

bool DecodeUtf16(std::string_view bytes, bool bigEndian, std::wstring& text)
{
    text.resize(bytes.size() / 2);
    const std::size_t low = bigEndian ? 1 : 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<wchar_t>(Byte(bytes[2 * i + low]) | Byte(bytes[2 * i + 1 - low]) << 8);
    }
    return bytes.size() % 2 == 0;
}

bool DecodeUtf8(std::string_view bytes, std::wstring& text)
{
    text.resize(bytes.size());
    wchar_t* out = text.data();
    for (std::size_t i = 0; i < bytes.size();) {
        const std::uint32_t lead = Byte(bytes[i++]);
        const int following = lead < 0x80   ? 0
                              : lead < 0xC0 ? -1
                              : lead < 0xE0 ? 1
                              : lead < 0xF0 ? 2
                              : lead < 0xF8 ? 3
                                            : -1;
        if (following < 0 || bytes.size() - i < static_cast<std::size_t>(following)) {
            return false;
        }
        std::uint32_t point = following == 0 ? lead : lead & (0x3Fu >> following);
        for (int k = 0; k < following; ++k) {
            const std::uint32_t next = Byte(bytes[i++]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = point << 6 | (next & 0x3F);
        }
        constexpr std::uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
        if (point < kSmallest[following] || point > 0x10FFFF || (point >= 0xD800 && point < 0xE000)) {
            return false;
        }
        if (point >= 0x10000) {
            *out++ = static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10));
            point = 0xDC00 + (point & 0x3FF);
        }
        *out++ = static_cast<wchar_t>(point);
    }
    text.resize(static_cast<std::size_t>(out - text.data()));
    return true;
}

} // namespace

t_decoded DecodeText(std::string_view bytes, std::wstring& text)
{
    const auto behind = [bytes](std::string_view mark) { return bytes.substr(mark.size()); };
    bool valid = false;
    if (bytes.starts_with(kUtf16Mark)) {
        valid = DecodeUtf16(behind(kUtf16Mark), false, text);
    } else if (bytes.starts_with(kUtf16BigEndianMark)) {
        valid = DecodeUtf16(behind(kUtf16BigEndianMark), true, text);
    } else if (bytes.starts_with(kUtf8Mark)) {
        valid = DecodeUtf8(behind(kUtf8Mark), text);
    } else if (bytes.find('\0') != bytes.npos) {
        valid = false; // two-byte units without a mark, most likely: read as single bytes they would lose their lines
    } else if (!DecodeUtf8(bytes, text)) {
        return t_decoded::codePage936;
    } else {
        valid = true;
    }
    return valid ? t_decoded::text : t_decoded::notText;
}

std::optional<std::wstring_view> ViewUnits(std::string_view bytes)
{
    constexpr bool kLittleEndianUnits = sizeof(wchar_t) == 2 && std::endian::native == std::endian::little;
    if (!kLittleEndianUnits || !bytes.starts_with(kUtf16Mark) || bytes.size() % sizeof(wchar_t) != 0 ||
        reinterpret_cast<std::uintptr_t>(bytes.data()) % alignof(wchar_t) != 0) {
        return std::nullopt;
    }
    return std::wstring_view(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t)).substr(1);
}

} // namespace n_config
