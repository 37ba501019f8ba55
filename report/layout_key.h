#pragma once

#include <cstdint>

#include "base/reg.h"
#include "report/model.h"

namespace n_report {

// What the key of a keyboard layout says.
struct t_layoutKey
{
    t_str imeFile; // empty for a layout without an IME
    t_str name;
    t_texts odd; // texts that Windows does not write so
};

// The open key that holds those of the layouts; closed when it cannot be opened.
struct t_layoutKeys : t_reg
{
    t_layoutKeys();
};

// Reads the key of a layout. Returns false when there is none.
bool ReadLayoutKey(const t_layoutKeys& keys, std::uint32_t klid, t_layoutKey& layout);

// The display name in the key of a layout or of a text service's profile: the indirect string under one of the value
// names, resolved; else "Description"; else "Layout Text". Empty without any.
t_str ReadDisplayName(const t_reg& key, const wchar_t* indirectValueName);

} // namespace n_report
