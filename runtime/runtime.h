#pragma once

#include <optional>

#include "base/path.h"
#include "base/safe_api.h"
#include "config/runtime_file.h"
#include "runtime/product_version.h"

// The process's record of where and how it runs. There is one, ImmSingleton<t_runtime>::Instance(); the program fills
// it from its main thread with Initialise before anything else reads it. Until then every field is empty or false.
class t_runtime
{
public:
    static constexpr char kSingletonName[] = "t_runtime";

    t_runtime() = default;
    t_runtime(const t_runtime&) = delete;
    t_runtime& operator=(const t_runtime&) = delete;
    virtual ~t_runtime() = default;

    // The file name of the running program in lower case.
    virtual const t_str& ProcessShortName() const { return processShortName; }

    // What the program sets before Initialise. See FindInstallPath for the modes; 0 is the one after construction.
    void SetInstallPathMode(std::uint32_t mode) { installPathMode = mode; }
    void SetConfigOptionOff(bool off) { configOptionOff = off; }

    // Fills the fields, step by step; a step that fails is reported and keeps none of the others from running.
    // Returns whether all succeeded: the paths of the installation, of temporary files and of the user, the
    // configuration file, and the program's own path. Otherwise appends "t_runtime初始化失败"; the next call begins
    // anew. After a success it returns true without doing anything.
    // A configuration file that does not exist is no failure; one that cannot be read is.
    bool Initialise(t_errorChain& errors);
    bool IsInitialised() const { return initialised; }

    // The files of the data directory: the runtime's configuration, and the data that all users share. Both are left
    // empty, which is no failure, while the data directory is not known.
    bool GetDataFilePaths(t_path& configFile, t_path& globalData) const;

    // What the system is; see t_osFlags in runtime/os_flags.h.
    bool OldSystem() const { return oldSystem; }
    bool VistaOrLater() const { return vistaOrLater; }
    bool InInternetExplorer() const { return inInternetExplorer; }
    bool Windows8OrLater() const { return windows8OrLater; }
    bool Windows10OrLater() const { return windows10OrLater; }
    bool SafeMode() const { return safeMode; }

    // Directories, without a trailing backslash.
    const t_path& InstallPath() const { return installPath; }
    const t_path& DataPath() const { return dataPath; }
    const t_path& TempPath() const { return tempPath; }
    const t_path& AppDataPath() const { return appDataPath; }
    const t_path& UserPath() const { return userPath; }
    const t_path& LocalLowPath() const { return localLowPath; }

    // The ELF hash of UserPath in lower-case hexadecimal.
    const wchar_t* UserPathHash() const { return userPathHash; }

    // The installed product's version, where the mode reads it, and its last component, or else that of the running
    // program's version.
    const t_productVersion& ProductVersion() const { return productVersion; }
    const wchar_t* BuildNumber() const { return buildNumber; }

    const t_str& CommandLineText() const { return commandLine; }
    const t_str& CommandLineLower() const { return commandLineLower; }

    // Full path and directory of the running program in lower case.
    const t_str& ProcessPath() const { return processPath; }
    const t_str& ProcessDirectory() const { return processDirectory; }

    std::uint32_t InstallPathMode() const { return installPathMode; }
    bool ConfigOptionOff() const { return configOptionOff; }
    bool IgnoreCancel() const { return ignoreCancel; }
    bool ShellHost() const { return shellHost; }
    bool KnownHostApplication() const { return knownHostApplication; }

    // The configuration, and its first item for the running program; null when there is none.
    const n_config::t_configRuntimeFile* Config() const { return config ? &*config : nullptr; }
    const n_config::t_configRuntimeFile::t_item* ProcessItem() const { return processItem; }

private:
    void ReadSafeMode();
    bool SetInstallPath(t_errorChain& errors);
    bool SetTempPath(t_errorChain& errors);
    void JudgeSystem();
    bool SetUserPaths(t_errorChain& errors);
    void SetBuildNumber();
    void SetCommandLine();
    bool CheckConfig(t_errorChain& errors, bool& shortNameSet);
    bool SetProcessShortName(t_errorChain& errors);
    void CheckIgnoreCancel();
    void JudgeHost();

    bool oldSystem = false;
    bool vistaOrLater = false;
    bool inInternetExplorer = false;
    bool windows10OrLater = false;
    bool safeMode = false;
    t_path installPath;
    t_path dataPath;
    t_path tempPath;
    t_path appDataPath;
    t_path userPath;
    t_path localLowPath;
    wchar_t userPathHash[17] = {};
    wchar_t buildNumber[11] = {};
    t_str commandLine;
    t_str commandLineLower;
    t_str processShortName;
    t_str processPath;
    t_str processDirectory;
    bool initialised = false;
    bool windows8OrLater = false;
    std::uint32_t installPathMode = 0;
    bool configOptionOff = false;
    bool ignoreCancel = false;
    bool shellHost = false;
    bool knownHostApplication = false;
    t_productVersion productVersion;
    t_safeApiTable safeApi;
    std::optional<n_config::t_configRuntimeFile> config;
    const n_config::t_configRuntimeFile::t_item* processItem = nullptr;
};
