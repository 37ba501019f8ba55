#pragma once

#include <string>
#include <string_view>

namespace n_report {

// The UTF-8 form of a text in UTF-16 units. A single surrogate, which UTF-8 cannot hold, becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);

} // namespace n_report
