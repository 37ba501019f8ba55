#include "runtime/os_flags.h"

#include "base/ascii_case.h"

namespace {

bool IsAtLeast(const t_osVersion& version, std::uint32_t major, std::uint32_t minor)
{
    return version.major > major || (version.major == major && version.minor >= minor);
}

// Before Vista only.
bool IsOldSystem(const t_osVersion& version)
{
    if (!IsAtLeast(version, 5, 1)) {
        return true;
    }
    return version.minor == 1 && version.servicePackAsked && version.servicePack <= 2;
}

} // namespace

t_osFlags JudgeOs(const t_osVersion& kernel, const t_osVersion& documented, std::wstring_view programName)
{
    const t_osVersion& version = kernel.major != 0 ? kernel : documented;
    t_osFlags flags;
    if (version.major < 6) {
        flags.oldSystem = IsOldSystem(version);
        return flags;
    }
    flags.vistaOrLater = true;
    flags.inInternetExplorer = EqualIgnoringCase(programName, L"iexplore.exe");
    flags.windows8OrLater = IsAtLeast(version, 6, 2);
    // 6.4 is what the first previews of Windows 10 called themselves.
    flags.windows10OrLater = IsAtLeast(kernel, 6, 4) || IsAtLeast(documented, 6, 4);
    return flags;
}
