#include "base/guid_text.h"

#include "base/number_text.h"

t_str FormatGuid(const t_guid& guid)
{
    const std::uint8_t* d = guid.data4;
    return FormatStr(L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.data1, guid.data2, guid.data3, d[0],
                     d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
}

bool ParseGuid(std::wstring_view text, t_guid& guid)
{
    if (text.starts_with(L'{')) {
        text.remove_prefix(1);
    }
    const auto group = [text](std::size_t position, std::size_t digits, std::uint32_t& value) {
        return position + digits <= text.size() && ParseHexDigits(text.substr(position, digits), value);
    };

    std::uint32_t first = 0, second = 0, third = 0;
    if (!group(0, 8, first) || !group(9, 4, second) || !group(14, 4, third)) {
        return false;
    }
    t_guid parsed{first, static_cast<std::uint16_t>(second), static_cast<std::uint16_t>(third), {}};
    constexpr std::size_t kPairPositions[8] = {19, 21, 24, 26, 28, 30, 32, 34};
    for (std::size_t i = 0; i < 8; ++i) {
        std::uint32_t pair = 0;
        if (!group(kPairPositions[i], 2, pair)) {
            return false;
        }
        parsed.data4[i] = static_cast<std::uint8_t>(pair);
    }
    guid = parsed;
    return true;
}
