#pragma once

// The IME files of the product: the classic input method and, since Windows 8, the text-service module.
inline constexpr wchar_t kClassicImeFile[] = L"TarvoPY.ime";
inline constexpr wchar_t kTextServiceImeFile[] = L"TarvoTSF.ime";

// The one that stands for the input method on this system, as the runtime environment sees it; that is filled first
// when it was not yet. Without it the classic file is named.
const wchar_t* GetProductImeFileName();
