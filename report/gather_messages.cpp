#include <windows.h>

#include "base/open_file.h"
#include "base/path.h"
#include "report/described_errors.h"
#include "report/gather.h"
#include "report/log_tail.h"
#include "runtime/runtime.h"

namespace n_report {

namespace {

constexpr const wchar_t* kLogFiles[] = {L"error.log", L"userschdule.log"};
constexpr std::size_t kLines = 10;
constexpr std::uint64_t kTailBytes = 16384;

// A link that some program of the user put there would show another file's lines to whoever gets the report.
bool IsLink(const t_path& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Reads the last lines of a log; sets the last error on failure.
bool ReadTail(const t_path& path, t_texts& lines)
{
    const t_openFile file(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                          OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT);
    std::uint64_t size = 0;
    if (!file || !file.ReadSize(size)) {
        return false;
    }
    const std::uint64_t from = size > kTailBytes ? (size - kTailBytes) & ~std::uint64_t{1} : 0;
    std::string bytes(static_cast<std::size_t>(size - from), '\0');
    std::size_t count = 0;
    if (!file.Seek(from) || !file.Read(bytes.data(), bytes.size(), count)) {
        return false;
    }
    bytes.resize(count);
    lines = LastLines(bytes, from == 0, kLines);
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
