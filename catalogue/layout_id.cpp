#include "catalogue/layout_id.h"

#include "base/number_text.h"
#include "base/reg.h"
#include "catalogue/keyboard_layouts.h"

namespace {

constexpr wchar_t kLayoutId[] = L"Layout Id";
constexpr DWORD kLayoutIdCharacters = 5; // four digits and a terminator

bool IsVariantLayout(std::uint32_t klid)
{
    return !IsImeKlid(klid) && (klid & 0x0FFF0000u) != 0;
}

} // namespace

bool FindKlidByLayoutId(std::uint32_t layoutId, std::uint32_t& klid)
{
    klid = 0;
    t_errorChain unreported(t_errorChain::kDiscarding);
    t_reg layouts(HKEY_LOCAL_MACHINE);
    DWORD count = 0;
    if (!layouts.Open(unreported, kKeyboardLayoutsKey, t_regAccess::view32) ||
        !layouts.GetSubKeyCount(unreported, count)) {
        return false;
    }
    t_str name;
    for (DWORD index = 0; index < count && layouts.EnumKey(unreported, name, index); ++index) {
        const std::uint32_t candidate = ParseHexPrefix(name);
        t_reg layout(layouts);
        t_str text;
        if (IsVariantLayout(candidate) && layout.Open(unreported, name.c_str(), t_regAccess::view32) &&
            layout.ReadString(unreported, text, kLayoutIdCharacters, kLayoutId) && ParseHexPrefix(text) == layoutId) {
            klid = candidate;
            return true;
        }
    }
    return false;
}

bool HklToKlid(std::uint32_t handle, std::uint32_t& klid)
{
    switch (handle >> 28) {
    case 0xE:
        klid = handle;
        return true;
    case 0xF:
        return FindKlidByLayoutId((handle >> 16) & 0x0FFF, klid);
    default:
        klid = handle < 0x10000 ? handle : handle >> 16;
        return true;
    }
}

void SetHklFromHandle(t_hkl& record, std::uint32_t handle)
{
    record.hkl = handle;
    if (HklToKlid(handle, record.klid)) {
        record.langId = static_cast<std::uint16_t>(handle);
    }
}
