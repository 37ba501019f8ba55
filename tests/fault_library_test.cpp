#include <windows.h>

#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "base/critical_section.h"
#include "base/locker.h"
#include "base/reg.h"
#include "base/shared_memory.h"
#include "base/singleton.h"
#include "config/config_file.h"
#include "diag/error_list.h"
#include "diag/error_list_peek.h"
#include "diag/log_writer.h"
#include "report/gather.h"
#include "runtime/runtime.h"
#include "tests/fault_sweep.h"
#include "tests/import_patch.h"
#include "tests/scratch_directory.h"
#include "tests/scratch_registry.h"

using namespace std::string_literals;

namespace {

struct FaultsOfLibrary : testing::Test
{
    using t_operation = std::function<bool(t_errorChain&)>;

    // Sweeps an operation that works undisturbed, and otherwise says why not.
    void Try(
        const std::string& name, const t_operation& operation, const std::function<void()>& prepare = [] {},
        const std::function<void(const t_faultSweep& sweep, bool done)>& check = [](auto&, bool) {})
    {
        t_errorChain errors;
        bool done = false;
        t_faultSweep sweep;
        sweep.Sweep(
            name,
            [&] {
                errors.Clear();
                privileges.clear();
                prepare();
            },
            [&] { done = operation(errors); },
            [&] {
                EXPECT_TRUE(done || !sweep.FailedFirst().empty());
                EXPECT_TRUE(done || !errors.IsEmpty());
                check(sweep, done);
            });
    }

    t_scratchRegistry registry;
    t_scratchDirectory directory;
    std::map<DWORD, DWORD> privileges;
    REPLACE(sleep, Sleep, [](DWORD) {});
};

constexpr wchar_t kKey[] = L"Software\\Sweep";

} // namespace

TEST_F(FaultsOfLibrary, RegistryKeys)
{
    const auto prepare = [] {
        MakeKey(HKEY_CURRENT_USER, std::wstring(kKey) + L"\\tree\\branch\\leaf");
        MakeKey(HKEY_CURRENT_USER, std::wstring(kKey) + L"\\single");
        WriteText(HKEY_CURRENT_USER, kKey, L"text", L"abc");
        WriteRaw(HKEY_CURRENT_USER, kKey, L"number", REG_DWORD, L"ab", 4);
        WriteRaw(HKEY_CURRENT_USER, kKey, nullptr, REG_EXPAND_SZ, L"%x%", 8);
        WriteRaw(HKEY_CURRENT_USER, kKey, L"PendingFileRenameOperations", REG_MULTI_SZ, L"a\0b\0", 10);
    };
    Try(
        "registry key, reading",
        [](t_errorChain& errors) {
            t_reg key(HKEY_CURRENT_USER), again(HKEY_CURRENT_USER);
            t_str text, name;
            std::int32_t number = 0;
            DWORD keys = 0, values = 0, type = 0, size = 0;
            bool exists = false;
            return key.Open(errors, kKey, t_regAccess::view32) && key.ReadString(errors, text, 9, L"text") &&
                   key.ReadInt(errors, number, L"number") && key.GetDefaultExpandString(errors, text) &&
                   key.GetPendingRenames(errors, nullptr, size) && key.GetSubKeyCount(errors, keys) &&
                   key.GetValueCount(errors, values) && key.EnumKey(errors, name, 0) &&
                   key.EnumValue(errors, name, type, 0) && key.SubKeyExists(errors, L"tree", &exists) &&
                   again.Open(errors, kKey, t_regAccess::unlinked) && again.Open(errors, nullptr, t_regAccess::read);
        },
        prepare);
    Try(
        "registry key, changing",
        [](t_errorChain& errors) {
            t_reg root(HKEY_CURRENT_USER), key(HKEY_CURRENT_USER);
            bool created = false;
            return root.Open(errors, kKey, t_regAccess::write | t_regAccess::create) &&
                   key.Create(errors, L"Software\\Sweep\\new", t_reg::kCreateWritable, &created) &&
                   key.WriteString(errors, L"abc", L"text") && key.WriteInt(errors, std::int64_t{1}, L"number") &&
                   key.SetPendingRenames(errors, L"", 2) && key.DeleteValue(errors, L"number") &&
                   root.DeleteKey(errors, true, L"single") && root.DeleteTree(errors, true, L"tree");
        },
        prepare);

    // A key that refuses its deletion at first, so that access to it is repaired.
    REPLACE(adjust, AdjustTokenPrivileges,
            [&](HANDLE, WINBOOL, TOKEN_PRIVILEGES* next, DWORD, TOKEN_PRIVILEGES* former, DWORD*) -> WINBOOL {
                if (former != nullptr) {
                    *former = *next;
                    former->Privileges[0].Attributes = 0;
                }
                privileges[next->Privileges[0].Luid.LowPart] = next->Privileges[0].Attributes;
                return TRUE;
            });
    REPLACE(remove, RegDeleteKeyW, [&](HKEY key, LPCWSTR name) {
        return remove.calls % 2 == 1 ? LSTATUS{ERROR_ACCESS_DENIED} : remove.Original(key, name);
    });
    Try(
        "registry key, repairing",
        [&](t_errorChain& errors) {
            t_reg root(HKEY_CURRENT_USER);
            remove.calls = 0;
            return root.Open(errors, kKey, t_regAccess::write) && root.DeleteKey(errors, true, L"single");
        },
        prepare,
        [&](const t_faultSweep& sweep, bool) {
            for (const auto& [privilege, attributes] : privileges) {
                EXPECT_EQ(sweep.Failed("AdjustTokenPrivileges") ? attributes : 0, attributes);
            }
        });
}

TEST_F(FaultsOfLibrary, Locks)
{
    Try("locks", [](t_errorChain& errors) {
        t_mutex named, unnamed;
        t_criticalSection section;
        t_csAutoInit automatic(L"label", 2);
        t_locker first, second, third, fourth;
        return named.Create(errors, L"sweep") && unnamed.Create(errors, nullptr) && section.Create(errors, L"label") &&
               first.Lock(errors, named) && second.Lock(errors, unnamed) && third.Lock(errors, section) &&
               fourth.Lock(errors, automatic);
    });
    Try("shared memory", [](t_errorChain& errors) {
        t_sharedMemory memory;
        return memory.Open(errors, L"Local\\sweep", 100) && memory.Data() != nullptr;
    });
    Try("shared error list", [](t_errorChain& errors) {
        t_errorList list;
        t_str text;
        bool flag = false;
        itl::ImmSimpleArray<t_postedError> posted;
        return list.Open(errors) && list.Add(errors, L"a", true) && list.Add(errors, L"b", false) &&
               PeekErrorList(errors, posted) && list.ReadNext(errors, text, flag) && list.MarkAllRead(errors);
    });
}

TEST_F(FaultsOfLibrary, Configuration)
{
    const std::string plain = "[a]\r\nk=1\r\n", damaged = "[a]\nk=\xD6\x20\n",
                      changed = "\xFF\xFE[\0a\0]\0\r\0\n\0k\0=\0002\0\r\0\n\0"s;
    bool refuse = false;
    REPLACE(move, MoveFileExW, [&](auto... all) -> WINBOOL {
        SetLastError(ERROR_ACCESS_DENIED);
        return refuse ? FALSE : move.Original(all...);
    });
    for (const auto& [name, old, refused] : {std::tuple("configuration", plain, false),
                                             {"configuration, in place", plain, true},
                                             {"configuration, set aside", damaged, false}}) {
        refuse = refused;
        Try(
            name,
            [&](t_errorChain& errors) {
                n_config::t_configFile file;
                const std::wstring path = directory.Path(L"t.ini");
                const bool loaded = file.Load(errors, path.c_str());
                if (loaded || old == damaged) {
                    errors.Clear();
                    file.Text().SetValue(L"a", L"k", L"2");
                    return file.Save(errors, path.c_str());
                }
                return false;
            },
            [&] {
                for (const auto& entry : std::filesystem::directory_iterator(directory.Path())) {
                    std::filesystem::remove(entry);
                }
                directory.Write(L"t.ini", old);
            },
            [&](const t_faultSweep& sweep, bool done) {
                const std::string now = directory.Read(L"t.ini");
                int others = 0;
                bool kept = now == old || (now == changed && old == plain);
                for (const auto& entry : std::filesystem::directory_iterator(directory.Path())) {
                    others += entry.path().filename() != L"t.ini" ? 1 : 0;
                    kept = kept || directory.Read(entry.path().filename().wstring()) == old;
                }
                EXPECT_TRUE(kept);
                EXPECT_TRUE(!done || now == changed);
                // The content that was set aside, or kept while the file itself was written.
                EXPECT_TRUE(others == 0 || sweep.Failed("DeleteFileW") || old == damaged || now != old) << others;
            });
    }
}

TEST_F(FaultsOfLibrary, LogWriter)
{
    const DWORD on = 1;
    WriteRaw(HKEY_CURRENT_USER, L"Software\\TarvoInput", L"EnErrorLog", REG_DWORD, &on, sizeof(on));
    for (const auto& [name, size] : {std::pair("log", std::size_t{20}), {"log, full", std::size_t{102402}}}) {
        const std::string mark = "\xFF\xFE", old = mark + std::string(size, 'x');
        Try(
            name,
            [&](t_errorChain& errors) {
                errors.Fail(L"x");
                LogError(errors, 1, directory.Path().c_str());
                return true;
            },
            [&] { directory.Write(L"error.log", old); },
            [&](const t_faultSweep&, bool) {
                // Of a full log a later part is kept, which may be lost.
                const std::string now = directory.Read(L"error.log");
                EXPECT_TRUE(now.starts_with(size == 20 ? old : mark) || (size != 20 && now.empty())) << now.size();
            });
    }
}

TEST_F(FaultsOfLibrary, Runtime)
{
    WriteText(HKEY_LOCAL_MACHINE, kProductKey, L"Version", L"1.2.3.4");
    WriteText(HKEY_LOCAL_MACHINE, kProductKey, L"InstallPath", directory.Path());
    directory.Write(L"Data\\runtime.ini", "[setting]\r\ncnt=1\r\n[item0]\r\nprocess=x.exe\r\n");
    Try("runtime", [](t_errorChain& errors) {
        t_runtime runtime;
        runtime.SetInstallPathMode(2);
        return runtime.Initialise(errors);
    });
}

TEST_F(FaultsOfLibrary, Report)
{
    // Spared is what takes long and makes the same calls again: loading libraries, reading their files, other
    // processes.
    const t_library wintrust(LoadLibraryW(L"wintrust.dll")), crypt32(LoadLibraryW(L"crypt32.dll"));
    REPLACE(size, GetFileSizeEx, [](HANDLE, LARGE_INTEGER* bytes) -> WINBOOL {
        bytes->QuadPart = 0;
        return TRUE;
    });
    REPLACE(next, Process32NextW, [](auto...) -> WINBOOL { return FALSE; });
    Try("report", [](t_errorChain&) {
        n_report::GatherReport();
        t_singletonRegistry::Process().DestroyAll();
        return true;
    });
}
