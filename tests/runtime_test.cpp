#include "runtime/runtime.h"

#include <shlobj.h>

#include "base/elf_hash.h"
#include "base/mutex.h"
#include "base/perf.h"
#include "config/config_file.h"
#include "runtime/os_flags.h"
#include "tests/child_process.h"
#include "tests/known_folder.h"
#include "tests/real_windows.h"
#include "tests/windows_test.h"

namespace {

using namespace std::string_literals;

constexpr wchar_t kKey[] = L"Software\\TarvoInput";

// What the functions that are looked up at run time answer.
std::wstring programPath;

DWORD WINAPI AnswerModuleFileName(HMODULE, wchar_t* buffer, DWORD units)
{
    lstrcpynW(buffer, programPath.c_str(), static_cast<int>(units));
    return static_cast<DWORD>(std::min<std::size_t>(programPath.size(), units));
}

t_osVersion kernel, documented;

template <const t_osVersion& version, LONG result>
LONG WINAPI AnswerVersion(OSVERSIONINFOEXW* info)
{
    info->dwMajorVersion = version.major, info->dwMinorVersion = version.minor;
    info->wServicePackMajor = static_cast<WORD>(version.servicePack);
    return result;
}

struct Runtime : testing::Test
{
    Runtime()
    {
        programPath = L"C:\\Office\\OUTLOOK.EXE";
        knownFolder = directory.Path();
        ReadModulePath(nullptr, programDirectory);
        programDirectory.CutLastComponent();
        WriteText(HKEY_LOCAL_MACHINE, kKey, L"Version", L"8.5.0.1234");
        WriteText(HKEY_LOCAL_MACHINE, kKey, L"InstallPath", directory.Path());
    }

    bool Initialise(t_runtime& which, std::uint32_t mode = 0)
    {
        errors.Clear();
        which.SetInstallPathMode(mode);
        return which.Initialise(errors);
    }

    t_scratchRegistry scratch{HKEY_LOCAL_MACHINE};
    t_scratchDirectory directory;
    t_path programDirectory;
    // In place for every test, since the safe-API table is prepared once in a process.
    t_lookupPatch lookUp{{{"GetModuleFileNameW", reinterpret_cast<void*>(&AnswerModuleFileName)},
                          {"SHGetKnownFolderPath", reinterpret_cast<void*>(&AnswerKnownFolder)}}};
    t_errorChain errors;
    t_runtime runtime;
};

TEST_F(Runtime, FillsEveryFieldOnce)
{
    const std::wstring install = directory.Path();
    directory.Write(
        L"Data\\runtime.ini",
        "[setting]\ncnt=2\n[item0]\nprocess=other.exe\n[item1]\nprocess=Outlook.EXE\ntype=5\n[switch]\nsapi=3\n");
    runtime.SetConfigOptionOff(true);
    for (const std::uint32_t mode : {3, 0}) {
        EXPECT_TRUE(Initialise(runtime, mode)) << Entries(errors);
    }
    t_path configFile, globalData;
    EXPECT_TRUE(runtime.GetDataFilePaths(configFile, globalData));
    EXPECT_EQ(
        std::tuple(install, install + L"\\Data", install + L"\\Data\\runtime.ini", install + L"\\Data\\tvim_gl.bin"),
        std::tuple(runtime.InstallPath(), runtime.DataPath(), configFile, globalData));
    EXPECT_EQ(std::tuple(std::filesystem::temp_directory_path().parent_path().wstring(),
                         std::wstring(_wgetenv(L"APPDATA")), knownFolder, std::wstring(GetCommandLineW())),
              std::tuple(runtime.TempPath(), runtime.AppDataPath(), runtime.UserPath(), runtime.CommandLineText()));
    EXPECT_EQ(FormatStr(L"%x", ElfHash(knownFolder)), runtime.UserPathHash());
    EXPECT_STREQ(L"1234", runtime.BuildNumber());
    EXPECT_EQ(std::tuple(L"c:\\office\\outlook.exe"s, L"c:\\office"s, L"outlook.exe"s),
              std::tuple(runtime.ProcessPath(), runtime.ProcessDirectory(), runtime.ProcessShortName()));
    EXPECT_EQ(std::tuple(!RunsBeforeVista(), true, false, false, false),
              std::tuple(runtime.VistaOrLater(), runtime.KnownHostApplication(), runtime.OldSystem(),
                         runtime.SafeMode(), runtime.ShellHost()));
    ASSERT_NE(nullptr, runtime.ProcessItem());
    EXPECT_EQ(std::tuple(5, 3, false),
              std::tuple(runtime.ProcessItem()->type.Value(), runtime.Config()->Sapi(), runtime.Config()->Option()));
}

TEST_F(Runtime, JudgesTheSystemByItsVersions)
{
    const std::wstring browser = L"C:\\IExplore.EXE", other = L"C:\\a.exe";
    // The kernel's answer, the documented one (none: the system lacks the call), and what is told.
    const std::tuple<t_osVersion, t_osVersion, std::wstring, std::string> rows[] = {
        {{5, 0, true, 4}, {5, 1, true, 3}, other, "o"},
        {{5, 1, true, 2}, {}, other, "o"},
        {{5, 1, true, 3}, {6, 1, true, 0}, browser, ""},
        {{5, 2, true, 1}, {}, other, ""},
        {{6, 1, true, 0}, {}, browser, "vi"},
        {{6, 4, true, 0}, {6, 2, true, 0}, other, "v8X"},
        {{6, 2, true, 0}, {10, 0, true, 0}, browser, "vi8X"},
        {{}, {6, 3, true, 0}, browser, "vi8"},
        {{}, {}, other, "o"}};
    std::wstring program;
    REPLACE(name, GetModuleFileNameW,
            [&](HMODULE, wchar_t* buffer, DWORD units) { return static_cast<DWORD>(program.copy(buffer, units)); });
    for (const auto& [fromKernel, fromDocumented, running, expected] : rows) {
        kernel = fromKernel, documented = fromDocumented, program = running;
        lookUp.answers["RtlGetVersion"] =
            kernel.major != 0 ? reinterpret_cast<void*>(&AnswerVersion<kernel, 0>) : nullptr;
        lookUp.answers["GetVersionExW"] =
            documented.major != 0 ? reinterpret_cast<void*>(&AnswerVersion<documented, TRUE>) : nullptr;
        t_runtime each;
        EXPECT_TRUE(Initialise(each));
        std::string judged;
        for (const auto& [letter, flag] : {std::pair{'o', each.OldSystem()},
                                           {'v', each.VistaOrLater()},
                                           {'i', each.InInternetExplorer()},
                                           {'8', each.Windows8OrLater()},
                                           {'X', each.Windows10OrLater()}}) {
            judged.append(flag, letter);
        }
        EXPECT_EQ(expected, judged);
        EXPECT_EQ(!each.Windows8OrLater(), each.IgnoreCancel());
    }
}

TEST_F(Runtime, DISABLED_MeasuresWhatIsSwitchedOn)
{
    static std::wstring printed, expected;
    static std::int64_t now = 0;
    static REPLACE(second, QueryPerformanceFrequency,
                   [](LARGE_INTEGER* ticks) { return ticks->QuadPart = 1000, TRUE; });
    static REPLACE(look, QueryPerformanceCounter, [](LARGE_INTEGER* ticks) {
        SetLastError(ERROR_BUSY);
        return ticks->QuadPart = ++now, TRUE;
    });
    static REPLACE(print, OutputDebugStringW, [](LPCWSTR line) { printed += line; });
    // It is printed when the process ends, in the reverse order of this request and of the first measurement.
    std::atexit([] {
        if (printed != expected) {
            std::fprintf(stderr, "%ls", printed.c_str());
            TerminateProcess(GetCurrentProcess(), 1);
        }
    });
    const std::wstring measured = _wgetenv(L"TARVO_TEST_MEASURED");
    for (const wchar_t* const other : {L"EnablePerf", L"EnableFunPerf"}) {
        WriteText(HKEY_LOCAL_MACHINE, kKey, other, L"1"); // a text is no switch
    }
    WriteRaw(HKEY_LOCAL_MACHINE, kKey, measured.c_str(), REG_DWORD, L"\1", 4);
    RegOverridePredefKey(HKEY_CURRENT_USER, MakeKey(HKEY_LOCAL_MACHINE, L"").Get());
    for (const t_perfKind kind : {t_perfKind::section, t_perfKind::function}) {
        const t_perfSection both(kind, L"both");
        SetLastError(ERROR_GEN_FAILURE);
    }
    EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, GetLastError());
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    directory.Write(L"Data\\runtime.ini", "[setting]\ncnt=1\n[item0]\nprocess=x");
    t_mutex mutex;
    EXPECT_TRUE(Initialise(runtime, 3));
    EXPECT_TRUE(n_config::t_configFile().Save(errors, directory.Path(L"written.ini").c_str()));
    EXPECT_TRUE(mutex.Create(errors, L"tarvo_measured"));
    EXPECT_TRUE(mutex.Lock(errors));
    mutex.Unlock();
    const std::wstring step = L"initruntime_", once = L": 1, 1.000 ms\n", withOne = L": 1, 3.000 ms\n";
    expected = L"both" + once;
    expected += measured == L"EnablePerf"
                    ? step + L"safemode" + once + step + L"installpath" + once + step + L"TempPath" + once + step +
                          L"VistaIE7" + once + L"ReadConfig: 2, 2.000 ms\n" + step + L"ProfilePath" + withOne + step +
                          L"DataPath: 1, 5.000 ms\n" + step + L"SetBuildNo" + once + step + L"SetCommandLine" + once +
                          step + L"safeapi" + once + step + L"SetProcessShortName" + once + step +
                          L"CheckConfig: 1, 7.000 ms\n" + step + L"CheckIgnoreCancel" + once + L"WriteConfig" + once
                    : L"CreateMutex2" + once + L"CreateMutex" + withOne + L"Lock" + once + L"Unlock" + once;
}

TEST(Performance, IsMeasuredUnderTheNamesOfTheSteps)
{
    for (const wchar_t* const measured : {L"EnablePerf", L"EnableFunPerf"}) {
        SetEnvironmentVariableW(L"TARVO_TEST_MEASURED", measured);
        EXPECT_TRUE(PassesAlone("Runtime.DISABLED_MeasuresWhatIsSwitchedOn")) << measured;
    }
}

TEST_F(Runtime, InstallPathByMode)
{
    const std::wstring noPath =
        L"系统错误2|读注册表失败：MACHINE\\Software\\TarvoInput\\InstallPath|查找安装路径出错|t_runtime初始化失败";
    const std::wstring noKey = L"系统错误2|打开注册表项失败：MACHINE\\Software\\TarvoInput|查找安装路径出错";
    // The second is what is registered. Null: no key; empty: a key without the value.
    const std::tuple<std::uint32_t, const wchar_t*, std::wstring, std::wstring> rows[] = {
        {0, nullptr, programDirectory, L""},
        {1, L"C:\\Tarvo", programDirectory, L""},
        {2, nullptr, programDirectory, noKey},
        {2, L"C:\\Tarvo\\", L"C:\\Tarvo", L""},
        {3, L"", L"", noPath},
        {3, L"C:\\Tarvo", L"C:\\Tarvo", L""},
        {5, L"C:\\Tarvo", programDirectory, L""},
        {7, L"C:\\Tarvo", L"", L""}};
    for (const auto& [mode, registered, path, entries] : rows) {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey);
        if (registered != nullptr) {
            WriteText(HKEY_LOCAL_MACHINE, kKey, L"Version", L"8.5.0.1234");
            WriteText(HKEY_LOCAL_MACHINE, kKey, *registered != L'\0' ? L"InstallPath" : L"other", registered);
        }
        t_runtime each;
        EXPECT_EQ(!path.empty() || mode == 7, Initialise(each, mode)) << mode;
        EXPECT_EQ(std::tuple(path, entries), std::tuple(each.InstallPath(), Entries(errors))) << mode;
        EXPECT_STREQ(mode >= 1 && mode <= 4 && registered != nullptr ? L"1234" : L"0007", each.BuildNumber());
    }
}

TEST_F(Runtime, VersionTexts)
{
    const std::wstring name = L"MACHINE\\Software\\TarvoInput\\Version|查找版本号出错";
    const std::tuple<DWORD, std::wstring, std::wstring, std::size_t, std::wstring> rows[] = {
        {REG_SZ, L"8", L"0007", 1, L""},
        {REG_SZ, L"8.123456789012", L"1234567890", 14, L""},
        {REG_SZ, std::wstring(256, L'中') + L".7", L"7", 510, L""},
        {REG_SZ, std::wstring(261, L'1'), L"0007", 0, L"系统错误234|读注册表失败：" + name},
        {REG_BINARY, L"8.5", L"0007", 0, L"系统错误0|注册表键值类型不匹配：" + name}};
    for (const auto& [type, stored, build, bytesCp936, entries] : rows) {
        WriteRaw(HKEY_LOCAL_MACHINE, kKey, L"Version", type, stored.data(), static_cast<DWORD>(stored.size() * 2));
        t_runtime each;
        EXPECT_TRUE(Initialise(each, 1));
        EXPECT_EQ(std::tuple(build, entries, bytesCp936, bytesCp936 == 0 ? L"" : stored),
                  std::tuple(each.BuildNumber(), Entries(errors), std::string(each.ProductVersion().textCp936).size(),
                             each.ProductVersion().text));
    }
}

TEST_F(Runtime, AFailedStepStopsNothingAndMayBeRepeated)
{
    const std::wstring failures[] = {L"查找系统临时目录出错:5", L"系统错误-2147467259|SHGetFolderPath失败: 26",
                                     L"无法解析ini文件", L"调用GetModuleFileName()失败"};
    int step = 0;
    REPLACE(temp, GetTempPathW, [&](auto... all) { return step == 0 ? (SetLastError(5), 0) : temp.Original(all...); });
    REPLACE(folder, SHGetFolderPathW, [&](auto... all) { return step == 1 ? E_FAIL : folder.Original(all...); });
    for (; step < 4; ++step) {
        directory.Write(L"Data\\runtime.ini", step == 2 ? "\xFF\xFEx" : "");
        programPath = step == 3 ? std::wstring(260, L'x') : L"C:\\a.exe";
        EXPECT_FALSE(Initialise(runtime, 3));
        EXPECT_EQ(failures[step] + L"|t_runtime初始化失败", Entries(errors));
        EXPECT_STREQ(L"1234", runtime.BuildNumber());
        EXPECT_EQ(std::tuple(directory.Path(), std::wstring(GetCommandLineW())),
                  std::tuple(runtime.InstallPath(), runtime.CommandLineText()));
    }
    programPath = L"C:\\a.exe";
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey);
    EXPECT_TRUE(Initialise(runtime, 1));
    EXPECT_STREQ(L"0007", runtime.BuildNumber());
    EXPECT_EQ(L"c:", runtime.ProcessDirectory());
}

TEST_F(Runtime, UserPathIsLocalLowUnlessItsFileNamesADirectory)
{
    directory.Write(L"user data\\file", "");
    const std::wstring other = directory.Path(L"user data");
    constexpr std::size_t kSmall = 1000, kLargest = 65536;
    for (const auto& [path, bytes, expected] : {std::tuple(other, kSmall, other),
                                                {directory.Path(L"none"), kSmall, knownFolder},
                                                {other + L"\\file", kSmall, knownFolder},
                                                {L"", kSmall, knownFolder},
                                                {other, kLargest, other},
                                                {other, kLargest + 1, knownFolder}}) {
        const std::wstring text = L"\xFEFF[User]\r\nPATH = " + path + L"\r\n#";
        std::string stored(reinterpret_cast<const char*>(text.data()), text.size() * 2);
        stored.resize(bytes, ' ');
        directory.Write(L"TarvoPY\\env.ini", stored);
        t_runtime each;
        EXPECT_TRUE(Initialise(each)) << Entries(errors);
        EXPECT_EQ(expected, each.UserPath());
    }
}

} // namespace
