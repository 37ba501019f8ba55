#pragma once

#include <windows.h>

// Fills a version record from the file version of the system's kernel32.dll. The version functions of the system are
// not asked: since Windows 8.1 they tell a program what its manifest admits to, and compatibility modes change their
// answer.
//   version  receives size 276, the version, platform 2 and an empty service-pack text; unchanged on failure
// Returns false when the system directory or the version resource cannot be had. Behind it: GetSystemDirectoryW,
// GetFileVersionInfoW.
bool GetOsVersionFromKernel32(OSVERSIONINFOW& version);

// Whether the system is Windows Vista or later; false when the version cannot be had.
bool IsVistaOrLater();

// Whether the system is Windows 8 (6.2) or later; false when the version cannot be had.
bool IsWin8OrLater();
