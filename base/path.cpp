#include "base/path.h"

#include "base/ascii_case.h"

t_path& t_path::Join(std::wstring_view component)
{
    if (component.starts_with(L'.')) {
        const bool present = size() >= component.size() &&
                             EqualIgnoringCase(std::wstring_view(*this).substr(size() - component.size()), component);
        if (!present) {
            append(component);
        }
        return *this;
    }
    if (!ends_with(L'\\')) {
        push_back(L'\\');
    }
    append(component);
    return *this;
}

bool t_path::CutLastComponent()
{
    const std::size_t backslash = rfind(L'\\');
    if (backslash == npos) {
        return false;
    }
    resize(backslash);
    return true;
}

std::wstring_view FileNamePart(std::wstring_view path)
{
    return path.substr(path.rfind(L'\\') + 1);
}

t_path JoinPath(std::wstring_view path, std::wstring_view component)
{
    t_path joined{t_str{std::wstring(path)}};
    joined.Join(component);
    return joined;
}
