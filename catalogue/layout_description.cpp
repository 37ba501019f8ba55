#include "catalogue/layout_description.h"

bool ReadLayoutDescription(t_errorChain&, t_str& description, const t_reg& key)
{
    description.clear();
    t_errorChain unreported;
    return key.ReadString(unreported, description, MAX_PATH, L"Description");
}
