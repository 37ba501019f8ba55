#include <windows.h>

#include <exception>

#include "base/library_search.h"
#include "report/described_errors.h"
#include "report/gather.h"
#include "report/json.h"
#include "report/options.h"
#include "report/output.h"
#include "report/text.h"
#include "report/utf8.h"

namespace {

constexpr int kNothingFound = 0, kFound = 1, kCannotRun = 2;

constexpr char kUsage[] = "TarvoReport.exe [--json] [--output FILE] [--help]\n"
                          "\n"
                          "Shows what is registered of the Tarvo input method on this machine, and what is wrong with\n"
                          "it. Only reads; as an administrator it sees more.\n"
                          "\n"
                          "  --json         as JSON instead of text\n"
                          "  --output FILE  into a file, which is replaced, instead of the standard output\n"
                          "  --help         this text\n"
                          "\n"
                          "The exit status is 0 without findings, 1 with, 2 when the report could not be made.\n";

int Fail(const t_str& text)
{
    n_report::WriteToStandard(STD_ERROR_HANDLE, n_report::ToUtf8(L"TarvoReport: " + text + L"\n"));
    return kCannotRun;
}

int Run(std::span<const wchar_t* const> arguments)
{
    using namespace n_report;

    t_options options;
    t_str problem;
    if (!ParseOptions(arguments, options, problem)) {
        return Fail(problem);
    }
    if (options.help) {
        return WriteToStandard(STD_OUTPUT_HANDLE, kUsage) ? kNothingFound : kCannotRun;
    }
    const t_report report = GatherReport();
    const std::string bytes = options.json ? RenderJson(report) : ToUtf8(RenderText(report));
    const bool isWritten =
        options.output.empty() ? WriteToStandard(STD_OUTPUT_HANDLE, bytes) : WriteToFile(options.output.c_str(), bytes);
    if (!isWritten) {
        const DWORD error = GetLastError();
        return Fail(DescribeSystemError(options.output.empty() ? L"the standard output" : options.output, error));
    }
    return report.findings.empty() ? kNothingFound : kFound;
}

} // namespace

int wmain(int argumentCount, wchar_t** arguments)
{
    RestrictLibrarySearch(); // before the first call that may load something
    try {
        return Run({arguments + 1, static_cast<std::size_t>(argumentCount > 0 ? argumentCount - 1 : 0)});
    } catch (const std::exception&) { // memory is exhausted
        return kCannotRun;
    }
}
