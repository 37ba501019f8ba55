#include "config/typed_items.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

using namespace std::literals;

namespace n_config {

TEST(ConfigItems, ReadsWholeIntegersOf32Bits)
{
    const std::pair<std::wstring_view, std::int32_t> accepted[] = {{L"0x10", 16},
                                                                   {L"16", 16},
                                                                   {L"-1", -1},
                                                                   {L"+5", 5},
                                                                   {L"007", 7},
                                                                   {L"2147483647", INT32_MAX},
                                                                   {L"-2147483648", INT32_MIN},
                                                                   {L"0xffffFFFF", -1},
                                                                   {L"0x0000000000000001", 1}};
    std::int32_t number = 0;
    for (const auto& [text, value] : accepted) {
        EXPECT_TRUE(ParseInteger(text, number));
        EXPECT_EQ(value, number);
    }
    number = 12345;
    for (const std::wstring_view text :
         {L"2147483648"sv, L"-2147483649"sv, L"0x100000000"sv, L"99999999999999999999999"sv,
          L"0x99999999999999999999999"sv, L"16a"sv, L"1 6"sv, L""sv, L"-"sv, L"0x"sv, L"0x-1"sv, L"-0x1"sv, L"0X10"sv,
          L"0xg"sv, L"1.0"sv, L"１"sv, L"1\0"sv}) {
        EXPECT_FALSE(ParseInteger(text, number)) << std::string(text.begin(), text.end());
    }
    EXPECT_EQ(12345, number);
}

TEST(ConfigItems, WritesIntegersIntoLargeEnoughBuffers)
{
    const struct
    {
        std::int32_t value;
        t_integerStyle style;
        std::size_t size;
        std::wstring_view text; // empty: refused
    } cases[] = {
        {0, t_integerStyle::decimal, 11, L"0"},
        {1, t_integerStyle::decimal, 10, L""},
        {-999999999, t_integerStyle::decimal, 11, L"-999999999"},
        {INT32_MIN, t_integerStyle::decimal, 11, L""}, // its terminator does not fit
        {INT32_MIN, t_integerStyle::decimal, 12, L"-2147483648"},
        {-1, t_integerStyle::hexadecimal, 11, L"0xffffffff"},
        {-1, t_integerStyle::hexadecimal, 10, L""},
        {0, t_integerStyle::hexadecimal, 11, L"0x0"},
    };
    for (const auto& [value, style, size, text] : cases) {
        std::array<wchar_t, 13> buffer;
        buffer.fill(L'#');
        EXPECT_EQ(!text.empty(), FormatInteger(value, style, std::span(buffer.data(), size)));
        EXPECT_EQ(text.empty() ? L"#############" : text,
                  std::wstring_view(buffer.data(), text.empty() ? 13 : text.size()));
        EXPECT_EQ(text.empty() ? L'#' : L'\0', buffer[text.size()]);
        EXPECT_EQ(L'#', buffer[size]);
    }
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
    EXPECT_EQ(L"0x10", stored(t_int(L"k", 7), L"0x10", true)); // the user's spelling of the value
    EXPECT_EQ(L"7", stored(t_int(L"k", 7), L"7 days", false));
    EXPECT_EQ(L"0xff", stored(t_hexInt(L"k", 255), L"", false));
    EXPECT_EQ(L"", stored(t_str(L"k", L"default"), L"", true));
    EXPECT_EQ(L"a, b,", stored(t_list(L"k"), L"a, b,", true));
    EXPECT_EQ(L"{00000000-0000-0000-0000-000000000000}", stored(t_guid(L"k"), L"{0}", false));

    t_configText text;
    t_list list(L"list", {L"x", L"y"});
    t_guid guid(L"guid");
    t_int number(L"number", 3);
    t_str missing(L"missing", L"d");
    guid.Set({0x1A, 0xB, 0xC, {1, 2, 3, 4, 5, 6, 7, 0xFF}});
    number.Set(-4);
    list.Write(text, L"s");
    guid.Write(text, L"s");
    number.Write(text, L"s");
    EXPECT_EQ(L"[s]\r\nlist=x,y\r\nguid={0000001A-000B-000C-0102-0304050607FF}\r\nnumber=-4\r\n", text.Render());
    missing.Read(text, L"s");
    EXPECT_EQ(L"d", missing.Value());
    number.Read(text, L"other");
    EXPECT_EQ(3, number.Value());
    text.SetValue(L"s", L"list", L" a ,,b");
    list.Read(text, L"S");
    EXPECT_EQ((itl::ImmSimpleArray<::t_str>{L"a", L"", L"b"}), list.Value());
}

TEST(ConfigItems, ComposeKeyNamesOfAtMost259Characters)
{
    EXPECT_EQ(L"item0type", ComposeKeyName(L"item0", L"type"));
    EXPECT_EQ(std::wstring(258, L'p') + L"k", ComposeKeyName(std::wstring(258, L'p'), L"key"));
}

} // namespace n_config
