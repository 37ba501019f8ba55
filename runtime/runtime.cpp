#include "runtime/runtime.h"

#include <windows.h>

#include "base/ascii_case.h"
#include "base/directory.h"
#include "base/elf_hash.h"
#include "base/file_version.h"
#include "base/perf.h"
#include "runtime/host_program.h"
#include "runtime/install_path.h"
#include "runtime/os_version_sources.h"
#include "runtime/user_paths.h"

namespace {

// The last component of the running program's file version; 0 without a version resource.
std::uint32_t ReadProgramBuild()
{
    t_path program;
    VS_FIXEDFILEINFO info{};
    return ReadModulePath(nullptr, program) && ReadFileVersion(program.c_str(), info) ? LOWORD(info.dwFileVersionLS)
                                                                                      : 0u;
}

} // namespace

bool t_runtime::Initialise(t_errorChain& errors)
{
    if (initialised) {
        return true;
    }
    ReadSafeMode();
    bool succeeded = SetInstallPath(errors);
    succeeded = SetTempPath(errors) && succeeded;
    JudgeSystem();
    succeeded = SetUserPaths(errors) && succeeded;
    SetBuildNumber();
    SetCommandLine();
    bool shortNameSet = false;
    succeeded = CheckConfig(errors, shortNameSet) && succeeded;
    succeeded = (shortNameSet || SetProcessShortName(errors)) && succeeded;
    CheckIgnoreCancel();
    JudgeHost();
    initialised = succeeded;
    return initialised || errors.Fail(L"t_runtime初始化失败");
}

void t_runtime::ReadSafeMode()
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_safemode");
    safeMode = GetSystemMetrics(SM_CLEANBOOT) != 0;
}

bool t_runtime::SetInstallPath(t_errorChain& errors)
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_installpath");
    t_productVersion read;
    const bool found = FindInstallPath(errors, installPathMode, installPath, read);
    productVersion = read;
    dataPath = installPath.empty() ? t_path() : JoinPath(installPath, L"Data");
    return found;
}

bool t_runtime::SetTempPath(t_errorChain& errors)
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_TempPath");
    tempPath.clear();
    wchar_t buffer[MAX_PATH] = {};
    const DWORD length = GetTempPathW(MAX_PATH, buffer);
    if (length == 0 || length >= MAX_PATH) {
        return errors.Fail(L"查找系统临时目录出错:%u", length == 0 ? GetLastError() : DWORD{ERROR_BUFFER_OVERFLOW});
    }
    tempPath.assign(buffer);
    if (tempPath.ends_with(L'\\')) {
        tempPath.pop_back();
    }
    return true;
}

void t_runtime::JudgeSystem()
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_VistaIE7");
    t_path program;
    ReadModulePath(nullptr, program);
    const t_osFlags flags = JudgeOs(ReadKernelOsVersion(), ReadDocumentedOsVersion(), FileNamePart(program));
    oldSystem = flags.oldSystem;
    vistaOrLater = flags.vistaOrLater;
    inInternetExplorer = flags.inInternetExplorer;
    windows8OrLater = flags.windows8OrLater;
    windows10OrLater = flags.windows10OrLater;
}

bool t_runtime::SetUserPaths(t_errorChain& errors)
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_DataPath");
    if (!FindAppDataPath(errors, appDataPath)) {
        return false;
    }
    const t_perfSection profilePerf(t_perfKind::section, L"initruntime_ProfilePath");
    if (!FindUserPath(errors, localLowPath, userPath)) {
        return false;
    }
    CopyCut(userPathHash, FormatStr(L"%x", ElfHash(userPath)));
    return true;
}

void t_runtime::SetBuildNumber()
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_SetBuildNo");
    auto& known = productVersion.buildNumber;
    if (known[0] == L'\0') {
        CopyCut(known, FormatStr(L"%04d", ReadProgramBuild()));
    }
    CopyCut(buildNumber, known);
}

void t_runtime::SetCommandLine()
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_SetCommandLine");
    const wchar_t* const line = GetCommandLineW();
    commandLine.assign(line != nullptr ? line : L"");
    commandLineLower = FoldCase(commandLine);
}

bool t_runtime::CheckConfig(t_errorChain& errors, bool& shortNameSet)
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_CheckConfig");
    {
        const t_perfSection safeApiPerf(t_perfKind::section, L"initruntime_safeapi");
        safeApi.prepare();
    }
    processItem = nullptr;
    config.emplace(!configOptionOff);
    t_path path, globalData;
    GetDataFilePaths(path, globalData);
    const bool loaded = path.empty() || IsMissing(path) || config->Load(errors, path.c_str());
    if (!config->Items().empty()) {
        t_errorChain tolerated(t_errorChain::kDiscarding); // the step that sets the name tries again and reports
        shortNameSet = SetProcessShortName(tolerated);
        for (const auto& item : config->Items()) {
            if (processItem == nullptr && shortNameSet &&
                EqualIgnoringCase(item->process.Value(), ProcessShortName())) {
                processItem = item.get();
            }
        }
    }
    return loaded;
}

bool t_runtime::SetProcessShortName(t_errorChain& errors)
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_SetProcessShortName");
    const FARPROC offered = safeApi.find("GetModuleFileNameW");
    const auto function = reinterpret_cast<t_moduleFileNameFunction>(reinterpret_cast<void*>(offered));
    t_path path;
    if (!safeApi.readModulePath(function != nullptr ? function : &GetModuleFileNameW, nullptr, path)) {
        return errors.Fail(L"调用GetModuleFileName()失败");
    }
    path = t_str(FoldCase(path));
    processPath = path;
    processShortName = t_str(std::wstring(FileNamePart(path)));
    path.CutLastComponent();
    processDirectory = path;
    return true;
}

void t_runtime::CheckIgnoreCancel()
{
    const t_perfSection perf(t_perfKind::section, L"initruntime_CheckIgnoreCancel");
    ignoreCancel = !windows8OrLater && EqualIgnoringCase(ProcessShortName(), L"outlook.exe");
}

void t_runtime::JudgeHost()
{
    shellHost = IsShellHost(ProcessShortName());
    knownHostApplication = IsKnownHostApplication(ProcessShortName());
}

bool t_runtime::GetDataFilePaths(t_path& configFile, t_path& globalData) const
{
    configFile.clear();
    globalData.clear();
    if (!dataPath.empty()) {
        configFile = JoinPath(dataPath, L"runtime.ini");
        globalData = JoinPath(dataPath, L"tvim_gl.bin");
    }
    return true;
}
