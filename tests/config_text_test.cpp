#include "config/config_text.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "config/encoding.h"

using namespace std::literals;

namespace n_config {

TEST(ConfigText, ReadsAndWritesLineByLine)
{
    const std::pair<std::wstring_view, std::wstring_view> cases[] = {
        {L";top\n\r\n \n[a]\r\nk=v\r\n; in a \t\r\r\ne=\r\n[b]",
         L";top\r\n\r\n[a]\r\nk=v\r\n; in a \t\r\r\ne=\r\n\r\n[b]\r\n"},
        {L"[ \tgeneral \r]rest]\r\n \tk = a = b \t\r\n = nameless\r\n;c", L"[general]\r\nk=a = b\r\n;c\r\n"},
        {L"lost=1\r\n[open\r\nlost=2\r\n[ ]\r\n[]\r\nlost=3\r\n[", L""},
        {L"[One]\r\nk=1\r\n[b]\r\n[open\r\n[oNE]\r\nK=2\r\nk=1", L"[One]\r\nk=1\r\nK=2\r\nk=1\r\n\r\n[b]\r\n"},
        {L"[a]\r\n\0lost=1\r\n \0k=1\r\nx\0y=\0"sv, L"[a]\r\n \0k=1\r\nx\0y=\0\r\n"sv}};
    t_configText text;
    for (const auto& [read, written] : cases) {
        text.Parse(std::wstring(read));
        EXPECT_EQ(written, text.Render());
        text.Parse(std::wstring(written));
        EXPECT_EQ(written, text.Render());
    }
}

TEST(ConfigText, FindsAndSetsValues)
{
    t_configText text;
    text.Parse(L"[Setting]\r\nCNT=1\r\ncnt=2\r\n[É]\r\nk=3");
    EXPECT_EQ(L"1", text.FindValue(L"sETTING", L"cnt"));
    EXPECT_EQ(std::nullopt, text.FindValue(L"setting", L"k"));
    EXPECT_EQ(std::nullopt, text.FindValue(L"é", L"k"));
    text.SetValue(L"é", L"[n]", L"");
    text.SetValue(L"setting", L"Cnt", L"a longer value");
    text.SetValue(L"É", L"m", L"two\nlines\r\nor three\n");
    EXPECT_EQ(L"a longer value", text.FindValue(L"setting", L"cnt"));
    EXPECT_EQ(L"[Setting]\r\nCNT=a longer value\r\ncnt=2\r\n\r\n"
              L"[É]\r\nk=3\r\nm=two\r\nlines\r\nor three\r\n\r\n\r\n[é]\r\n [n]=\r\n",
              text.Render());
}

TEST(ConfigEncoding, DecodesMarkedAndUnmarkedText)
{
    std::wstring decoded;
    for (const auto& [bytes, text] :
         {std::pair("\xFF\xFEk\0\x2D\x4E\0\xD8"sv, L"k中\xD800"),
          {"\xFE\xFF\0k\x4E\x2D"sv, L"k中"},
          {"\xEF\xBB\xBFk\xE4\xB8\xAD"sv, L"k中"},
          {"k\xC2\x80\xF0\x90\x80\x81\xF4\x8F\xBF\xBF"sv, L"k\x80\xD800\xDC01\xDBFF\xDFFF"}}) {
        EXPECT_EQ(t_decoded::text, DecodeText(bytes, decoded));
        EXPECT_EQ(text, decoded);
    }
    for (const std::string_view bytes : {"\xFF\xFEk"sv, "\xFE\xFF\0k\x4E"sv, "\xEF\xBB\xBF\xD6\xD0"sv}) {
        EXPECT_EQ(t_decoded::notText, DecodeText(bytes, decoded));
    }
    // Other text, cut, without a first byte, longer than needed, a surrogate, beyond Unicode, part of a mark.
    for (const std::string_view bytes :
         {"\xD6\xD0", "k\xE4\xB8", "\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
          "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xEF\xBB"}) {
        EXPECT_EQ(t_decoded::codePage936, DecodeText(bytes, decoded));
    }
}

} // namespace n_config
