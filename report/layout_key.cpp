#include "report/layout_key.h"

#include "catalogue/indirect_string.h"
#include "catalogue/keyboard_layouts.h"
#include "catalogue/layout_description.h"
#include "report/registry_values.h"

namespace n_report {

t_str ReadDisplayName(const t_reg& key, const wchar_t* indirectValueName)
{
    t_errorChain unreported(t_errorChain::kDiscarding);
    t_str stored, name;
    if (key.ReadString(unreported, stored, MAX_PATH, indirectValueName) && stored.starts_with(L'@') &&
        LoadIndirectString(unreported, name, stored)) {
        return name;
    }
    if (!ReadLayoutDescription(unreported, name, key)) {
        key.ReadString(unreported, name, MAX_PATH, L"Layout Text");
    }
    return name;
}

t_layoutKeys::t_layoutKeys() : t_reg(HKEY_LOCAL_MACHINE)
{
    t_errorChain unreported(t_errorChain::kDiscarding);
    Open(unreported, kKeyboardLayoutsKey, t_regAccess::view32);
}

bool ReadLayoutKey(const t_layoutKeys& keys, std::uint32_t klid, t_layoutKey& layout)
{
    t_errorChain unreported(t_errorChain::kDiscarding);
    t_reg key(keys);
    if (!key.Open(unreported, FormatStr(L"%08x", klid).c_str(), t_regAccess::view32)) {
        return false;
    }
    layout = {};
    layout.name = ReadDisplayName(key, L"Layout Display Name");
    for (const wchar_t* const name : {L"Ime File", L"Layout File", L"Layout Text"}) {
        t_rawValue value;
        if (!ReadValue(key.Handle(), name, value)) {
            continue;
        }
        const t_storedText stored = value.Text();
        if (!stored.odd.empty()) {
            layout.odd.push_back(FormatStr(L"\"%s\": %s", name, stored.odd.c_str()));
        }
    }
    key.ReadString(unreported, layout.imeFile, MAX_PATH, L"Ime File");
    return true;
}

} // namespace n_report
