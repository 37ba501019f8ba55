#pragma once

#include "base/str.h"
#include "launch/held_file.h"

// Checks the code signature of a file, its own or that of a catalogue of the system, and reads who signed. Shows
// nothing, fetches nothing from a network and asks for no revocation, which could hold up an installation for minutes.
//   file    open
//   signer  receives the common name in the signer's certificate; empty on failure
// Returns ERROR_SUCCESS when the signature is valid, the certificate current and its root trusted by the machine, not
// only by the current user; otherwise the system's code for what is wrong, such as TRUST_E_NOSIGNATURE. Behind it:
// WinVerifyTrust, looked up at run time.
LONG ReadCodeSigner(const t_heldFile& file, t_str& signer);
