#include "config/code_page.h"

#include <windows.h>

namespace n_config {

namespace {

constexpr UINT kCodePage = 936;

} // namespace

bool DecodeCodePage936(std::string_view bytes, std::wstring& text)
{
    text.clear();
    if (bytes.empty()) {
        return true;
    }
    const int size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(kCodePage, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
    text.resize(static_cast<std::size_t>(length));
    return length > 0 && MultiByteToWideChar(kCodePage, MB_ERR_INVALID_CHARS, bytes.data(), size, text.data(), length);
}

bool EncodeCodePage936(std::wstring_view text, std::string& bytes)
{
    bytes.clear();
    if (text.empty()) {
        return true;
    }
    const int units = static_cast<int>(text.size());
    BOOL replaced = FALSE;
    const int length =
        WideCharToMultiByte(kCodePage, WC_NO_BEST_FIT_CHARS, text.data(), units, nullptr, 0, nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return length > 0 &&
           WideCharToMultiByte(kCodePage, WC_NO_BEST_FIT_CHARS, text.data(), units, bytes.data(), length, nullptr,
                               &replaced) &&
           !replaced;
}

} // namespace n_config
