// The value syntax of typed items, numbers against the C library.
#include <cerrno>
#include <cwchar>

#include "config/array_section.h"
#include "tests/fuzz/fuzz_input.h"

using namespace n_config;

namespace {

// What the C library reads from a text, or false; blanks before a number it takes and the items do not.
bool ReadWithLibrary(const std::wstring& text, std::int32_t& value)
{
    wchar_t* end = nullptr;
    errno = 0;
    const bool hexadecimal = text.starts_with(L"0x");
    const long long number = std::wcstoll(text.c_str(), &end, hexadecimal ? 16 : 10);
    const bool whole = !text.empty() && end == text.c_str() + text.size() && std::wcschr(L"+-0123456789", text[0]);
    value = static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
    return whole && errno == 0 && number <= (hexadecimal ? UINT32_MAX : INT32_MAX) && number >= INT32_MIN;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::wstring text = ToUnits(data, size);
    std::int32_t expected = 0, value = 0;
    const bool valid = ReadWithLibrary(text, expected);
    Check(ParseInteger(text, value) == valid);
    for (const auto style : {t_integerStyle::decimal, t_integerStyle::hexadecimal}) {
        wchar_t buffer[12];
        std::int32_t again = 0;
        Check(FormatInteger(expected, style, buffer) && ParseInteger(buffer, again) && again == expected);
    }
    Check(!valid || value == expected);

    // A list that was written reads as itself, unless it is one empty element.
    t_listCodec::t_value list, listAgain;
    t_listCodec::Parse(text, list);
    t_listCodec::Parse(t_listCodec::Format(list), listAgain);
    Check(list == listAgain || (list.size() == 1 && list[0].empty()));

    ::t_guid guid;
    if (t_guidCodec::Parse(text, guid)) {
        ::t_guid guidAgain;
        Check(t_guidCodec::Parse(t_guidCodec::Format(guid), guidAgain) && guid == guidAgain);
    }

    // As a whole file, whatever the count says, no more elements than sections, in order.
    t_configText file;
    file.Parse(text);
    const auto numbers = FindElements(file, L"i", expected);
    Check(numbers.size() <= file.SectionNames().size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        Check(numbers[i] > (i == 0 ? -1 : numbers[i - 1]) && numbers[i] < expected);
    }
    return 0;
}
