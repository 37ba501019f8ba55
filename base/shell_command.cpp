#include "base/shell_command.h"

#include <algorithm>

#include "base/ascii_case.h"

namespace {

constexpr std::size_t kMaxPathUnits = 259;
constexpr std::wstring_view kProgramExtension = L".exe";
constexpr std::wstring_view kBlanks = L" \t";

std::wstring_view TrimLeft(std::wstring_view text)
{
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == text.npos ? std::wstring_view() : text.substr(begin);
}

bool IsPlainProgram(std::wstring_view path)
{
    const wchar_t drive = path.empty() ? L'\0' : FoldCase(path.front());
    return path.size() <= kMaxPathUnits && drive >= L'a' && drive <= L'z' && path.substr(1, 2) == L":\\" &&
           path.find_first_of(L"<>\"|?*/:", 2) == path.npos && path.find(L"\\..\\") == path.npos &&
           path.size() > kProgramExtension.size() &&
           EqualIgnoringCase(path.substr(path.size() - kProgramExtension.size()), kProgramExtension);
}

// Finds where the program of a command without quotation marks ends; a path that was found by adding the extension gets
// it.
std::size_t FindProgram(std::wstring_view command, bool (*exists)(const t_path& path), t_path& program)
{
    for (std::size_t end = 0; end < command.size();) {
        end = std::min(command.find_first_of(kBlanks, end + 1), command.size());
        for (const std::wstring_view extension : {std::wstring_view(), kProgramExtension}) {
            program.assign(command.substr(0, end)).append(extension);
            if (IsPlainProgram(program) && exists(program)) {
                return end;
            }
        }
    }
    const std::size_t end = std::min(command.find_first_of(kBlanks), command.size());
    program.assign(command.substr(0, end));
    return end;
}

} // namespace

bool SplitShellCommand(std::wstring_view command, bool (*exists)(const t_path& path), t_shellCommand& result)
{
    command = TrimLeft(command);
    if (std::any_of(command.begin(), command.end(), [](wchar_t unit) { return unit < L' ' && unit != L'\t'; })) {
        return false;
    }
    t_path program;
    std::size_t end = 0;
    if (command.starts_with(L'"')) {
        const std::size_t closing = command.find(L'"', 1);
        if (closing == command.npos) {
            return false;
        }
        program.assign(command.substr(1, closing - 1));
        end = closing + 1;
    } else {
        end = FindProgram(command, exists, program);
    }
    if (!IsPlainProgram(program)) {
        return false;
    }
    result.program = std::move(program);
    result.arguments = t_str(std::wstring(TrimLeft(command.substr(end))));
    return true;
}
