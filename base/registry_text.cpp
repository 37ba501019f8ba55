#include "base/registry_text.h"

#include <string>

LSTATUS WriteUnterminatedText(HKEY key, const wchar_t* valueName, std::wstring_view text)
{
    const std::wstring guarded = std::wstring(text) + L'.';
    return RegSetValueExW(key, valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(guarded.data()),
                          static_cast<DWORD>(text.size() * sizeof(wchar_t)));
}
