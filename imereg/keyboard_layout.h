#pragma once

#include <windows.h>

#include "catalogue/language.h"
#include "catalogue/product_ime_file.h"

// The classic layout of the input method: installing and removing it by its IME file.

// Among the layouts of an IME file: IME layouts for Chinese (PRC).
inline constexpr DWORD kChineseImeMask = 0xF000FFFF;
inline constexpr DWORD kChineseImeValue = 0xE0000000 | kChinesePrc;

inline constexpr int kSystemDirectoryUnknown = -248;
inline constexpr int kSystemDirectoryTooLong = -254;
inline constexpr int kImePathTooLong = -264;
inline constexpr int kLayoutNotFound = -374;

// Installs the classic layout of "TarvoPY.ime", or refreshes the layout text of the one that is installed, and puts it
// into the preload lists of the logged-on user and the default profile and out of those of the system accounts.
//   unused      any number: part of the interface that other programs of the product call
//   layoutText  display name; not null
// Returns 0 (also when the layout cannot be registered and the system names no error), one of the codes above, or the
// system's error code when the layout cannot be registered at all; failures are traced. Behind it: ImmInstallIMEW.
int InstallClassicLayout(int unused, const wchar_t* layoutText);

// Unloads the layout of an IME file, takes it out of the logged-on user's preload list and deletes its key.
//   imeFile  file name; not null
// Returns 0, the error code of UnloadKeyboardLayout (the removal goes on all the same), or kLayoutNotFound.
int RemoveImeLayout(const wchar_t* imeFile);

// The handle of a layout loaded in this session whose IME file is the name, letter case ignored; null when there is
// none. Behind it: GetKeyboardLayoutList, ImmGetIMEFileNameW.
HKL FindLoadedLayoutByImeFile(const wchar_t* imeFile);
