#pragma once

#include <string_view>

#include "base/str.h"

// The base library's path string. Components are separated by backslashes.
class t_path : public t_str
{
public:
    using t_str::t_str;
    t_path() = default;
    t_path(t_str text) : t_str(std::move(text)) {}

    // Joins a component: one that begins with "." (an extension) is appended as it stands unless the path already ends
    // with it (letter case ignored); any other is appended after a backslash, which is added only when missing.
    // Returns *this.
    t_path& Join(std::wstring_view component);

    // Cuts the text at its last backslash. Returns false, and changes nothing, when it holds none.
    bool CutLastComponent();
};

// The text after the last backslash; the whole text when it has none.
std::wstring_view FileNamePart(std::wstring_view path);

// The path joined with a component by the rule of t_path::Join.
t_path JoinPath(std::wstring_view path, std::wstring_view component);
