#include "base/number_text.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::uint32_t kNoDigit = 99;

std::uint32_t DigitValue(wchar_t unit)
{
    if (unit >= L'0' && unit <= L'9') {
        return static_cast<std::uint32_t>(unit - L'0');
    }
    if (unit >= L'a' && unit <= L'f') {
        return static_cast<std::uint32_t>(unit - L'a' + 10);
    }
    if (unit >= L'A' && unit <= L'F') {
        return static_cast<std::uint32_t>(unit - L'A' + 10);
    }
    return kNoDigit;
}

bool IsSpace(wchar_t unit)
{
    return unit == L' ' || (unit >= L'\t' && unit <= L'\r');
}

// Takes the digits off the front of a text. Returns their number, which saturates just above 32 bits.
std::uint64_t TakeDigits(std::wstring_view& text, std::uint32_t base)
{
    std::uint64_t number = 0;
    for (; !text.empty() && DigitValue(text.front()) < base; text.remove_prefix(1)) {
        number = std::min(number * base + DigitValue(text.front()), std::uint64_t{0x1'0000'0000});
    }
    return number;
}

struct t_number
{
    bool negative = false;
    std::uint64_t magnitude = 0; // as TakeDigits returns it
};

t_number ParsePrefix(std::wstring_view text, std::uint32_t base)
{
    while (!text.empty() && IsSpace(text.front())) {
        text.remove_prefix(1);
    }
    t_number number;
    if (!text.empty() && (text.front() == L'-' || text.front() == L'+')) {
        number.negative = text.front() == L'-';
        text.remove_prefix(1);
    }
    if (base == 16 && text.size() > 2 && text[0] == L'0' && (text[1] == L'x' || text[1] == L'X') &&
        DigitValue(text[2]) < base) {
        text.remove_prefix(2);
    }
    number.magnitude = TakeDigits(text, base);
    return number;
}

std::uint32_t ToUnsigned(const t_number& number)
{
    if (number.magnitude > std::numeric_limits<std::uint32_t>::max()) {
        return std::numeric_limits<std::uint32_t>::max();
    }
    const auto value = static_cast<std::uint32_t>(number.magnitude);
    return number.negative ? 0u - value : value;
}

} // namespace

std::uint32_t ParseHexPrefix(std::wstring_view text)
{
    return ToUnsigned(ParsePrefix(text, 16));
}

std::uint32_t ParseUnsignedDecimalPrefix(std::wstring_view text)
{
    return ToUnsigned(ParsePrefix(text, 10));
}

std::int32_t ParseDecimalPrefix(std::wstring_view text)
{
    const t_number number = ParsePrefix(text, 10);
    const std::int64_t value =
        number.negative ? -static_cast<std::int64_t>(number.magnitude) : static_cast<std::int64_t>(number.magnitude);
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                                              std::numeric_limits<std::int32_t>::max()));
}

bool ParseDigits(std::wstring_view text, std::uint32_t base, std::uint32_t limit, std::uint32_t& value)
{
    if (text.empty()) {
        return false;
    }
    const std::uint64_t number = TakeDigits(text, base);
    if (!text.empty() || number > limit) {
        return false;
    }
    value = static_cast<std::uint32_t>(number);
    return true;
}

bool ParseHexDigits(std::wstring_view text, std::uint32_t& value)
{
    return text.size() <= 8 && ParseDigits(text, 16, std::numeric_limits<std::uint32_t>::max(), value);
}
