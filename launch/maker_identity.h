#pragma once

#include <span>

#include "launch/file_digest.h"

// One line of the packager's list: a file of the maker's that carries no code signature.
struct t_listedDigest
{
    t_md5Digest digest;
    const wchar_t* fileName; // without folder
};

// What the packager gave to the build about the maker.
struct t_makerIdentity
{
    const wchar_t* name; // as the certificate of the code signatures shows it; never empty
    std::span<const t_listedDigest> listedDigests;
};

// Compiled in from the build options TARVO_MAKER_NAME and TARVO_DIGEST_LIST.
extern const t_makerIdentity kMakerIdentity;
