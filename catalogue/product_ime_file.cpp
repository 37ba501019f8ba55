#include "catalogue/product_ime_file.h"

#include "base/singleton.h"
#include "runtime/runtime.h"

const wchar_t* GetProductImeFileName()
{
    t_runtime* const runtime = ImmSingleton<t_runtime>::Instance();
    if (runtime == nullptr) {
        return kClassicImeFile;
    }
    t_errorChain discarded(t_errorChain::kDiscarding); // the system flags are set whatever else fails
    runtime->Initialise(discarded);
    return runtime->Windows8OrLater() ? kTextServiceImeFile : kClassicImeFile;
}
