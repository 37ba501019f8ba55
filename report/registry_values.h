#pragma once

#include <windows.h>

#include <cstdint>
#include <vector>

#include "base/handles.h"
#include "report/model.h"
#include "report/stored_text.h"

namespace n_report {

// A value as it is stored.
struct t_rawValue
{
    t_str name;
    DWORD type = REG_NONE;
    std::vector<std::uint8_t> data;

    t_storedText Text() const { return ReadStoredText(type, data); }
};

// The most values or sub-keys of one key that are looked at; a list of layouts has a dozen.
inline constexpr DWORD kMaxEntries = 1000;

// Opens a key for reading. A key that does not exist gives a null owner; so does one that cannot be opened, with an
// entry in unseen.
//   access  further access bits, such as those of a registry view
//   label   what the key is called in that entry
t_keyHandle OpenToRead(HKEY root, const t_str& path, const t_str& label, t_texts& unseen, REGSAM access = 0);

// Reads every value of a key, in the order of the system's enumeration. What is cut off says an entry in unseen.
// Behind it: RegEnumValueW.
t_list<t_rawValue> ReadValues(HKEY key, const t_str& label, t_texts& unseen);

// Reads one value. Returns false when there is none or it is longer than 64 KB.
bool ReadValue(HKEY key, const wchar_t* name, t_rawValue& value);

// The names of the sub-keys in the order of the system's enumeration.
t_texts ReadSubKeys(HKEY key, const t_str& label, t_texts& unseen);

} // namespace n_report
