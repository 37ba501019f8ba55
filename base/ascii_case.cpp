#include "base/ascii_case.h"

#include <algorithm>

std::wstring FoldCase(std::wstring_view text)
{
    std::wstring folded(text);
    for (wchar_t& unit : folded) {
        unit = FoldCase(unit);
    }
    return folded;
}

int CompareIgnoringCase(std::wstring_view a, std::wstring_view b)
{
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const wchar_t left = FoldCase(a[i]);
        const wchar_t right = FoldCase(b[i]);
        if (left != right) {
            return left < right ? -1 : 1;
        }
    }
    if (a.size() == b.size()) {
        return 0;
    }
    return a.size() < b.size() ? -1 : 1;
}

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b)
{
    return CompareIgnoringCase(a, b) == 0;
}
