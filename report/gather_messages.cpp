#include <windows.h>

#include "base/handles.h"
#include "base/path.h"
#include "report/described_errors.h"
#include "report/gather.h"
#include "report/log_tail.h"
#include "runtime/runtime.h"

namespace n_report {

namespace {

constexpr const wchar_t* kLogFiles[] = {L"error.log", L"userschdule.log"};
constexpr std::size_t kLines = 10;
constexpr LONGLONG kTailBytes = 16384;

// A link that some program of the user put there would show another file's lines to whoever gets the report.
bool IsLink(const t_path& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Reads the last lines of a log; sets the last error on failure.
bool ReadTail(const t_path& path, t_texts& lines)
{
    const t_handle file =
        MakeFileHandle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                   nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.Get(), &size)) {
        return false;
    }
    LARGE_INTEGER from{};
    from.QuadPart = size.QuadPart > kTailBytes ? (size.QuadPart - kTailBytes) & ~LONGLONG{1} : 0;
    std::string bytes(static_cast<std::size_t>(size.QuadPart - from.QuadPart), '\0');
    DWORD read = 0;
    if (!SetFilePointerEx(file.Get(), from, nullptr, FILE_BEGIN) ||
        !::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
        return false;
    }
    bytes.resize(read);
    lines = LastLines(bytes, from.QuadPart == 0, kLines);
    return true;
}

} // namespace

t_messages GatherMessages(const t_runtime& runtime)
{
    t_messages messages;
    t_errorChain errors;
    if (!PeekErrorList(errors, messages.unread)) {
        messages.unseen.push_back(DescribeErrors(errors));
    }
    if (runtime.UserPath().empty()) {
        return messages;
    }
    const t_path folder = JoinPath(runtime.UserPath(), L"TarvoPy");
    for (const wchar_t* const name : kLogFiles) {
        t_log log;
        log.path = JoinPath(folder, name);
        if (IsLink(folder) || IsLink(log.path)) {
            messages.unseen.push_back(log.path + L": a link");
        } else if (ReadTail(log.path, log.lines)) {
            messages.logs.push_back(std::move(log));
        } else if (const DWORD error = GetLastError(); error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND) {
            messages.unseen.push_back(DescribeSystemError(log.path, error));
        }
    }
    return messages;
}

} // namespace n_report
