#include <tlhelp32.h>

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
#include "tests/windows_test.h"

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
                if (!done) {
                    EXPECT_NE("", sweep.FailedFirst());
                    EXPECT_FALSE(errors.IsEmpty());
                }
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
    REPLACE(adjust, AdjustTokenPrivileges, [&](auto, auto, auto* next, auto, auto* former, auto) {
        if (former != nullptr) {
            (*former = *next).Privileges[0].Attributes = 0;
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
            if (!sweep.Failed("AdjustTokenPrivileges")) {
                EXPECT_THAT(privileges, testing::Each(testing::Pair(testing::_, 0)));
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

// A process killed at a call of a save would leave what the files hold at that moment, so every call checks it.
TEST_F(FaultsOfLibrary, Configuration)
{
    constexpr int kInFolder = 0, kDamagedFile = 1, kWithoutNewFiles = 2, kWithoutReplacement = 3;
    int place = kInFolder;
    const std::string written = "\xFF\xFE[\0a\0]\0\r\0\n\0k\0=\0n\0e\0w\0\r\0\n\0"s;
    const std::wstring path = directory.Path(L"t.ini"), temporary = directory.Path(L"temp\\");
    std::string old;
    std::wstring copyPath, said;
    HANDLE rewritten = nullptr; // the file itself, opened to write into it
    bool roomMade = false;      // which comes before it is written
    const auto copy = [&] {     // the only file beside or in the temporary folder
        std::string content;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.Path())) {
            if (entry.path().extension() == L".tmp") {
                content += directory.Read(copyPath = entry.path().wstring());
            }
        }
        return content;
    };
    const auto stored = [&] { return directory.Read(std::filesystem::exists(path) ? L"t.ini" : L"t.ini.bad"); };
    const auto look = [&](HANDLE file = nullptr) {
        if (rewritten == nullptr) {
            EXPECT_EQ(old, stored());
        } else if (file == rewritten) {
            EXPECT_THAT(copy(), testing::HasSubstr(old));
        }
    };
    REPLACE(temp, GetTempPathW, [&](DWORD size, wchar_t* buffer) {
        return static_cast<DWORD>(temporary.copy(buffer, size)); // into cleared memory
    });
    REPLACE(secure, SetKernelObjectSecurity, [&](auto... all) { return secure.Original(all...); });
    REPLACE(create, CreateFileW, [&](auto name, DWORD access, auto... rest) {
        const bool isNew = name != path, beside = !std::wstring_view(name).starts_with(temporary);
        const bool isLoad = access == GENERIC_READ, narrow = place >= kWithoutNewFiles;
        if ((place == kWithoutNewFiles && isNew && beside) || (narrow && (access & WRITE_DAC) != 0)) {
            return SetLastError(ERROR_ACCESS_DENIED), INVALID_HANDLE_VALUE;
        }
        isLoad ? void() : look();
        const HANDLE file = create.Original(name, access, rest...);
        rewritten = isNew || isLoad ? rewritten : file;
        return file;
    });
    REPLACE(write, WriteFile, [&](HANDLE file, auto data, DWORD size, auto... rest) {
        look(file);
        if (rewritten != nullptr && file == rewritten) {
            EXPECT_GE(GetFileSize(file, nullptr), written.size()) << "no room was made";
            EXPECT_EQ("", stored()) << "half of the content can be read";
        }
        return write.Original(file, data, (size + 1) / 2, rest...); // a part of the bytes
    });
    REPLACE(cut, SetEndOfFile, [&](HANDLE file) {
        look(file);
        roomMade = true;
        return cut.Original(file);
    });
    REPLACE(flush, FlushFileBuffers, [&](HANDLE file) { return look(file), flush.Original(file); });
    REPLACE(move, MoveFileExW, [&](auto... all) {
        look();
        SetLastError(ERROR_ACCESS_DENIED);
        return place != kWithoutReplacement && move.Original(all...);
    });
    for (const auto& [name, at] : {std::pair("configuration", kInFolder),
                                   {"configuration, set aside", kDamagedFile},
                                   {"configuration, copied elsewhere", kWithoutNewFiles},
                                   {"configuration, in place", kWithoutReplacement}}) {
        place = at;
        Try(
            name,
            [&](t_errorChain& errors) {
                n_config::t_configFile file;
                if (!file.Load(errors, path.c_str()) && place != kDamagedFile) {
                    return false;
                }
                errors.Clear();
                file.Text().SetValue(L"a", L"k", L"new");
                const bool saved = file.Save(errors, path.c_str());
                said = Entries(errors);
                return saved;
            },
            [&] {
                std::filesystem::remove_all(directory.Path());
                std::filesystem::create_directories(temporary);
                directory.Write(L"t.ini", old = place == kDamagedFile ? "\xFF\xFE[" : "[a]\r\nk=old\r\n");
                said.clear(), rewritten = nullptr, roomMade = false, secure.calls = flush.calls = 0;
            },
            [&](const t_faultSweep& sweep, bool saved) {
                const std::string kept = copy();
                if (sweep.FailedFirst().empty()) {
                    EXPECT_EQ(place >= kWithoutNewFiles, rewritten != nullptr);
                    EXPECT_EQ(place == kWithoutReplacement ? 2 : 1, secure.calls) << "without the file's access list";
                    EXPECT_EQ(secure.calls + (rewritten != nullptr ? 1 : 0), flush.calls) << "not on the disk";
                }
                if (!saved && stored() != old) {
                    EXPECT_THAT(said, testing::HasSubstr(L"|旧内容保存在:"));
                }
                if (sweep.Failed("DeleteFileW")) {
                    EXPECT_THAT(stored() + kept, testing::HasSubstr(saved ? written : old));
                    return;
                }
                EXPECT_EQ(saved ? written : old, kept.empty() ? stored() : kept);
                if (!sweep.FailsEveryLater()) {
                    EXPECT_EQ(saved && place == kDamagedFile ? old : "", directory.Read(L"t.ini.bad"));
                }
                if (!sweep.FailsEveryLater() || !roomMade) {
                    EXPECT_EQ("", kept) << "the old content stands in its place";
                }
                if (!said.empty()) {
                    const std::wstring where = kept.empty() ? L"" : L"|旧内容保存在:" + copyPath;
                    EXPECT_THAT(said, testing::EndsWith(L"保存ini文件失败:" + path + where));
                }
            });
    }
}

TEST_F(FaultsOfLibrary, LogWriter)
{
    WriteRaw(HKEY_CURRENT_USER, L"Software\\TarvoInput", L"EnErrorLog", REG_DWORD, L"\1", 4);
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
            [&](auto&, bool) {
                // Of a full log a later part is kept, which may be lost.
                const std::string now = directory.Read(L"error.log");
                if (size == 20 || !now.empty()) {
                    EXPECT_THAT(now, testing::StartsWith(size == 20 ? old : mark));
                }
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
    REPLACE(size, GetFileSizeEx, [](HANDLE, LARGE_INTEGER* bytes) { return bytes->QuadPart = 0, TRUE; });
    REPLACE(next, Process32NextW, [](auto...) { return FALSE; });
    Try("report", [](t_errorChain&) {
        n_report::GatherReport();
        t_singletonRegistry::Process().DestroyAll();
        return true;
    });
}
