#include "runtime/install_path.h"

#include "base/module_path.h"
#include "base/reg.h"
#include "runtime/product_version.h"

namespace {

bool ReadModuleDirectory(HMODULE module, t_path& path)
{
    return ReadModulePath(module, path) && path.CutLastComponent();
}

bool ReadRegisteredPath(t_errorChain& errors, t_path& path)
{
    t_reg key(HKEY_LOCAL_MACHINE);
    if (!key.Open(errors, kProductKey, t_regAccess::read) || !key.ReadString(errors, path, MAX_PATH, L"InstallPath")) {
        return false;
    }
    if (path.ends_with(L'\\')) {
        path.pop_back();
    }
    return !path.empty();
}

bool Find(t_errorChain& errors, std::uint32_t mode, t_path& path)
{
    if (mode >= 1 && mode <= 4) {
        ReadProductVersion(errors);
    }
    switch (mode) {
    case 0:
        return ReadModuleDirectory(BaseLibraryModule(), path);
    case 2:
    case 4: {
        t_errorChain tolerated(t_errorChain::kDiscarding);
        return ReadRegisteredPath(tolerated, path) || ReadModuleDirectory(nullptr, path);
    }
    case 3:
        return ReadRegisteredPath(errors, path);
    default:
        return ReadModuleDirectory(nullptr, path);
    }
}

} // namespace

bool FindInstallPath(t_errorChain& errors, std::uint32_t mode, t_path& path)
{
    if (mode > 6 || Find(errors, mode, path)) {
        return true;
    }
    path.clear();
    return errors.Fail(L"查找安装路径出错");
}
