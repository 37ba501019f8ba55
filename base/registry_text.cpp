#include "base/registry_text.h"

namespace {

LSTATUS WriteCounted(HKEY key, const wchar_t* valueName, const wchar_t* text, std::size_t characters)
{
    return RegSetValueExW(key, valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                          static_cast<DWORD>(characters * sizeof(wchar_t)));
}

} // namespace

LSTATUS WriteTerminatedText(HKEY key, const wchar_t* valueName, const std::wstring& text)
{
    return WriteCounted(key, valueName, text.c_str(), text.size());
}

LSTATUS WriteUnterminatedText(HKEY key, const wchar_t* valueName, std::wstring_view text)
{
    const std::wstring guarded = std::wstring(text) + L'.';
    return WriteCounted(key, valueName, guarded.c_str(), text.size());
}
