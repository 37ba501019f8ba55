#pragma once

#include "base/str.h"
#include "catalogue/hkl_collector.h"
#include "catalogue/ime_file_maps.h"
#include "diag/error_chain.h"

// Adds a record for every language profile of the text services that the machine knows to the list, and enters those
// whose server is known in the maps, under the file name of the server.
//   list  the list that EnumKeyboardLayouts filled
// Every service without readable languages clears the chain; every profile with fewer than two values leaves "not a
// valid tsf" in it. Fails with kListFailed when the services cannot be opened or counted.
// Behind it: "SoftWare\Microsoft\CTF\TIP" of the machine, in the 32-bit view.
bool EnumTextServiceProfiles(t_errorChain& errors, t_imeFileMaps& maps, t_hklCollector& list);

// Reads where the COM server of a class lies: as a library, else as a program; of each the 32-bit registration, else
// the native one.
//   path  receives the registered text, environment variables unexpanded; empty on failure
// Returns false, without a message, when there is none. Behind it: "CLSID" of HKEY_CLASSES_ROOT.
bool FindServerPath(const t_guid& clsid, t_str& path);
