// The shared error list, the log writer and the file digest, beside the bare work.
#include <windows.h>

#include <aclapi.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include "base/open_file.h"
#include "base/security.h"
#include "base/system_function.h"
#include "benches/measure.h"
#include "diag/error_list.h"
#include "diag/error_list_layout.h"
#include "diag/log_writer.h"
#include "launch/digest.h"

namespace {

void Check(bool done, const char* what)
{
    if (!done) {
        std::fprintf(stderr, "library_bench: %s failed\n", what);
        std::exit(1);
    }
}

void Print(const char* row, const char* beside, const n_bench::t_measured& measured, double unit, const char* unitName,
           const char* aim, const char* remark)
{
    char text[160];
    std::snprintf(text, sizeof(text), "%.1f %s to %.1f %s%s", measured.subject * unit, unitName, measured.peer * unit,
                  unitName, remark);
    n_bench::PrintRow(row, beside, measured.Ratio(), aim, text);
}

// Distinct messages of 200 characters that differ in the last ones only, as those with paths in them do.
std::vector<std::wstring> MakeMessages()
{
    std::vector<std::wstring> messages;
    for (unsigned number = 0; number * 404 + 12 < t_errorListLayout::kBytes; ++number) {
        wchar_t end[8];
        std::swprintf(end, 8, L"%05u", number);
        messages.push_back(std::wstring(1, static_cast<wchar_t>(L'A' + number % 26)) + std::wstring(194, L'x') + end);
    }
    return messages;
}

void MeasureErrorList()
{
    const std::vector<std::wstring> messages = MakeMessages();
    const auto fill = [&] {
        t_errorChain errors;
        t_errorList list; // gone, and empty the next time, when it is closed
        Check(list.Open(errors), "opening the error list");
        std::size_t posted = 0;
        while (list.Add(errors, messages[posted % messages.size()].c_str(), false) && posted + 1 < messages.size()) {
            ++posted;
        }
        Check(posted > 2500, "filling the error list");
    };
    const auto scan = [&] {
        std::vector<wchar_t> area(t_errorListLayout::kBytes / 2);
        std::size_t end = 6;
        for (const std::wstring& message : messages) {
            for (const wchar_t* at = area.data() + 6; at < area.data() + end; at += std::wcslen(at) + 1) {
                Check(std::wcscmp(at, message.c_str()) != 0, "a message that is there");
            }
            if (end + message.size() + 2 > area.size()) {
                break;
            }
            message.copy(&area[end + 1], message.size());
            end += message.size() + 2;
        }
    };
    Print("shared error list, to full", "a bare scan of each", n_bench::Measure(fill, scan, 4), 1000, "ms", "1.5",
          ", 2,595 messages");
}

// The calls that a line takes: is it wanted, is the folder there and where it was asked for, is the file one that may
// be opened to everybody, and the writing.
class t_bareLog
{
public:
    explicit t_bareLog(const wchar_t* folderToUse) : folder(folderToUse) {}

    void Write() const
    {
        HKEY key = nullptr;
        DWORD enabled = 0, size = sizeof(enabled);
        RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\TarvoInput", 0, KEY_READ | KEY_WOW64_32KEY, &key);
        RegQueryValueExW(key, L"EnErrorLog", nullptr, nullptr, reinterpret_cast<BYTE*>(&enabled), &size);
        RegCloseKey(key);
        GetFileAttributesW(folder);

        wchar_t path[MAX_PATH], name[1024];
        GetFullPathNameW(folder, MAX_PATH, path, nullptr);
        const HANDLE opened = OpenFolder(path, FILE_LIST_DIRECTORY);
        BY_HANDLE_FILE_INFORMATION info{};
        GetFileInformationByHandle(opened, &info);
        getFinalPath(opened, name, ARRAYSIZE(name), 0xA);
        const HANDLE drive = OpenFolder(std::wstring(path, 3).c_str(), FILE_READ_ATTRIBUTES);
        getFinalPath(drive, name, ARRAYSIZE(name), 0xA);
        CloseHandle(drive);
        GetLongPathNameW(path, name, ARRAYSIZE(name));

        const HANDLE file = CreateFileW((std::wstring(path) + L"\\bare.log").c_str(),
                                        GENERIC_READ | GENERIC_WRITE | WRITE_DAC | WRITE_OWNER, 0, nullptr, OPEN_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
        Check(file != INVALID_HANDLE_VALUE, "opening the bare log");
        GetFileInformationByHandle(file, &info);
        getFinalPath(file, name, ARRAYSIZE(name), 0xA);
        SetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, OpenAccessList(), nullptr);
        if (LowMandatoryLabel() != nullptr) {
            SetSecurityInfo(file, SE_FILE_OBJECT, LABEL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                            LowMandatoryLabel());
        }
        CloseHandle(opened);
        LARGE_INTEGER position{};
        GetFileSizeEx(file, &position);
        if (position.QuadPart >= 102400) {
            position.QuadPart = 0;
            SetFilePointerEx(file, position, nullptr, FILE_BEGIN);
            SetEndOfFile(file);
        }
        SetFilePointerEx(file, position, nullptr, FILE_BEGIN);
        const std::time_t now = std::time(nullptr);
        std::localtime(&now);
        GetModuleFileNameW(nullptr, name, ARRAYSIZE(name));
        DWORD written = 0;
        constexpr wchar_t kLine[] =
            L"2023-04-18(2) 20:03:27\tsomething failed\tand why\t\t进程名：library_bench.exe\r\n";
        WriteFile(file, kLine, sizeof(kLine) - sizeof(wchar_t), &written, nullptr);
        CloseHandle(file);
    }

private:
    static HANDLE OpenFolder(const wchar_t* path, DWORD access)
    {
        return CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    }

    using t_finalPathFunction = DWORD(WINAPI*)(HANDLE, wchar_t*, DWORD, DWORD);
    t_finalPathFunction getFinalPath =
        FindSystemFunction<t_finalPathFunction>(L"kernel32.dll", "GetFinalPathNameByHandleW");
    const wchar_t* folder;
};

void MeasureLog(const wchar_t* folder)
{
    HKEY key = nullptr;
    const DWORD enabled = 1;
    Check(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\TarvoBench\\Log\\Software\\TarvoInput", 0, nullptr,
                          REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr) == ERROR_SUCCESS &&
              RegSetValueExW(key, L"EnErrorLog", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&enabled), 4) ==
                  ERROR_SUCCESS,
          "turning the log on");
    RegCloseKey(key);
    RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\TarvoBench\\Log", 0, KEY_ALL_ACCESS, &key);
    Check(RegOverridePredefKey(HKEY_CURRENT_USER, key) == ERROR_SUCCESS, "redirecting the registry");
    t_errorChain errors;
    errors.Fail(L"something failed");
    errors.Fail(L"and why");
    const t_bareLog bare(folder);
    constexpr int kLines = 20;
    const auto repeat = [](auto line) {
        return [line] {
            for (int i = 0; i < kLines; ++i) {
                line();
            }
        };
    };
    Print("a log line", "the bare calls",
          n_bench::Measure(repeat([&] { LogError(errors, 1, folder); }), repeat([&] { bare.Write(); }), 4),
          1e6 / kLines, "us", "1.2", "; the checks of folder, file and security among both");
    const std::wstring path(folder);
    Check(GetFileAttributesW((path + L"\\error.log").c_str()) != INVALID_FILE_ATTRIBUTES, "writing the log");
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(key);
    DeleteFileW((path + L"\\error.log").c_str());
    DeleteFileW((path + L"\\bare.log").c_str());
}

constexpr char kDigest[] = "2cc945f75047a4b03baf9743067420b8";

// Runs the machine's own program. Wine gives neither a handle to wait for nor a pipe to read from: what it prints is a
// file that is there when it has ended.
void RunMd5Sum(const std::wstring& path)
{
    const std::wstring result = path + L".md5";
    std::wstring unixPath = path.substr(2); // without the drive
    for (wchar_t& unit : unixPath) {
        unit = unit == L'\\' ? L'/' : unit;
    }
    std::wstring command = L"sh -c \"md5sum '" + unixPath + L"' >'" + unixPath + L".part'; mv '" + unixPath +
                           L".part' '" + unixPath + L".md5'\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    Check(CreateProcessW(L"Z:\\bin\\sh", command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                         &process),
          "starting md5sum");
    while (GetFileAttributesW(result.c_str()) == INVALID_FILE_ATTRIBUTES) {
        Sleep(1);
    }
    char sum[sizeof(kDigest)] = {};
    FILE* const file = _wfopen(result.c_str(), L"rb");
    Check(file != nullptr && std::fgets(sum, sizeof(sum), file) != nullptr && std::string_view(sum) == kDigest,
          "md5sum");
    std::fclose(file);
    DeleteFileW(result.c_str());
}

void MeasureDigest(const wchar_t* folder)
{
    const std::wstring path = std::wstring(folder) + L"\\library_bench.bin";
    {
        const t_openFile file(path.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
        const std::vector<char> piece(1 << 20, 'x');
        for (int i = 0; i < 100; ++i) {
            Check(file.Write(piece.data(), piece.size()), "writing the file to digest");
        }
    }
    const auto digest = [&] {
        const t_openFile file(path.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
        t_md5Digest md5;
        Check(static_cast<bool>(file) && ComputeMd5(file, md5) &&
                  md5[0] == std::stoi(std::string(kDigest, 2), nullptr, 16),
              "the digest");
    };
    const auto native = [&] { RunMd5Sum(path); };
    Print("MD5 of 100 MiB", "md5sum", n_bench::Measure(digest, native, 4), 1000, "ms", "1.1", ", which a shell starts");
    DeleteFileW(path.c_str());
}

} // namespace

int main()
{
    wchar_t folder[MAX_PATH];
    GetCurrentDirectoryW(ARRAYSIZE(folder), folder);
    MeasureErrorList();
    MeasureLog(folder);
    MeasureDigest(folder);
    return 0;
}
