// Lists the installed keyboard layouts and the IME file of each: how a program links the base library and uses it.
#include <windows.h>

#include <cstdio>

#include "base/singleton.h"
#include "catalogue/hkl_manager.h"

int wmain()
{
    // Every operation that can fail appends to a chain of the caller's and returns false.
    t_errorChain errors;
    t_hklList layouts;
    auto* const catalogue = ImmSingleton<t_hklManager_InstallWrap>::Instance();
    if (catalogue == nullptr || !catalogue->GetLayoutList(errors, layouts)) {
        for (const t_str& entry : errors.Entries()) {
            std::fwprintf(stderr, L"%ls\n", entry.c_str());
        }
        return 1;
    }
    for (const t_hkl& layout : layouts) {
        t_str imeFile;
        t_errorChain tolerated; // a plain layout has no IME file
        catalogue->GetImeFileName(tolerated, imeFile, layout);
        std::wprintf(L"%08x %04x %ls\n", layout.klid, layout.langId, imeFile.c_str());
    }
    return 0;
}
