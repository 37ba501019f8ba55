#include "report/log_tail.h"

namespace n_report {

t_texts LastLines(std::string_view bytes, bool whole, std::size_t count)
{
    constexpr wchar_t kMark = 0xFEFF;
    t_texts lines(1);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto unit =
            static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
        if (unit == L'\n') {
            lines.emplace_back();
        } else if (unit != L'\r' && unit != kMark) {
            lines.back() += unit;
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
