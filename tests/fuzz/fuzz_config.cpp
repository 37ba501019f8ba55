// Any bytes as a configuration file, against a second reader and writer made of plain lists.
#include <algorithm>
#include <utility>
#include <vector>

#include "base/ascii_case.h"
#include "config/config_text.h"
#include "config/encoding.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

struct t_plainSection
{
    std::wstring name;
    std::vector<std::pair<std::wstring, std::wstring>> lines; // an empty first text: a comment
};

std::wstring Stripped(std::wstring text)
{
    const auto isSpace = [](wchar_t unit) { return unit == L' ' || unit == L'\t' || unit == L'\r'; };
    while (!text.empty() && isSpace(text.back())) {
        text.pop_back();
    }
    while (!text.empty() && isSpace(text.front())) {
        text.erase(0, 1);
    }
    return text;
}

void ReadLine(std::vector<t_plainSection>& sections, std::size_t& current, const std::wstring& line)
{
    const std::size_t equals = line.find(L'=');
    if (line.empty() || line[0] == L'\0') {
        return;
    }
    if (line[0] == L';') {
        sections[current].lines.emplace_back(L"", line);
    } else if (line[0] == L'[') {
        const std::size_t end = line.find(L']');
        const std::wstring name = end == line.npos ? L"" : Stripped(line.substr(1, end - 1));
        if (!name.empty()) {
            current = 1;
            while (current < sections.size() && !EqualIgnoringCase(sections[current].name, name)) {
                ++current;
            }
            sections.resize(std::max(sections.size(), current + 1), {name, {}});
        }
    } else if (current != 0 && equals != line.npos && !Stripped(line.substr(0, equals)).empty()) {
        sections[current].lines.emplace_back(Stripped(line.substr(0, equals)), Stripped(line.substr(equals + 1)));
    }
}

// The first section holds what stands before all sections.
std::vector<t_plainSection> ReadPlainly(const std::wstring& text)
{
    std::vector<t_plainSection> sections(1);
    std::size_t current = 0;
    std::wstring line;
    for (const wchar_t unit : text) {
        if (unit != L'\n') {
            line += unit;
            continue;
        }
        if (!line.empty() && line.back() == L'\r') {
            line.pop_back();
        }
        ReadLine(sections, current, line);
        line.clear();
    }
    ReadLine(sections, current, line);
    return sections;
}

std::wstring WritePlainly(const std::vector<t_plainSection>& sections)
{
    std::wstring text;
    for (const t_plainSection& section : sections) {
        text += section.name.empty() ? L"" : (text.empty() ? L"[" : L"\r\n[") + section.name + L"]\r\n";
        for (const auto& [key, value] : section.lines) {
            const bool indented = !key.empty() && (key[0] == L';' || key[0] == L'[' || key[0] == L'\0');
            text += (indented ? L" " : L"") + key + (key.empty() ? L"" : L"=") + value + L"\r\n";
        }
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::wstring input;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (n_config::DecodeText(bytes, input) != n_config::t_decoded::text) {
        return 0;
    }
    n_config::t_configText text;
    text.Parse(input);
    const std::vector<t_plainSection> sections = ReadPlainly(input);
    const std::wstring written = text.Render();
    Check(written == WritePlainly(sections));

    std::wstring stored;
    Check(n_config::DecodeText(n_config::EncodeUtf16(written), stored) == n_config::t_decoded::text);
    Check(stored == written);
    text.Parse(stored);
    Check(text.Render() == written);
    Check(text.SectionNames().size() == sections.size() - 1);
    for (std::size_t i = 1; i < sections.size(); ++i) {
        const auto& lines = sections[i].lines;
        for (const auto& line : lines) {
            const auto first = std::find_if(lines.begin(), lines.end(), [&line](const auto& other) {
                return EqualIgnoringCase(other.first, line.first);
            });
            Check(line.first.empty() || text.FindValue(sections[i].name, line.first) == first->second);
        }
    }
    return 0;
}
