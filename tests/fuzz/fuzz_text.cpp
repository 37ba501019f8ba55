// Path joining, hash, identifier text and the two forms of an error chain.
#include <algorithm>
#include <span>
#include <vector>

#include "base/ascii_case.h"
#include "base/elf_hash.h"
#include "base/guid_text.h"
#include "base/path.h"
#include "diag/join.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

void CheckPaths(const t_str& path, const t_str& component)
{
    const t_path joined = JoinPath(path, component);
    Check(joined.starts_with(path));
    if (component.starts_with(L'.')) {
        Check(EqualIgnoringCase(std::wstring_view(joined).substr(joined.size() - component.size()), component));
        Check(JoinPath(joined, component) == joined);
        return;
    }
    Check(joined.ends_with(component) && joined[joined.size() - component.size() - 1] == L'\\');
    Check(joined.size() - path.size() - component.size() <= 1);
    t_path cut = joined;
    Check(cut.CutLastComponent());
    Check(joined == cut + L"\\" + std::wstring(FileNamePart(joined)));
}

// Appending to a text moves its hash on from where it was; the hash keeps 28 bits of text up to 12 bits wide.
void CheckHash(std::wstring_view text)
{
    std::uint64_t hash = 0;
    for (const wchar_t unit : text) {
        hash = (hash * 16 + static_cast<std::uint64_t>(unit)) % (std::uint64_t{1} << 32);
        const std::uint64_t high = hash / (std::uint64_t{1} << 28);
        hash = (hash % (std::uint64_t{1} << 28)) ^ (high * 16);
    }
    Check(ElfHash(text) == hash);
    Check(ElfHashIgnoringCase(text) == ElfHash(FoldCase(text)));
}

void CheckGuid(std::wstring_view text)
{
    t_guid guid;
    if (ParseGuid(text, guid)) {
        t_guid again;
        Check(FormatGuid(guid).size() == 38 && ParseGuid(FormatGuid(guid), again) && again == guid);
        Check(IsNullGuid(guid) == (FormatGuid(guid) == L"{00000000-0000-0000-0000-000000000000}"));
    }
}

void CheckJoins(const std::vector<t_str>& entries, std::size_t bufferUnits)
{
    t_errorChain chain;
    std::wstring lines, tabbed;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        chain.NewEntry() = entries[i];
        lines += i < 9 || i + 1 == entries.size() ? entries[i] : t_str();
        lines += i < 9 && i + 1 < entries.size() ? L"\r\n" : L"";
        tabbed += (i != 0 ? L"\t" : L"") + entries[i];
    }
    // A buffer of exactly the stated size, so that a write behind it is found.
    std::vector<wchar_t> buffer(bufferUnits, L'#');
    JoinLines(chain, buffer, nullptr);
    Check(lines.substr(0, bufferUnits - 1) == buffer.data());
    t_str line;
    JoinTabbed(chain, line, L"x.exe");
    Check(line == tabbed + L"\t\t进程名：x.exe");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const t_str text = ToUnits(data, size);
    CheckHash(text);
    CheckGuid(text);
    std::wstring_view rest = text;
    std::vector<t_str> entries;
    while (!rest.empty()) {
        entries.push_back(TakeText(rest));
    }
    CheckJoins(entries, 1 + size % 97);
    if (entries.size() >= 2) {
        CheckPaths(entries[0], entries[1]);
    }
    return 0;
}
