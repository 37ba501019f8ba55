#include "catalogue/layout_description.h"

bool ReadLayoutDescription(t_errorChain&, t_str& description, const t_reg& key)
{
    description.clear();
    t_errorChain unreported(t_errorChain::kDiscarding);
    return key.ReadString(unreported, description, MAX_PATH, L"Description");
}
