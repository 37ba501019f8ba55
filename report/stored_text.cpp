#include "report/stored_text.h"

#include <algorithm>

#include "base/byte_stream.h"
#include "base/number_text.h"

namespace n_report {

namespace {

constexpr std::uint32_t kText = 1, kExpandText = 2, kTexts = 7;
constexpr const wchar_t* kTypeNames[] = {L"REG_NONE",
                                         L"REG_SZ",
                                         L"REG_EXPAND_SZ",
                                         L"REG_BINARY",
                                         L"REG_DWORD",
                                         L"REG_DWORD_BIG_ENDIAN",
                                         L"REG_LINK",
                                         L"REG_MULTI_SZ",
                                         L"REG_RESOURCE_LIST",
                                         L"REG_FULL_RESOURCE_DESCRIPTOR",
                                         L"REG_RESOURCE_REQUIREMENTS_LIST",
                                         L"REG_QWORD"};

void AddOddity(t_str& odd, const t_str& oddity)
{
    odd << (odd.empty() ? L"" : L", ") << oddity;
}

} // namespace

t_storedText ReadStoredText(std::uint32_t type, std::span<const std::uint8_t> data)
{
    t_storedText stored;
    if (type != kText) {
        AddOddity(stored.odd, type < std::size(kTypeNames) ? FormatStr(L"type %s instead of REG_SZ", kTypeNames[type])
                                                           : FormatStr(L"type %u instead of REG_SZ", type));
    }
    if (type != kText && type != kExpandText && type != kTexts) {
        return stored;
    }
    t_str units;
    t_byteReader reader(std::as_bytes(data));
    for (std::uint16_t unit = 0; reader.Read(unit);) {
        units += static_cast<wchar_t>(unit);
    }
    if (data.size() % 2 != 0) {
        AddOddity(stored.odd, FormatStr(L"%u bytes, half a character", static_cast<std::uint32_t>(data.size())));
    }
    const std::size_t end = units.find(L'\0');
    if (end == t_str::npos) {
        AddOddity(stored.odd, L"no terminator");
    } else if (end + 1 < units.size() && type != kTexts) {
        AddOddity(stored.odd, FormatStr(L"%u characters behind its terminator",
                                        static_cast<std::uint32_t>(units.size() - end - 1)));
    }
    stored.text = t_str(units.substr(0, end));
    return stored;
}

t_storedText ReadPreloadText(std::wstring_view name, std::uint32_t type, std::span<const std::uint8_t> data,
                             std::uint32_t& klid)
{
    t_storedText stored = ReadStoredText(type, data);
    if (name.empty() || name.front() == L'0' || name.find_first_not_of(L"0123456789") != name.npos) {
        AddOddity(stored.odd, L"its name is no place in the list");
    }
    if (stored.text.size() != 8 || !ParseHexDigits(stored.text, klid)) {
        klid = ParseHexPrefix(stored.text);
        AddOddity(stored.odd, L"not eight hexadecimal digits");
    }
    return stored;
}

} // namespace n_report
