// Times by a pattern and the two forms of an error chain.
#include <ctime>
#include <sstream>
#include <vector>

#include "base/elf_hash.h"
#include "diag/format_time.h"
#include "diag/join.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

// Against the C library, whose letters differ.
void CheckTime(const std::wstring& pattern, std::time_t point)
{
    const std::tm time = *std::localtime(&point);
    std::wstring expected;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != L'%') {
            expected += pattern[i];
            continue;
        }
        const std::size_t letter = std::wstring_view(L"YMDhmsW%").find(pattern.c_str()[++i]);
        if (letter == std::wstring_view::npos) {
            break;
        }
        const char format[] = {'%', "YmdHMSw%"[letter], '\0'};
        char field[8];
        expected.append(field, field + std::strftime(field, sizeof(field), format, &time));
    }
    t_str text;
    FormatTime(text, time, pattern.c_str());
    Check(text == expected);
}

void CheckJoins(const std::vector<t_str>& entries, std::size_t bufferUnits)
{
    t_errorChain chain;
    std::wstring lines, tabbed;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const bool last = i + 1 == entries.size();
        chain.NewEntry() = entries[i];
        lines += i < 9 || last ? entries[i] + (last ? L"" : L"\r\n") : L"";
        tabbed += entries[i] + (last ? L"" : L"\t");
    }
    std::vector<wchar_t> buffer(bufferUnits); // no unit more, so that a write behind it is found
    JoinLinesNaming(chain, buffer, nullptr);
    Check(lines.substr(0, bufferUnits - 1) == buffer.data());
    t_str line;
    JoinTabbed(chain, line, L"x.exe");
    Check(line == tabbed + L"\t\t进程名：x.exe");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::wistringstream text(ToUnits(data, size));
    std::vector<t_str> entries;
    for (std::wstring entry; std::getline(text, entry, L'\0');) {
        entries.push_back(entry);
    }
    CheckJoins(entries, 1 + size % 97);
    if (entries.size() >= 2) {
        CheckTime(entries[0], static_cast<std::time_t>(ElfHash(entries[1])) * 16); // of the years up to 2106
    }
    return 0;
}
