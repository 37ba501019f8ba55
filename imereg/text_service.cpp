#include "imereg/text_service.h"

#include <windows.h>

#include "base/path.h"
#include "base/singleton.h"
#include "base/system_directory.h"
#include "catalogue/hkl_manager.h"
#include "imereg/keyboard_layout.h"
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
    t_errorChain discarded;
    LaunchProcess(discarded, program.c_str(), nullptr, parameters.c_str(), L"*", SW_SHOW, 0);

    t_hkl classic;
    auto* const catalogue = ImmSingleton<t_hklManager_InstallWrap>::Instance();
    if (catalogue != nullptr &&
        catalogue->GetHKLByName(discarded, classic, kClassicImeFile, kChineseImeMask, kChineseImeValue)) {
        catalogue->UnhideLayout(discarded, classic);
    }
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
