#pragma once

#include <cstdint>

#include "base/guid_text.h"
#include "base/simple_array.h"

// One record of the catalogue: an installed keyboard layout or a language profile of a text service. 0 and the null
// GUID mean "not set".
struct t_hkl
{
    std::uint64_t hkl = 0;    // layout handle as the input-method manager uses it
    std::uint32_t klid = 0;   // keyboard-layout identifier, whose eight digits name the layout's key
    std::uint16_t langId = 0; // language, such as kChinesePrc
    t_guid clsid;             // text service that provides the profile; null for a plain layout
    t_guid profileGuid;       // profile inside that text service; null for a plain layout
};

using t_hklList = itl::ImmSimpleArray<t_hkl>;

// Whether an identifier names an IME layout: its top four bits are 0xE.
constexpr bool IsImeKlid(std::uint32_t klid)
{
    return (klid & 0xF0000000u) == 0xE0000000u;
}

// Whether both GUIDs are set.
bool IsTextServiceProfile(const t_hkl& record);

// Whether the record names nothing: no identifier and no GUID. Handle and language are not looked at.
bool IsEmptyHkl(const t_hkl& record);

// Whether the record has an identifier, is no profile of a text service and no IME layout.
bool IsPlainKeyboardLayout(const t_hkl& record);

// The one ordering and equality of records, as -1, 0 or 1: by language; then two profiles by clsid and profileGuid, the
// larger GUID first; any other pair by klid. The handle takes no part.
//
// It is antisymmetric but not transitive: two profiles that differ both equal a plain layout whose klid they share.
int CompareHkl(const t_hkl& a, const t_hkl& b);

bool EqualHkl(const t_hkl& a, const t_hkl& b);
bool LessHkl(const t_hkl& a, const t_hkl& b);

// Fills a record from another: the source's GUIDs only fill those that the target lacks, while every number that the
// source has overwrites the target's.
void MergeHkl(t_hkl& target, const t_hkl& source);
