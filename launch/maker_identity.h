#pragma once

#include <algorithm>
#include <span>

#include "launch/code_signature.h"
#include "launch/digest.h"

// One line of the packager's list: a file of the maker's that carries no code signature.
struct t_listedDigest
{
    t_md5Digest digest;
    const wchar_t* fileName; // without folder
};

// What the packager gave to the build about the maker.
struct t_makerIdentity
{
    const wchar_t* name; // common name in the certificates of the code signatures; never empty
    std::span<const t_sha256Digest> signerDigests; // of these certificates; empty when the name is enough
    std::span<const t_listedDigest> listedDigests;

    // Whether it was the maker who signed.
    bool IsSigner(const t_codeSigner& signer) const
    {
        return signer.name == name &&
               (signerDigests.empty() || std::ranges::find(signerDigests, signer.digest) != signerDigests.end());
    }
};

// Compiled in from the build options TARVO_MAKER_NAME, TARVO_SIGNER_DIGESTS and TARVO_DIGEST_LIST.
extern const t_makerIdentity kMakerIdentity;
