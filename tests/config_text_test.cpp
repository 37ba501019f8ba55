#include "config/config_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "base/elf_hash.h"
#include "config/encoding.h"

using namespace std::literals;

namespace n_config {

TEST(ConfigText, ReadsAndWritesLineByLine)
{
    const std::pair<std::wstring_view, std::wstring_view> cases[] = {
        {L"", L""},
        {L"\r\n\n \r\n", L""},
        {L";top\r\n\r\n[a]\r\nk=v\r\n;in a\r\ne=\r\n\r\n[b]\r\nk=w\r\n",
         L";top\r\n\r\n[a]\r\nk=v\r\n;in a\r\ne=\r\n\r\n[b]\r\nk=w\r\n"},
        {L"[a]\nk=v\n;no end", L"[a]\r\nk=v\r\n;no end\r\n"},
        {L"; kept \t\r\r\n[a]", L"; kept \t\r\r\n\r\n[a]\r\n"},
        {L"[ \tgeneral \r]rest\r\n \tk = a = b \t\r\n", L"[general]\r\nk=a = b\r\n"},
        {L"lost=1\r\n[open\r\nlost=2\r\n[ ]\r\n[]\r\nlost=3\r\n[", L""},
        {L"[a]\r\nno value\r\n = nameless\r\n[open\r\nk=v", L"[a]\r\nk=v\r\n"},
        {L"[a]x]\r\n[[b]", L"[a]\r\n\r\n[[b]\r\n"},
        {L"[One]\r\nk=1\r\n[b]\r\n[oNE]\r\nl=2\r\n;c", L"[One]\r\nk=1\r\nl=2\r\n;c\r\n\r\n[b]\r\n"},
        {L"[a]\r\nk=1\r\nK=2\r\nk=1", L"[a]\r\nk=1\r\nK=2\r\nk=1\r\n"},
        // An indented line is a key, and must be one again when it is read the next time.
        {L"[a]\r\n ;c=d\r\n\t[b]=c\r\n [lost]\r\n ;lost\r\nk=v", L"[a]\r\n ;c=d\r\n [b]=c\r\nk=v\r\n"},
        {L"[a]\r\n\0lost=1\r\n \0k=1\r\nx\0y=\0"sv, L"[a]\r\n \0k=1\r\nx\0y=\0\r\n"sv},
        {L"[a]\rk=v\r[b]\r\nx=y\rz", L"[a]\r\nx=y\rz\r\n"},
        {L"[\xFF11]\n\xD800\x00E9=\xDC00", L"[\xFF11]\r\n\xD800\x00E9=\xDC00\r\n"},
    };
    t_configText text;
    for (const auto& [read, written] : cases) {
        text.Parse(read);
        EXPECT_EQ(written, text.Render());
        text.Parse(written);
        EXPECT_EQ(written, text.Render());
    }
    text.Clear();
    EXPECT_EQ(L"", text.Render());
}

TEST(ConfigText, FindsValues)
{
    t_configText text;
    text.Parse(L"[Setting]\r\nCNT=1\r\ncnt=2\r\nempty=\r\n ;c = d\r\n[É]\r\nk=3\r\n[b]\r\n[setting]\r\nlate=4");
    const struct
    {
        std::wstring_view section, key;
        std::optional<std::wstring_view> value;
    } cases[] = {
        {L"sETTING", L"cnt", L"1"},
        {L"setting", L"empty", L""},
        {L"setting", L"late", L"4"},
        {L"setting", L";C", L"d"},
        {L"É", L"k", L"3"},
        {L"é", L"k", std::nullopt},
        {L"b", L"late", {}},
        {L"nowhere", L"cnt", std::nullopt},
        {L"setting", L"", std::nullopt},
    };
    for (const auto& [section, key, value] : cases) {
        EXPECT_EQ(value, text.FindValue(section, key));
    }
    EXPECT_EQ((itl::ImmSimpleArray<std::wstring_view>{L"Setting", L"É", L"b"}), text.SectionNames());
}

TEST(ConfigText, SetsValues)
{
    t_configText text;
    text.Parse(L"[a]\r\nk=old\r\nl=1\r\nk=second");
    text.SetValue(L"A", L"K", L"a longer value");
    text.SetValue(L"a", L"m", L"two\nlines\r\nor three\n");
    text.SetValue(L"new", L"[n]", L"");
    EXPECT_EQ(L"[a]\r\nk=a longer value\r\nl=1\r\nk=second\r\nm=two\r\nlines\r\nor three\r\n\r\n\r\n[new]\r\n [n]=\r\n",
              text.Render());
    EXPECT_EQ(L"a longer value", text.FindValue(L"a", L"k"));
}

// The letters of each pair give the same hash, so all names of a length share one bucket.
TEST(ConfigText, FindsEveryNameOfOneHash)
{
    constexpr std::size_t kPairs = 12;
    const auto name = [](std::size_t number) {
        std::wstring units;
        for (std::size_t pair = 0; pair < kPairs; ++pair) {
            units += number >> pair & 1 ? L"ap" : L"b`";
        }
        return units;
    };
    ASSERT_EQ(ElfHash(name(0)), ElfHash(name(1234)));
    std::wstring input;
    constexpr std::size_t kNames = std::size_t{1} << kPairs;
    for (std::size_t i = 1; i < kNames; ++i) {
        const std::size_t number = i * 1237 % kNames;
        input += L"[" + name(number) + L"]\n" + name(number) + L"=" + std::to_wstring(number) + L"\n";
        input += L"[all]\n" + name(number) + L"=" + std::to_wstring(number) + L"\n";
    }
    t_configText text;
    text.Parse(input);
    for (std::size_t number = 1; number < kNames; ++number) {
        std::wstring upper = name(number);
        for (wchar_t& unit : upper) {
            unit = unit == L'`' ? unit : static_cast<wchar_t>(unit - 32);
        }
        ASSERT_EQ(std::to_wstring(number), text.FindValue(upper, name(number)));
        ASSERT_EQ(std::to_wstring(number), text.FindValue(L"all", upper));
    }
    EXPECT_EQ(std::nullopt, text.FindValue(L"all", name(0)));
    EXPECT_EQ(kNames, text.SectionNames().size());
}

TEST(ConfigEncoding, DecodesMarkedAndUnmarkedText)
{
    std::wstring decoded;
    const std::pair<std::string_view, std::wstring_view> texts[] = {
        {"", L""},
        {"\xFF\xFE", L""},
        {"\xFF\xFEk\0\x2D\x4E\0\xD8"sv, L"k中\xD800"},
        {"\xFE\xFF\0k\x4E\x2D"sv, L"k中"},
        {"\xEF\xBB\xBFk\xE4\xB8\xAD", L"k中"},
        {"k\xC2\x80\xF0\x90\x80\x81\xF4\x8F\xBF\xBF", L"k\x80\xD800\xDC01\xDBFF\xDFFF"},
    };
    for (const auto& [bytes, text] : texts) {
        EXPECT_EQ(t_decoded::text, DecodeText(bytes, decoded));
        EXPECT_EQ(text, decoded);
    }
    for (const std::string_view bytes : {"\xFF\xFEk"sv, "\xFE\xFF\0k\x4E"sv, "\xEF\xBB\xBF\xD6\xD0"sv}) {
        EXPECT_EQ(t_decoded::notText, DecodeText(bytes, decoded));
    }
    // Not UTF-8: other text, cut, without a first byte, longer than needed, a surrogate, beyond Unicode, parts of
    // marks.
    for (const std::string_view bytes :
         {"\xD6\xD0", "k\xE4\xB8", "\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
          "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xEF\xBB", "\xFF"}) {
        EXPECT_EQ(t_decoded::codePage936, DecodeText(bytes, decoded));
    }
    EXPECT_EQ(texts[2].first, EncodeUtf16(texts[2].second));
}

} // namespace n_config
