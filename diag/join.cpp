#include "diag/join.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr int kLeadingEntries = 9;

} // namespace

void JoinLinesNaming(t_errorChain& chain, std::span<wchar_t> buffer, const wchar_t* processName)
{
    chain.ClearFailed();
    std::size_t used = 0;
    const auto append = [&](std::wstring_view text) {
        const std::size_t count = std::min(text.size(), buffer.size() - 1 - used);
        std::copy_n(text.begin(), count, buffer.begin() + static_cast<std::ptrdiff_t>(used));
        used += count;
    };

    int index = 0;
    const auto& entries = chain.Entries();
    for (auto entry = entries.begin(); entry != entries.end(); ++entry, ++index) {
        const bool isLast = std::next(entry) == entries.end();
        if (index < kLeadingEntries) {
            append(*entry);
            append(isLast ? L"" : L"\r\n");
        } else if (isLast) {
            append(*entry);
        }
    }
    if (processName != nullptr && !chain.IsEmpty()) {
        append(L"\r\n\r\n进程名：");
        append(processName);
    }
    buffer[used] = L'\0';
}

void JoinTabbed(t_errorChain& chain, t_str& text, const wchar_t* processName)
{
    chain.ClearFailed();
    const wchar_t* separator = L"";
    for (const t_str& entry : chain.Entries()) {
        text << separator << entry;
        separator = L"\t";
    }
    text << L"\t\t";
    if (processName != nullptr) {
        text << L"进程名：" << processName;
    }
}
