#pragma once

#include <optional>
#include <string>
#include <string_view>

// The stored forms of a configuration text. Byte order is spelled out, so the results do not depend on the platform.
namespace n_config {

enum class t_decoded
{
    text,        // the text was decoded
    codePage936, // no mark and not UTF-8: the bytes are for the system's converter
    notText,     // the bytes are no text of the encoding that their mark announces
};

// Decodes UTF-16 behind the marks FF FE (little-endian) and FE FF (big-endian), UTF-8 behind EF BB BF, and UTF-8
// without a mark. Nothing is replaced or left out: half a UTF-16 unit at the end, invalid UTF-8 behind its mark, or a
// zero byte in unmarked text is not text, because a file read with a loss would later be saved with it. Single
// surrogates in UTF-16 are kept.
//   text  receives the text without its mark; of no meaning with the other results
[[nodiscard]] t_decoded DecodeText(std::string_view bytes, std::wstring& text);

// The text behind the mark of UTF-16 as this machine keeps it, without decoding: the bytes are seen as its units. None
// when they begin with another mark, end in half a unit, or do not lie where a unit may.
[[nodiscard]] std::optional<std::wstring_view> ViewUnits(std::string_view bytes);

} // namespace n_config
