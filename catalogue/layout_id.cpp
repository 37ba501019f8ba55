#include "catalogue/layout_id.h"

#include "base/number_text.h"
#include "catalogue/keyboard_layouts.h"

namespace {

constexpr wchar_t kLayoutId[] = L"Layout Id";
constexpr DWORD kLayoutIdCharacters = 5; // four digits and a terminator

bool IsVariantLayout(std::uint32_t klid)
{
    return !IsImeKlid(klid) && (klid & 0x0FFF0000u) != 0;
}

} // namespace

bool t_layoutIds::FindKlidByLayoutId(std::uint32_t layoutId, std::uint32_t& klid)
{
    if (!opened) {
        Open();
    }
    auto found = klids.find(layoutId);
    while (found == klids.end() && next < count) {
        ReadNext();
        found = klids.find(layoutId);
    }
    klid = found != klids.end() ? found->second : 0;
    return klid != 0; // that of a variant layout
}

void t_layoutIds::Open()
{
    opened = true;
    t_errorChain unreported(t_errorChain::kDiscarding);
    if (!layouts.Open(unreported, kKeyboardLayoutsKey, t_regAccess::view32) ||
        !layouts.GetSubKeyCount(unreported, count)) {
        count = 0;
    }
}

void t_layoutIds::ReadNext()
{
    t_errorChain unreported(t_errorChain::kDiscarding);
    t_str name;
    if (!layouts.EnumKey(unreported, name, next++)) {
        next = count; // the enumeration ends at its first failure
        return;
    }
    const std::uint32_t klid = ParseHexPrefix(name);
    t_reg layout(layouts);
    t_str text;
    if (IsVariantLayout(klid) && layout.Open(unreported, name.c_str(), t_regAccess::view32) &&
        layout.ReadString(unreported, text, kLayoutIdCharacters, kLayoutId)) {
        klids.try_emplace(ParseHexPrefix(text), klid);
    }
}

bool t_layoutIds::HklToKlid(std::uint32_t handle, std::uint32_t& klid)
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

void t_layoutIds::SetHklFromHandle(t_hkl& record, std::uint32_t handle)
{
    record.hkl = handle;
    if (HklToKlid(handle, record.klid)) {
        record.langId = static_cast<std::uint16_t>(handle);
    }
}
