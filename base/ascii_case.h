#pragma once

#include <string>
#include <string_view>

// Letter case as the registry names and file names of this product need it: only 'A' to 'Z' are folded, so results do
// not depend on a locale.

// The lower-case form of one unit.
constexpr wchar_t FoldCase(wchar_t unit)
{
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + (L'a' - L'A')) : unit;
}

// The text with every unit folded.
std::wstring FoldCase(std::wstring_view text);

// Three-way comparison of the folded texts, unit by unit: negative, 0 or positive.
int CompareIgnoringCase(std::wstring_view a, std::wstring_view b);

// Whether the folded texts are the same.
bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b);
