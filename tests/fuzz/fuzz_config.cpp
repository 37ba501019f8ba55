// Any bytes as a configuration file, against a second reader and writer made of plain lists.
#include <algorithm>
#include <map>
#include <sstream>
#include <vector>

#include "base/ascii_case.h"
#include "config/config_text.h"
#include "config/encoding.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

struct t_plainSection
{
    std::wstring name, lines;                    // as they are written
    std::map<std::wstring, std::wstring> values; // of the first line of each folded key
};

std::wstring Stripped(const std::wstring& text)
{
    const std::size_t first = text.find_first_not_of(L" \t\r"), last = text.find_last_not_of(L" \t\r");
    return first == text.npos ? L"" : text.substr(first, last + 1 - first);
}

// The first section holds what stands before all sections.
std::vector<t_plainSection> ReadPlainly(const std::wstring& text)
{
    std::vector<t_plainSection> sections(1);
    std::map<std::wstring, std::size_t> numbers; // of the folded names
    std::size_t current = 0;
    std::wistringstream stream(text);
    for (std::wstring line; std::getline(stream, line);) {
        if (!stream.eof() && line.ends_with(L'\r')) {
            line.pop_back();
        }
        const wchar_t first = line.c_str()[0];
        const std::size_t begin = first == L'[', end = line.find(first == L'[' ? L']' : L'=');
        const std::wstring name = end == line.npos ? L"" : Stripped(line.substr(begin, end - begin));
        if (first == L';') {
            sections[current].lines += line + L"\r\n";
        } else if (first == L'[' && !name.empty()) {
            current = numbers.try_emplace(FoldCase(name), sections.size()).first->second;
            sections.resize(std::max(sections.size(), current + 1), {name, L"", {}});
        } else if (first != L'\0' && first != L'[' && current != 0 && !name.empty()) {
            const std::wstring value = Stripped(line.substr(end + 1));
            const bool indented = name[0] == L';' || name[0] == L'[' || name[0] == L'\0';
            sections[current].lines += (indented ? L" " : L"") + name + L"=" + value + L"\r\n";
            sections[current].values.try_emplace(FoldCase(name), value);
        }
    }
    return sections;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace n_config;
    std::wstring input, expected;
    if (DecodeText({reinterpret_cast<const char*>(data), size}, input) != t_decoded::text) {
        return 0;
    }
    t_configText text;
    text.Parse(input);
    for (const auto& [section, lines, values] : ReadPlainly(input)) {
        expected += section.empty() ? lines : (expected.empty() ? L"[" : L"\r\n[") + section + L"]\r\n" + lines;
        for (const auto& [key, value] : values) {
            Check(text.FindValue(section, key) == value);
        }
    }
    Check(text.Render() == expected);
    text.Parse(expected);
    Check(text.Render() == expected);
    return 0;
}
