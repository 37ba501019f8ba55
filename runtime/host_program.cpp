#include "runtime/host_program.h"

#include <algorithm>
#include <iterator>

#include "base/ascii_case.h"

namespace {

constexpr const wchar_t* kShellHosts[] = {L"explorer.exe", L"searchui.exe"};

constexpr const wchar_t* kKnownApplications[] = {
    L"Notepad.exe", L"KK.exe",        L"Explorer.exe",    L"Word.exe",          L"Outlook.exe",
    L"Chrome.exe",  L"iexplore.exe",  L"360chrome.exe",   L"tarvoexplorer.exe", L"kkbrowser.exe",
    L"liebao.exe",  L"UCBrowser.exe", L"baidubrowser.exe"};

template <std::size_t count>
bool IsOneOf(std::wstring_view name, const wchar_t* const (&names)[count])
{
    return std::any_of(std::begin(names), std::end(names),
                       [name](const wchar_t* known) { return EqualIgnoringCase(name, known); });
}

} // namespace

bool IsShellHost(std::wstring_view programName)
{
    return IsOneOf(programName, kShellHosts);
}

bool IsKnownHostApplication(std::wstring_view programName)
{
    return IsOneOf(programName, kKnownApplications);
}
