// The value syntax of typed items, numbers against the C library.
#include <cerrno>
#include <cwchar>

#include "config/typed_items.h"
#include "tests/catalogue_model.h"
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

// What was written reads as itself; of lists but that of one empty element.
template <class Codec>
void CheckRoundTrip(const std::wstring& text)
{
    typename Codec::t_value value{}, again{};
    if (Codec::Parse(text, value) && !Codec::Format(value).empty()) {
        Check(Codec::Parse(Codec::Format(value), again) && again == value);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::wstring text = ToUnits(data, size);
    std::int32_t expected = 0, value = 0;
    const bool valid = ReadWithLibrary(text, expected);
    Check(ParseInteger(text, value) == valid && (!valid || value == expected));
    CheckRoundTrip<t_integerCodec<t_integerStyle::decimal>>(text);
    CheckRoundTrip<t_integerCodec<t_integerStyle::hexadecimal>>(text);
    CheckRoundTrip<t_listCodec>(text);
    CheckRoundTrip<t_guidCodec>(text);
    ::t_guid guid, guidExpected;
    Check(ParseGuid(text, guid) == n_model::ReadGuid(text, guidExpected) && guid == guidExpected);
    return 0;
}
