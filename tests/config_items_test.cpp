#include "config/typed_items.h"

#include <gtest/gtest.h>

using namespace std::literals;

namespace n_config {

TEST(ConfigItems, WriteIntegersIntoLargeEnoughBuffers)
{
    std::wstring buffer(12, L'#');
    EXPECT_FALSE(FormatInteger(1, t_integerStyle::decimal, std::span(buffer.data(), 10)));
    EXPECT_FALSE(FormatInteger(INT32_MIN, t_integerStyle::decimal, std::span(buffer.data(), 11)));
    EXPECT_EQ(std::wstring(12, L'#'), buffer);
    EXPECT_TRUE(FormatInteger(INT32_MIN, t_integerStyle::decimal, buffer));
    EXPECT_EQ(L"-2147483648\0"sv, buffer);
}

// Every kind of item: what is read from a stored text, and what is stored for it then.
TEST(ConfigItems, ReadAndWriteTheirKeys)
{
    const auto stored = [](auto item, std::wstring_view value, bool supplied) {
        t_configText text;
        text.SetValue(L"s", L"pk", value);
        item.Read(text, L"s", L"p");
        EXPECT_EQ(supplied, item.IsSupplied());
        item.Write(text, L"s", L"p");
        return std::wstring(*text.FindValue(L"s", L"pk"));
    };
    for (const wchar_t* const number : {L"0x10", L"+2147483647", L"-2147483648", L"0xffffffff"}) {
        EXPECT_EQ(number, stored(t_int(L"k", 7), number, true)) << "the user's spelling of the value";
    }
    for (const wchar_t* const other : {L"7 days", L"2147483648", L"-2147483649", L"0x100000000", L"-0x1", L""}) {
        EXPECT_EQ(L"0xff", stored(t_hexInt(L"k", 255), other, false));
    }
    EXPECT_EQ(L"", stored(t_str(L"k", L"default"), L"", true));
    EXPECT_EQ(L"a, b,", stored(t_list(L"k"), L"a, b,", true));
    EXPECT_EQ(L"{00000000-0000-0000-0000-000000000000}", stored(t_guid(L"k"), L"{0}", false));

    t_configText text;
    t_int number(L"k", 3);
    number.Set(-4);
    number.Write(text, L"s");
    EXPECT_EQ(L"-4", text.FindValue(L"s", L"k"));
    number.Read(text, L"other");
    EXPECT_EQ(3, number.Value());
    t_listCodec::t_value list;
    EXPECT_TRUE(t_listCodec::Parse(L" a ,,b", list));
    EXPECT_EQ((t_listCodec::t_value{L"a", L"", L"b"}), list);
    EXPECT_EQ(L"a,,b", t_listCodec::Format(list));
    EXPECT_EQ(std::wstring(258, L'p') + L"k", ComposeKeyName(std::wstring(258, L'p'), L"key"));
}

} // namespace n_config
