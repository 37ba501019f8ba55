#pragma once

#include "base/str.h"
#include "launch/digest.h"
#include "launch/held_file.h"

// Who signed, as the certificate says.
struct t_codeSigner
{
    t_str name;              // common name; empty when there is no valid signature
    t_sha256Digest digest{}; // of the whole certificate
};

// Checks the code signature of a file, its own or that of a catalogue of the system, and reads who signed. Shows
// nothing, fetches nothing from a network and asks for no revocation, which could hold up an installation for minutes.
//   file    open
//   signer  receives the signer; its name is empty on failure
// Returns ERROR_SUCCESS when the signature is valid, the certificate current and its root trusted by the machine, not
// only by the current user; otherwise the system's code for what is wrong, such as TRUST_E_NOSIGNATURE. Behind it:
// WinVerifyTrust, looked up at run time.
[[nodiscard]] LONG ReadCodeSigner(const t_heldFile& file, t_codeSigner& signer);
