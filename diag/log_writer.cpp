#include "diag/log_writer.h"

#include <windows.h>

#include <memory>

#include "base/directory.h"
#include "base/module_path.h"
#include "base/reg.h"
#include "base/singleton.h"
#include "diag/format_time.h"
#include "diag/join.h"
#include "diag/log_file.h"
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

void AppendLogLine(t_errorChain& chain, const t_path& folder, const wchar_t* name, std::uint32_t number)
{
    const t_handle file = OpenLogFile(folder, name);
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
    if (DirectoryExists(folder)) {
        AppendLogLine(chain, folder, name, number);
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
