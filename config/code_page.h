#pragma once

#include <string>
#include <string_view>

namespace n_config {

// Convert between the Simplified Chinese code page (936) and UTF-16. Both return false when anything would be lost, or
// when the system has no such code page. Texts are shorter than 2^31 characters. Behind them: MultiByteToWideChar,
// WideCharToMultiByte.
[[nodiscard]] bool DecodeCodePage936(std::string_view bytes, std::wstring& text);
[[nodiscard]] bool EncodeCodePage936(std::wstring_view text, std::string& bytes);

} // namespace n_config
