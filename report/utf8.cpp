#include "report/utf8.h"

#include <cstdint>

namespace n_report {

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsHigh(std::uint32_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLow(std::uint32_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

void Append(std::string& bytes, std::uint32_t code)
{
    if (code < 0x80) {
        bytes += static_cast<char>(code);
        return;
    }
    // Groups of six bits, the first of which shares its byte with the mark that tells their number.
    const unsigned groups = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    bytes += static_cast<char>((0xFF00u >> (groups + 1) & 0xFFu) | code >> (6 * groups));
    for (unsigned group = groups; group-- > 0;) {
        bytes += static_cast<char>(0x80u | (code >> (6 * group) & 0x3Fu));
    }
}

} // namespace

std::string ToUtf8(std::wstring_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<std::uint32_t>(text[i]);
        if (IsHigh(unit) && i + 1 < text.size() && IsLow(static_cast<std::uint32_t>(text[i + 1]))) {
            Append(bytes, 0x10000 + ((unit - 0xD800) << 10) + (static_cast<std::uint32_t>(text[++i]) - 0xDC00));
        } else {
            Append(bytes, IsHigh(unit) || IsLow(unit) || unit > 0x10FFFF ? kReplacement : unit);
        }
    }
    return bytes;
}

} // namespace n_report
