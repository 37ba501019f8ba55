#include <windows.h>

#include "base/default_browser.h"
#include "base/hook_check.h"
#include "base/os_version.h"
#include "base/session.h"
#include "report/described_errors.h"
#include "report/gather.h"
#include "runtime/os_version_sources.h"
#include "runtime/runtime.h"

namespace n_report {

namespace {

t_str VersionText(const t_osVersion& version)
{
    t_str text;
    if (version.major != 0) {
        text.AppendFormat(L"%u.%u", version.major, version.minor);
        if (version.servicePack >= 0) {
            text.AppendFormat(L" SP%d", version.servicePack);
        }
    }
    return text;
}

t_str IntegrityText(std::uint32_t level)
{
    constexpr std::uint32_t kLow = SECURITY_MANDATORY_LOW_RID, kMedium = SECURITY_MANDATORY_MEDIUM_RID,
                            kHigh = SECURITY_MANDATORY_HIGH_RID, kSystem = SECURITY_MANDATORY_SYSTEM_RID;
    const wchar_t* const name = level < kLow      ? L"untrusted"
                                : level < kMedium ? L"low"
                                : level < kHigh   ? L"medium"
                                : level < kSystem ? L"high"
                                                  : L"system";
    return FormatStr(L"%s (0x%04X)", name, level);
}

const wchar_t* SourceText(t_browserSource source)
{
    switch (source) {
    case t_browserSource::userChoice:
        return L"the user's choice";
    case t_browserSource::httpClass:
        return L"the class \"http\"";
    default:
        return L"the machine's browser";
    }
}

} // namespace

t_system GatherSystem(const t_runtime& runtime)
{
    t_system system;
    OSVERSIONINFOW version{};
    if (GetOsVersionFromKernel32(version)) {
        system.fileVersion =
            FormatStr(L"%u.%u.%u", version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber);
    }
    system.kernelVersion = VersionText(ReadKernelOsVersion());
    system.documentedVersion = VersionText(ReadDocumentedOsVersion());
    system.windows8OrLater = IsWin8OrLater();
    system.safeMode = runtime.SafeMode();
    system.elevated = IsProcessElevated();
    if (std::uint32_t level = 0; ReadIntegrityLevel(level)) {
        system.integrity = IntegrityText(level);
    }
    system.codePage = GetACP();

    t_errorChain errors;
    t_session session;
    if (!ReadCurrentSession(errors, session)) {
        system.unseen.push_back(DescribeErrors(errors));
    }
    system.session = CurrentSessionId();
    system.user = session.user;

    errors.Clear();
    t_defaultBrowser browser;
    if (FindDefaultBrowser(errors, browser)) {
        system.browser = browser.command.program;
        system.browserArguments = browser.command.arguments;
        system.browserSource = SourceText(browser.source);
    } else {
        system.unseen.push_back(DescribeErrors(errors));
    }

    t_hookCheck hooks = CheckForHooks(SelectedSystemFunctions());
    system.hooked = std::move(hooks.differing);
    for (t_str& unchecked : hooks.unchecked) {
        system.unseen.push_back(std::move(unchecked));
    }
    return system;
}

} // namespace n_report
