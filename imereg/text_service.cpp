#include "imereg/text_service.h"

#include <windows.h>

#include "base/path.h"
#include "base/system_directory.h"
#include "imereg/keyboard_layout.h"
#include "imereg/use_catalogue.h"
#include "launch/process_launcher.h"

namespace {

void RunRegistration(const wchar_t* switches)
{
    t_path directory;
    if (const UINT length = ReadSystemDirectory(directory); length == 0 || length + 1 >= MAX_PATH) {
        return;
    }
    const t_path module = JoinPath(directory, kTextServiceImeFile);
    const t_str parameters = FormatStr(L"%s%s", switches, module.c_str());
    const t_path program = JoinPath(directory, L"regsvr32.exe");
    t_errorChain discarded(t_errorChain::kDiscarding);
    LaunchProcess(discarded, program.c_str(), nullptr, parameters.c_str(), L"*", SW_SHOW, 0);

    UseCatalogue([](t_hklManager_InstallWrap& catalogue, t_errorChain& errors) {
        t_hkl classic;
        return catalogue.GetHKLByName(errors, classic, kClassicImeFile, kChineseImeMask, kChineseImeValue) &&
               catalogue.UnhideLayout(errors, classic);
    });
}

} // namespace

void RegisterTextService()
{
    RunRegistration(L"/s ");
}

void UnregisterTextService()
{
    RunRegistration(L"/s /u ");
}
