#include "config/typed_items.h"

#include <algorithm>
#include <limits>

#include "base/number_text.h"

namespace n_config {

namespace {

constexpr std::size_t kMaxKeyName = 259;
constexpr std::size_t kMinIntegerBuffer = 11;

} // namespace

bool ParseInteger(std::wstring_view text, std::int32_t& value)
{
    constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
    std::uint32_t number = 0;
    if (text.starts_with(L"0x")) {
        if (!ParseDigits(text.substr(2), 16, std::numeric_limits<std::uint32_t>::max(), number)) {
            return false;
        }
    } else {
        const bool negative = text.starts_with(L'-');
        if (negative || text.starts_with(L'+')) {
            text.remove_prefix(1);
        }
        if (!ParseDigits(text, 10, negative ? kLargest + 1 : kLargest, number)) {
            return false;
        }
        number = negative ? 0u - number : number;
    }
    value = static_cast<std::int32_t>(number);
    return true;
}

bool FormatInteger(std::int32_t value, t_integerStyle style, std::span<wchar_t> buffer)
{
    // The eleven characters that every caller must offer do not hold "-2147483648" with its terminator.
    const ::t_str text = FormatStr(style == t_integerStyle::decimal ? L"%d" : L"0x%x", value);
    if (buffer.size() < kMinIntegerBuffer || buffer.size() <= text.size()) {
        return false;
    }
    std::copy_n(text.c_str(), text.size() + 1, buffer.begin());
    return true;
}

::t_str ComposeKeyName(std::wstring_view prefix, std::wstring_view name)
{
    ::t_str composed{std::wstring(prefix)};
    composed += name;
    composed.resize(std::min(composed.size(), kMaxKeyName));
    return composed;
}

bool t_stringCodec::Parse(std::wstring_view text, t_value& value)
{
    value.assign(text);
    return true;
}

bool t_listCodec::Parse(std::wstring_view text, t_value& value)
{
    value.clear();
    for (bool more = !text.empty(); more;) {
        const std::size_t comma = text.find(L',');
        value.emplace_back(std::wstring(TrimWhiteSpace(text.substr(0, comma))));
        more = comma != text.npos;
        text.remove_prefix(more ? comma + 1 : 0);
    }
    return true;
}

::t_str t_listCodec::Format(const t_value& value)
{
    ::t_str text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        text << (i != 0 ? L"," : L"") << value[i];
    }
    return text;
}

} // namespace n_config
