#include "runtime/runtime.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <shlobj.h>

#include <cstring>
#include <map>

#include "base/singleton.h"
#include "runtime/os_flags.h"
#include "runtime/product_version.h"
#include "tests/chain_entries.h"
#include "tests/import_patch.h"
#include "tests/scratch_directory.h"
#include "tests/scratch_registry.h"

namespace {

constexpr wchar_t kKey[] = L"Software\\TarvoInput";

// What the functions that are looked up at run time answer.
std::wstring programPath, localLow;
t_osVersion kernelVersion;
HRESULT localLowResult = S_OK;

DWORD WINAPI AnswerModuleFileName(HMODULE, wchar_t* buffer, DWORD units)
{
    lstrcpynW(buffer, programPath.c_str(), static_cast<int>(units));
    return static_cast<DWORD>(std::min<std::size_t>(programPath.size(), units));
}

LONG WINAPI AnswerKernelVersion(OSVERSIONINFOEXW* info)
{
    EXPECT_EQ(sizeof(*info), info->dwOSVersionInfoSize);
    info->dwMajorVersion = kernelVersion.major;
    info->dwMinorVersion = kernelVersion.minor;
    return 0;
}

BOOL WINAPI AnswerDocumentedVersion(OSVERSIONINFOEXW* info)
{
    info->dwMajorVersion = 6;
    info->dwMinorVersion = 2;
    return TRUE;
}

HRESULT WINAPI AnswerKnownFolder(const GUID&, DWORD, HANDLE, wchar_t** path)
{
    *path = static_cast<wchar_t*>(CoTaskMemAlloc((localLow.size() + 1) * sizeof(wchar_t)));
    lstrcpyW(*path, localLow.c_str());
    return localLowResult;
}

template <class Function>
FARPROC Address(Function function)
{
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

struct Runtime : testing::Test
{
    Runtime()
    {
        programPath = L"C:\\Programs\\Some\\HOST.exe";
        localLow = directory.Path();
        kernelVersion = {10, 0, true};
        localLowResult = S_OK;
        t_path program;
        ReadModulePath(nullptr, program);
        program.CutLastComponent();
        programDirectory = program;
    }

    bool Initialise(t_runtime& which, std::uint32_t mode = 0)
    {
        errors.Clear();
        which.SetInstallPathMode(mode);
        return which.Initialise(errors);
    }

    t_scratchRegistry scratch{HKEY_LOCAL_MACHINE};
    t_scratchDirectory directory;
    std::map<std::string, FARPROC> lookedUp{{"GetModuleFileNameW", Address(&AnswerModuleFileName)},
                                            {"RtlGetVersion", Address(&AnswerKernelVersion)},
                                            {"GetVersionExW", Address(&AnswerDocumentedVersion)},
                                            {"SHGetKnownFolderPath", Address(&AnswerKnownFolder)}};
    // In place for every test, since the safe-API table is prepared once in a process.
    ImmImportPatch<decltype(&GetProcAddress)> patch{"GetProcAddress", [this](HMODULE module, LPCSTR name) {
                                                        return lookedUp.count(name) != 0 ? lookedUp[name]
                                                                                         : patch.Original(module, name);
                                                    }};
    std::wstring programDirectory;
    t_errorChain errors;
    t_runtime runtime;
};

TEST_F(Runtime, FillsEveryFieldOnce)
{
    EXPECT_FALSE(runtime.IsInitialised() || runtime.VistaOrLater() || runtime.ShellHost());
    EXPECT_STREQ(L"", runtime.BuildNumber());
    t_path configFile, globalData;
    EXPECT_TRUE(runtime.GetDataFilePaths(configFile, globalData) && configFile.empty() && globalData.empty());

    ImmImportPatch<decltype(&GetTempPathW)> temp("GetTempPathW", [&](DWORD units, LPWSTR buffer) {
        lstrcpynW(buffer, L"C:\\Temp\\", static_cast<int>(units));
        return DWORD{8};
    });
    EXPECT_TRUE(Initialise(runtime) && Initialise(runtime, 3)) << Entries(errors);
    EXPECT_EQ(1, temp.calls);
    EXPECT_EQ(programDirectory, runtime.InstallPath());
    EXPECT_TRUE(runtime.GetDataFilePaths(configFile, globalData));
    EXPECT_EQ(programDirectory + L"\\Data", runtime.DataPath());
    EXPECT_EQ(programDirectory + L"\\Data\\runtime.ini", configFile);
    EXPECT_EQ(programDirectory + L"\\Data\\tvim_gl.bin", globalData);
    EXPECT_EQ(L"C:\\Temp", runtime.TempPath());
    wchar_t appData[MAX_PATH] = {};
    EXPECT_EQ(S_OK, SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, appData));
    EXPECT_EQ(appData, runtime.AppDataPath());
    EXPECT_EQ(localLow, runtime.UserPath());
    EXPECT_STREQ(L"0007", runtime.BuildNumber()); // from this program's version 1.2.3.7
    EXPECT_EQ(GetCommandLineW(), runtime.CommandLineText());
    EXPECT_EQ(L"c:\\programs\\some\\host.exe", runtime.ProcessPath());
    EXPECT_EQ(L"c:\\programs\\some", runtime.ProcessDirectory());
    EXPECT_EQ(L"host.exe", runtime.ProcessShortName());
    EXPECT_TRUE(runtime.VistaOrLater() && runtime.Windows8OrLater() && runtime.Windows10OrLater());
    EXPECT_FALSE(runtime.OldSystem() || runtime.InInternetExplorer() || runtime.SafeMode() || runtime.IgnoreCancel());
    EXPECT_TRUE(runtime.Config()->Option() && runtime.Config()->Pcam() == 1 && runtime.ProcessItem() == nullptr);
    EXPECT_EQ(ImmSingleton<t_runtime>::Instance(), ImmSingleton<t_runtime>::Instance());
}

TEST_F(Runtime, InstallPathByMode)
{
    const std::wstring noPath =
        L"系统错误2|读注册表失败：MACHINE\\Software\\TarvoInput\\InstallPath|查找安装路径出错|t_runtime初始化失败";
    const std::wstring noKey = L"系统错误2|打开注册表项失败：MACHINE\\Software\\TarvoInput|查找安装路径出错";
    const struct
    {
        std::uint32_t mode;
        const wchar_t* registered; // null: no key; empty: a key without the value
        std::wstring path, entries;
    } rows[] = {
        {0, nullptr, programDirectory, L""},      {1, L"C:\\Tarvo", programDirectory, L""},
        {2, nullptr, programDirectory, noKey},    {2, L"", programDirectory, L""},
        {2, L"C:\\Tarvo\\", L"C:\\Tarvo", L""},   {3, L"", L"", noPath},
        {3, L"C:\\Tarvo", L"C:\\Tarvo", L""},     {5, L"C:\\Tarvo", programDirectory, L""},
        {6, L"C:\\Tarvo", programDirectory, L""}, {7, L"C:\\Tarvo", L"", L""},
    };
    for (const auto& row : rows) {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey);
        if (row.registered != nullptr) {
            WriteText(HKEY_LOCAL_MACHINE, kKey, L"Version", L"8.5.0.1234");
            WriteText(HKEY_LOCAL_MACHINE, kKey, *row.registered != L'\0' ? L"InstallPath" : L"other", row.registered);
        }
        t_runtime each;
        EXPECT_EQ(!row.path.empty() || row.mode == 7, Initialise(each, row.mode)) << row.mode;
        EXPECT_EQ(row.path, each.InstallPath()) << row.mode;
        EXPECT_EQ(row.entries, Entries(errors)) << row.mode;
        const bool versionRead = row.mode >= 1 && row.mode <= 4 && row.registered != nullptr;
        EXPECT_STREQ(versionRead ? L"1234" : L"0007", each.BuildNumber());
    }
    ImmImportPatch<decltype(&GetModuleFileNameW)> none("GetModuleFileNameW", [](auto...) { return 0; });
    for (const std::uint32_t mode : {0, 5}) {
        EXPECT_FALSE(Initialise(runtime, mode));
        EXPECT_EQ(L"查找安装路径出错|t_runtime初始化失败", Entries(errors));
        EXPECT_STREQ(L"0000", runtime.BuildNumber());
    }
}

TEST_F(Runtime, VersionTexts)
{
    const std::wstring name = L"MACHINE\\Software\\TarvoInput\\Version|查找版本号出错";
    const struct
    {
        DWORD type;
        std::wstring stored, build;
        std::size_t bytesCp936;
        std::wstring entries;
    } rows[] = {
        {REG_SZ, L"8.5.0.1234", L"1234", 10, L""},
        {REG_SZ, L"8", L"0007", 1, L""},
        {REG_SZ, L"8.123456789012", L"1234567890", 14, L""},
        {REG_SZ, std::wstring(256, L'中') + L".7", L"7", 510, L""},
        {REG_SZ, L"v" + std::wstring(258, L'中'), L"0007", 511, L""},
        {REG_SZ, std::wstring(261, L'1'), L"0007", 0, L"系统错误234|读注册表失败：" + name},
        {REG_BINARY, L"8.5", L"0007", 0, L"系统错误0|注册表键值类型不匹配：" + name},
    };
    for (const auto& row : rows) {
        WriteRaw(HKEY_LOCAL_MACHINE, kKey, L"Version", row.type, (row.stored + L".").data(),
                 static_cast<DWORD>(row.stored.size() * 2));
        t_runtime each;
        EXPECT_TRUE(Initialise(each, 1));
        EXPECT_EQ(row.build, each.BuildNumber());
        EXPECT_EQ(row.bytesCp936, std::strlen(ProductVersion().textCp936));
        EXPECT_EQ(row.bytesCp936 == 0 ? L"" : row.stored, ProductVersion().text);
        EXPECT_EQ(row.entries, Entries(errors));
    }
}

TEST(OsFlags, ByVersionAndSource)
{
    constexpr unsigned kOld = 1, kVista = 2, kBrowser = 4, k8 = 8, k10 = 16;
    const std::tuple<t_osVersion, t_osVersion, unsigned> rows[] = {
        {{4, 0, true, 6}, {}, kOld},
        {{5, 1, true, -1}, {}, kOld},
        {{5, 1, true, 2}, {}, kOld},
        {{5, 1, true, 3}, {}, 0},
        {{5, 1, false, -1}, {}, 0},
        {{5, 2, true, -1}, {}, 0},
        {{6, 1, true}, {}, kVista | kBrowser},
        {{6, 2, true}, {}, kVista | kBrowser | k8},
        {{6, 4, true}, {6, 2}, kVista | kBrowser | k8 | k10},
        {{10, 0, true}, {6, 2}, kVista | kBrowser | k8 | k10},
        {{6, 2, true}, {10, 0}, kVista | kBrowser | k8 | k10},
        {{}, {6, 3}, kVista | kBrowser | k8},
        {{}, {}, kOld},
    };
    for (const auto& [kernel, documented, expected] : rows) {
        const t_osFlags flags = JudgeOs(kernel, documented, L"IExplore.EXE");
        EXPECT_EQ(expected, flags.oldSystem * kOld | flags.vistaOrLater * kVista | flags.inInternetExplorer * kBrowser |
                                flags.windows8OrLater * k8 | flags.windows10OrLater * k10)
            << kernel.major << '.' << kernel.minor << '/' << kernel.servicePack;
    }
}

TEST_F(Runtime, JudgesTheHostProgram)
{
    const struct
    {
        const wchar_t* program;
        t_osVersion version;
        bool ignoreCancel, shellHost, known;
    } rows[] = {
        {L"C:\\Office\\OUTLOOK.EXE", {6, 1, true}, true, false, true},
        {L"C:\\Office\\OUTLOOK.EXE", {6, 2, true}, false, false, true},
        {L"C:\\Windows\\Explorer.EXE", {6, 1, true}, false, true, true},
        {L"SearchUI.exe", {10, 0, true}, false, true, false},
        {L"C:\\notepad.exe.exe", {10, 0, true}, false, false, false},
    };
    for (const auto& row : rows) {
        programPath = row.program;
        kernelVersion = row.version;
        t_runtime each;
        EXPECT_TRUE(Initialise(each)) << Entries(errors);
        EXPECT_EQ(std::tuple(row.ignoreCancel, row.shellHost, row.known),
                  std::tuple(each.IgnoreCancel(), each.ShellHost(), each.KnownHostApplication()))
            << row.program;
    }
}

TEST_F(Runtime, FailedStepsStopNothingAndMayBeRepeated)
{
    DWORD tempLength = 0;
    {
        ImmImportPatch<decltype(&GetTempPathW)> temp("GetTempPathW",
                                                     [&](auto...) { return SetLastError(5), tempLength; });
        ImmImportPatch<decltype(&SHGetFolderPathW)> folder("SHGetFolderPathW", [](auto...) { return E_FAIL; });
        programPath.assign(260, L'x');
        EXPECT_FALSE(Initialise(runtime));
        EXPECT_EQ(L"查找系统临时目录出错:5|系统错误-2147467259|SHGetFolderPath失败: "
                  L"26|调用GetModuleFileName()失败|t_runtime初始化失败",
                  Entries(errors));
        EXPECT_FALSE(runtime.IsInitialised());
        EXPECT_EQ(programDirectory, runtime.InstallPath());
        EXPECT_EQ(GetCommandLineW(), runtime.CommandLineText());
        tempLength = 260;
        EXPECT_FALSE(Initialise(runtime));
        EXPECT_TRUE(Entries(errors).starts_with(L"查找系统临时目录出错:111|")) << Entries(errors);
    }
    programPath = L"C:\\a.exe";
    localLowResult = E_ACCESSDENIED;
    EXPECT_FALSE(Initialise(runtime));
    EXPECT_EQ(L"系统错误-2147024891|SHGetKnownFolderPath失败: LocalLow|t_runtime初始化失败", Entries(errors));
    localLowResult = S_OK;
    EXPECT_TRUE(Initialise(runtime));
    EXPECT_EQ(L"c:", runtime.ProcessDirectory());
}

TEST_F(Runtime, UserPathIsLocalLowUnlessItsFileNamesADirectory)
{
    directory.Write(L"user data\\file", "");
    const auto ini = [](const std::wstring& path) {
        const std::wstring text = L"\xFEFF[User]\r\nPATH = " + path + L"\r\n";
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    };
    const std::wstring other = directory.Path(L"user data");
    const std::pair<std::string, std::wstring> rows[] = {
        {ini(other), other},
        {ini(directory.Path(L"none")), localLow},
        {ini(other + L"\\file"), localLow},
        {ini(L"."), localLow},
        {ini(L""), localLow},
        {"[user]\npath", localLow},
    };
    for (const auto& [bytes, expected] : rows) {
        directory.Write(L"TarvoPY\\env.ini", bytes);
        t_runtime each;
        EXPECT_TRUE(Initialise(each)) << Entries(errors);
        EXPECT_EQ(expected, each.UserPath());
        EXPECT_EQ(localLow, each.LocalLowPath());
    }
    // The empty path has the hash 0; before Vista the local application-data folder stands in.
    localLow = L"";
    EXPECT_TRUE(Initialise(runtime));
    EXPECT_STREQ(L"0", runtime.UserPathHash());
    lookedUp["SHGetKnownFolderPath"] = nullptr;
    ImmImportPatch<decltype(&SHGetFolderPathW)> folder("SHGetFolderPathW", [](auto, int id, auto, auto, LPWSTR path) {
        lstrcpyW(path, (id & 0xFF) == CSIDL_LOCAL_APPDATA ? L"C:\\Local" : L"C:\\Roaming");
        return S_OK;
    });
    t_runtime before;
    EXPECT_TRUE(Initialise(before));
    EXPECT_EQ(L"C:\\Local", before.UserPath());
    EXPECT_EQ(L"C:\\Roaming", before.AppDataPath());
    EXPECT_STREQ(L"135d0c", before.UserPathHash());
}

TEST_F(Runtime, ConfigurationGivesTheItemOfTheProgram)
{
    WriteText(HKEY_LOCAL_MACHINE, kKey, L"Version", L"1.2");
    WriteText(HKEY_LOCAL_MACHINE, kKey, L"InstallPath", directory.Path());
    directory.Write(
        L"Data\\runtime.ini",
        "[setting]\ncnt=2\n[item0]\nprocess=other.exe\n[item1]\nprocess=Host.EXE\ntype=5\n[switch]\nsapi=3\n");
    runtime.SetConfigOptionOff(true);
    t_handle locked = MakeFileHandle(
        CreateFileW(directory.Path(L"Data\\runtime.ini").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(locked);
    EXPECT_FALSE(Initialise(runtime, 3));
    EXPECT_EQ(L"系统错误32|无法打开ini文件|t_runtime初始化失败", Entries(errors));
    EXPECT_TRUE(runtime.Config()->Sapi() == 0 && runtime.Config()->Pcam() == 1 && runtime.ProcessItem() == nullptr);
    EXPECT_EQ(L"host.exe", runtime.ProcessShortName());

    locked.Reset();
    EXPECT_TRUE(Initialise(runtime, 3)) << Entries(errors);
    ASSERT_NE(nullptr, runtime.ProcessItem());
    EXPECT_EQ(5, runtime.ProcessItem()->type.Value());
    EXPECT_TRUE(runtime.Config()->Sapi() == 3 && !runtime.Config()->Option());
}

} // namespace
