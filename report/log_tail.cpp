#include "report/log_tail.h"

#include "base/byte_stream.h"

namespace n_report {

t_texts LastLines(std::string_view bytes, bool whole, std::size_t count)
{
    constexpr wchar_t kMark = 0xFEFF;
    t_texts lines(1);
    t_byteReader reader(std::as_bytes(std::span(bytes)));
    for (std::uint16_t unit = 0; reader.Read(unit);) {
        if (unit == L'\n') {
            lines.emplace_back();
        } else if (unit != L'\r' && unit != kMark) {
            lines.back() += static_cast<wchar_t>(unit);
        }
    }
    if (lines.back().empty()) {
        lines.pop_back(); // behind the last line end
    }
    if (!whole && !lines.empty()) {
        lines.erase(lines.begin());
    }
    if (lines.size() > count) {
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    }
    return lines;
}

} // namespace n_report
