#pragma once

#include <windows.h>

#include <array>
#include <span>

#include "base/open_file.h"

using t_md5Digest = std::array<BYTE, 16>;
using t_sha256Digest = std::array<BYTE, 32>;

// Computes the MD5 digest of a whole file, reading it piece by piece.
//   file    open for reading; its position is left at the end
//   digest  receives the digest; undefined on failure
// Returns false when the file cannot be read; the last error tells why. Behind it: ReadFile, MD5_Update.
[[nodiscard]] bool ComputeMd5(const t_openFile& file, t_md5Digest& digest);

// Computes the SHA-256 digest of some bytes. Behind it: SHA256_Update.
t_sha256Digest ComputeSha256(std::span<const BYTE> data);
