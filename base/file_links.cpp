#include "base/file_links.h"

#include <algorithm>

#include "base/system_function.h"

namespace {

// FILE_ATTRIBUTE_TAG_INFO and its class, which the headers declare for Vista and later only.
struct t_attributeTag
{
    DWORD attributes;
    DWORD reparseTag;
};
constexpr int kAttributeTagClass = 9;

} // namespace

std::size_t DriveLength(std::wstring_view fullPath)
{
    const std::size_t colon = fullPath.find(L':');
    return colon != fullPath.npos ? colon + 1
                                  : std::min(fullPath.size(), fullPath.find(L'\\', fullPath.find(L'\\', 2) + 1));
}

bool LeadsOverLink(const t_path& fullPath)
{
    std::size_t end = DriveLength(fullPath);
    while (end < fullPath.size()) {
        end = std::min(fullPath.size(), fullPath.find(L'\\', end + 1));
        const DWORD attributes = GetFileAttributesW(fullPath.substr(0, end).c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            return true;
        }
    }
    return false;
}

bool IsLink(HANDLE opened, DWORD attributes)
{
    using t_function = BOOL(WINAPI*)(HANDLE, int, void*, DWORD);
    const auto getInformation = FindSystemFunction<t_function>(L"kernel32.dll", "GetFileInformationByHandleEx");
    t_attributeTag tag{};
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (getInformation == nullptr || !getInformation(opened, kAttributeTagClass, &tag, sizeof(tag)) ||
            IsReparseTagNameSurrogate(tag.reparseTag));
}
