#include "diag/log_writer.h"

#include <windows.h>

#include <memory>
#include <tuple>

#include "base/directory.h"
#include "base/module_path.h"
#include "base/reg.h"
#include "base/singleton.h"
#include "diag/format_time.h"
#include "diag/join.h"
#include "diag/log_file.h"
#include "runtime/runtime.h"

namespace {

constexpr std::uint64_t kFullBytes = 102400;
constexpr std::size_t kKeptBytes = 61440; // also where the kept bytes begin
constexpr wchar_t kMark = 0xFEFF;

// Cuts a full file to the mark and a later part. The file is emptied through the handle that was checked: CREATE_ALWAYS
// would close it first, and then empty whatever somebody has put in its place before that could be checked.
bool CutFile(const t_openFile& file)
{
    const auto kept = std::make_unique<BYTE[]>(kKeptBytes);
    std::size_t count = 0;
    if (!file.Seek(kKeptBytes) || !file.Read(kept.get(), kKeptBytes, count)) {
        count = 0;
    }
    return file.Resize(0) && (count == 0 || (file.Write(&kMark, sizeof(kMark)) && file.Write(kept.get(), count)));
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
    const t_openFile file = OpenLogFile(folder, name);
    std::uint64_t size = 0;
    if (!file || !file.ReadSize(size) || (size >= kFullBytes && (!CutFile(file) || !file.ReadSize(size))) ||
        !file.Seek(size) || (size == 0 && !file.Write(&kMark, sizeof(kMark)))) {
        return;
    }
    const t_str line = MakeLine(chain, number);
    std::ignore = file.Write(line.data(), line.size() * sizeof(wchar_t));
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
    t_errorChain discarded(t_errorChain::kDiscarding);
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
