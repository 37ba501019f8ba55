#pragma once

#include "launch/held_file.h"

// Decides whether a file that the product is about to load or start is the system's own or the maker's. In this order:
// a file in the system directory is the system's, since only administrators write there; a file with a valid code
// signature whose signer has the maker's name, and one of the certificates that the packager listed, if any, is the
// maker's; so is a file whose name and MD5 digest are on the list that was compiled in. Every other file is refused.
//   path  see t_heldFile::Open; not null
//   file  receives the file. Load or start file.Path(), and keep the object until that is done: only then is what was
//         checked what runs
// Returns false for a refused file and appends an entry that says which file and why.
[[nodiscard]] bool VerifyModule(t_errorChain& errors, const wchar_t* path, t_heldFile& file);

// The last two of these: whether an open file is the maker's by its signature or its digest, wherever it lies.
// Returns false for any other file and appends an entry that says why.
[[nodiscard]] bool IsMakersFile(t_errorChain& errors, const t_heldFile& file);
