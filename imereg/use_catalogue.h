#pragma once

#include "base/singleton.h"
#include "catalogue/hkl_manager.h"

// Calls use(catalogue, errors) with the process's catalogue of layouts and a chain of messages that nobody reads: the
// registration steps go by what was found. Does nothing when there is no memory for the catalogue.
template <class Use>
void UseCatalogue(Use use)
{
    if (auto* const catalogue = ImmSingleton<t_hklManager_InstallWrap>::Instance()) {
        t_errorChain discarded(t_errorChain::kDiscarding);
        use(*catalogue, discarded);
    }
}
