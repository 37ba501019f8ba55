#include "diag/log_writer.h"

#include <windows.h>

#include <aclapi.h>

#include <memory>

#include "base/directory.h"
#include "base/module_path.h"
#include "base/reg.h"
#include "base/security.h"
#include "base/singleton.h"
#include "diag/format_time.h"
#include "diag/join.h"
#include "runtime/runtime.h"

namespace {

constexpr LONGLONG kFullBytes = 102400;
constexpr DWORD kKeptBytes = 61440; // also where the kept bytes begin
constexpr wchar_t kMark = 0xFEFF;

bool SeekTo(HANDLE file, LONGLONG offset, DWORD from)
{
    LARGE_INTEGER distance{};
    distance.QuadPart = offset;
    return SetFilePointerEx(file, distance, nullptr, from) != FALSE;
}

bool WriteAll(HANDLE file, const void* data, std::size_t bytes)
{
    DWORD written = 0;
    return WriteFile(file, data, static_cast<DWORD>(bytes), &written, nullptr) && written == bytes;
}

bool IsLink(HANDLE file)
{
    BY_HANDLE_FILE_INFORMATION info{};
    return !GetFileInformationByHandle(file, &info) || (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
           info.nNumberOfLinks > 1;
}

// Lets programs of every user and integrity write the file too. A handle without the rights for it, because another
// user's file grants them to nobody else, fails here, and that user has done it already.
void RelaxSecurity(HANDLE file)
{
    if (ACL* const accessList = OpenAccessList()) {
        SetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, accessList, nullptr);
    }
    if (ACL* const label = LowMandatoryLabel()) {
        SetSecurityInfo(file, SE_FILE_OBJECT, LABEL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, label);
    }
}

// Opens or creates a log file for this process alone. Null when it cannot be had or is a link.
t_handle OpenLogFile(const t_path& path)
{
    t_handle file;
    // Changing the access list and the label takes two rights that reading and writing do not include.
    for (const DWORD securityRights : {DWORD{WRITE_DAC | WRITE_OWNER}, DWORD{0}}) {
        // A link in place of the file is opened itself, not what it leads to.
        file = MakeFileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | securityRights, 0, nullptr,
                                          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
        if (file || GetLastError() != ERROR_ACCESS_DENIED) {
            break;
        }
    }
    if (!file || IsLink(file.Get())) {
        return t_handle();
    }
    RelaxSecurity(file.Get());
    return file;
}

// Cuts a full file to the mark and a later part. The file is emptied through the handle that was checked: CREATE_ALWAYS
// would close it first, and then empty whatever somebody has put in its place before that could be checked.
bool CutFile(HANDLE file)
{
    const auto kept = std::make_unique<BYTE[]>(kKeptBytes);
    DWORD count = 0;
    if (!SeekTo(file, kKeptBytes, FILE_BEGIN) || !ReadFile(file, kept.get(), kKeptBytes, &count, nullptr)) {
        count = 0;
    }
    if (!SeekTo(file, 0, FILE_BEGIN) || !SetEndOfFile(file)) {
        return false;
    }
    return count == 0 || (WriteAll(file, &kMark, sizeof(kMark)) && WriteAll(file, kept.get(), count));
}

t_str MakeLine(t_errorChain& chain, std::uint32_t number)
{
    t_str line;
    FormatTime(line, std::time(nullptr), L"%Y-%M-%D(%W) %h:%m:%s");
    if (number != 0) {
        line << L"\t" << number;
    }
    line << L"\t";
    t_path program;
    const bool named = ReadModulePath(nullptr, program);
    const std::wstring programName(FileNamePart(program));
    JoinTabbed(chain, line, named ? programName.c_str() : nullptr);
    line << L"\r\n";
    return line;
}

void AppendLogLine(t_errorChain& chain, const t_path& path, std::uint32_t number)
{
    const t_handle file = OpenLogFile(path);
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.Get(), &size)) {
        return;
    }
    if (size.QuadPart >= kFullBytes && (!CutFile(file.Get()) || !GetFileSizeEx(file.Get(), &size))) {
        return;
    }
    if (!SeekTo(file.Get(), 0, FILE_END) || (size.QuadPart == 0 && !WriteAll(file.Get(), &kMark, sizeof(kMark)))) {
        return;
    }
    const t_str line = MakeLine(chain, number);
    WriteAll(file.Get(), line.data(), line.size() * sizeof(wchar_t));
}

// Empty when it was not known at the first request.
const t_path& UserLogDirectory()
{
    static const t_path directory = [] {
        const t_runtime* const runtime = ImmSingleton<t_runtime>::Instance();
        return runtime == nullptr || runtime->UserPath().empty() ? t_path() : JoinPath(runtime->UserPath(), L"TarvoPy");
    }();
    return directory;
}

void Log(t_errorChain& chain, std::uint32_t mask, std::uint32_t number, const wchar_t* directory, const wchar_t* name)
{
    if (!IsErrorLogEnabled(mask)) {
        return;
    }
    const t_path folder = directory != nullptr ? t_path(directory) : UserLogDirectory();
    if (directory == nullptr && folder.empty()) {
        chain.Fail(L"获取用户目录失败");
        return;
    }
    // A folder of the user's that leads elsewhere could make the log end up, open to everyone, where it must not.
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (DirectoryExists(folder) && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        AppendLogLine(chain, JoinPath(folder, name), number);
    }
}

} // namespace

bool IsErrorLogEnabled(std::uint32_t mask)
{
    t_errorChain discarded;
    t_reg key(HKEY_CURRENT_USER);
    std::uint32_t enabled = 0;
    return key.Open(discarded, L"Software\\TarvoInput", t_regAccess::view32) &&
           key.ReadInt(discarded, enabled, L"EnErrorLog") && (enabled & mask) != 0;
}

void LogError(t_errorChain& chain, std::uint32_t mask, const wchar_t* directory)
{
    Log(chain, mask, 0, directory, L"error.log");
}

void LogSchedule(t_errorChain& chain, std::uint32_t mask, std::uint32_t number, const wchar_t* directory)
{
    Log(chain, mask, number, directory, L"userschdule.log");
}
