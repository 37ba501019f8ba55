#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>

#include "base/handles.h"
#include "base/simple_array.h"
#include "base/str.h"

// The machine's keyboard-layout keys: one sub-key of "System\CurrentControlSet\Control\Keyboard Layouts" per layout,
// named by its KLID.

// Opens the key that holds the layouts.
//   access  such as KEY_READ
// Returns a registry status.
LSTATUS OpenLayoutsKey(REGSAM access, t_keyHandle& layouts);

// The KLIDs for Chinese (PRC) among the first 250 sub-keys, in enumeration order.
itl::ImmSimpleArray<std::uint32_t> CollectChineseKlids(HKEY layouts);

// Reads the "Ime File" of a layout.
//   access   the access to open the layout's key with
//   imeFile  receives the text, at most 200 characters
// Returns false when the key or the value cannot be read.
bool ReadImeFile(HKEY layouts, std::uint32_t klid, REGSAM access, t_str& imeFile);

// The KLID of a registered layout for Chinese (PRC) whose "Ime File" is the name, letter case ignored; 0 when there is
// none.
std::uint32_t FindLayoutKlidByImeFile(std::wstring_view imeFile);

// Rewrites the "layout text" of an existing layout when it differs from the text.
// Returns the status of the call that failed, or 0.
LSTATUS UpdateLayoutText(std::uint32_t klid, const std::wstring& text);

// Deletes a layout's key, which must have no sub-keys. A failure is only traced. Behind it: RegDeleteKeyW.
void DeleteLayoutKey(std::uint32_t klid);
