#pragma once

#include <windows.h>

#include <array>

using t_md5Digest = std::array<BYTE, 16>;

// Computes the MD5 digest of a whole file, reading it piece by piece.
//   file    handle with read access; its position is left at the end
//   digest  receives the digest; undefined on failure
// Returns false when the file cannot be read; the last error tells why. Behind it: ReadFile, MD5_Update.
bool ComputeMd5(HANDLE file, t_md5Digest& digest);
