#pragma once

#include <cstdint>
#include <map>

#include "base/reg.h"
#include "catalogue/hkl.h"

// Conversion of layout handles to keyboard-layout identifiers. The layout ids of the machine are read as far as one is
// looked for, and once: another object sees what is registered later.
class t_layoutIds
{
public:
    // Finds the variant layout (bits 16 to 27 of its identifier set, top four bits not 0xE) whose value "Layout Id" is
    // the given number; the first one in enumeration order wins.
    //   klid  receives the identifier; 0 on failure
    // Returns false, without a message, when there is none. Behind it: the machine's "Keyboard Layouts" key.
    bool FindKlidByLayoutId(std::uint32_t layoutId, std::uint32_t& klid);

    // Converts a layout handle.
    //   handle  low 32 bits of the handle
    //   klid    receives the identifier; 0 on failure
    // Returns false when the handle carries a layout id that no installed layout has.
    bool HklToKlid(std::uint32_t handle, std::uint32_t& klid);

    // Stores a handle with its identifier in a record; the handle's language too when the conversion succeeded.
    void SetHklFromHandle(t_hkl& record, std::uint32_t handle);

private:
    void Open();
    void ReadNext();

    t_reg layouts{HKEY_LOCAL_MACHINE};
    bool opened = false; // or tried to
    DWORD count = 0;     // of layouts; 0 when they cannot be read
    DWORD next = 0;      // index of the first one that was not read
    std::map<std::uint32_t, std::uint32_t> klids;
};
