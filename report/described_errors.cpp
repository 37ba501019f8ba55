#include "report/described_errors.h"

namespace n_report {

namespace {

// The system's texts end in blanks that stand for line ends.
void AppendTrimmed(t_str& text, const t_str& entry)
{
    text << t_str(entry.substr(0, entry.find_last_not_of(L' ') + 1));
}

} // namespace

t_str DescribeErrors(const t_errorChain& errors)
{
    t_str text;
    for (const t_str& entry : errors.Entries()) {
        text << (text.empty() ? L"" : L"; ");
        AppendTrimmed(text, entry);
    }
    return text;
}

t_str DescribeSystemError(const t_str& subject, DWORD code)
{
    t_str error;
    AppendSystemError(error, code);
    t_str text = subject + L": ";
    AppendTrimmed(text, error);
    return text;
}

} // namespace n_report
