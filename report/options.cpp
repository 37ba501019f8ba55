#include "report/options.h"

namespace n_report {

bool ParseOptions(std::span<const wchar_t* const> arguments, t_options& options, t_str& problem)
{
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring_view argument = arguments[i];
        if (argument == L"--json") {
            options.json = true;
        } else if (argument == L"--help") {
            options.help = true;
        } else if (argument == L"--output") {
            if (++i == arguments.size() || *arguments[i] == L'\0') {
                problem = L"--output wants a file";
                return false;
            }
            options.output = arguments[i];
        } else {
            problem = FormatStr(L"unknown argument \"%s\"; see --help", arguments[i]);
            return false;
        }
    }
    return true;
}

} // namespace n_report
