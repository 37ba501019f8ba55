#include "launch/process_launcher.h"

#include <objbase.h>
#include <shellapi.h>

#include <algorithm>
#include <iterator>

#include "base/ascii_case.h"
#include "base/handles.h"
#include "base/path.h"
#include "diag/system_error.h"
#include "launch/module_verification.h"

namespace {

struct t_shellFailure
{
    int code; // what the shell leaves in hInstApp
    const wchar_t* text;
};

// A failing code reports its own text and every text after it: the order is part of the message.
constexpr t_shellFailure kShellFailures[] = {
    {0, L"The operating system is out of memory or resources."},
    {SE_ERR_FNF, L"The specified file was not found."},
    {SE_ERR_PNF, L"The specified path was not found."},
    {ERROR_BAD_FORMAT, L"The .exe file is invalid (non-Microsoft Win32 .exe or error in .exe image)."},
    {SE_ERR_ACCESSDENIED, L"The operating system denied access to the specified file."},
    {SE_ERR_ASSOCINCOMPLETE, L"The file name association is incomplete or invalid."},
    {SE_ERR_DDEBUSY,
     L"The Dynamic Data Exchange (DDE) transaction could not be completed because other DDE transactions "
     L"were being processed."},
    {SE_ERR_DDEFAIL, L"The DDE transaction failed."},
    {SE_ERR_DDETIMEOUT, L"The DDE transaction could not be completed because the request timed out."},
    {SE_ERR_DLLNOTFOUND, L"The specified dynamic-link library (DLL) was not found."},
    {SE_ERR_NOASSOC, L"There is no application associated with the given file name extension."},
    {SE_ERR_OOM, L"There was not enough memory to complete the operation."},
    {SE_ERR_SHARE, L"A sharing violation occurred."},
};

// The bits that make the shell read another field of the request, expand the program's text, return a handle, or
// return before the program is started.
constexpr ULONG kWithheldBits = SEE_MASK_CLASSKEY | SEE_MASK_INVOKEIDLIST | SEE_MASK_ICON | SEE_MASK_HOTKEY |
                                SEE_MASK_NOCLOSEPROCESS | SEE_MASK_DOENVSUBST | SEE_MASK_HMONITOR | SEE_MASK_ASYNCOK;

// COM for the length of a start: shell extensions that take part in it are COM objects.
class t_comScope
{
public:
    t_comScope() : result(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE)) {}
    t_comScope(const t_comScope&) = delete;
    t_comScope& operator=(const t_comScope&) = delete;
    ~t_comScope()
    {
        // A thread that the caller put into the other apartment stays there, and that call must not be balanced.
        if (SUCCEEDED(result)) {
            CoUninitialize();
        }
    }

private:
    HRESULT result;
};

// Addresses are the one thing that the shell is given unchecked. Everything else counts as the path of a file, also
// what only looks like an address ("file:", "shell:", whatever scheme somebody has registered).
bool IsWebAddress(std::wstring_view program)
{
    const std::wstring text = FoldCase(program);
    return text.starts_with(L"http://") || text.starts_with(L"https://");
}

t_path FolderOf(std::wstring_view program)
{
    t_path folder{t_str{std::wstring(program)}};
    if (!folder.CutLastComponent()) {
        folder.clear();
    } else if (folder.ends_with(L':')) {
        folder.push_back(L'\\'); // a drive's name alone stands for the current directory there
    }
    return folder;
}

// Whether the current user has classes of his own for programs. The shell follows them for an elevated caller too, and
// they can name another program to be started in the place of every ".exe".
bool HasOwnProgramClass()
{
    constexpr const wchar_t* kKeys[] = {
        L"Software\\Classes\\.exe", L"Software\\Classes\\exefile",
        L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\.exe\\UserChoice",
        L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\.exe\\UserChoiceLatest", // since 11
    };
    return std::any_of(std::begin(kKeys), std::end(kKeys), [](const wchar_t* name) {
        t_keyHandle key;
        // One that is there and cannot be opened may be one that the shell can.
        return RegOpenKeyExW(HKEY_CURRENT_USER, name, 0, KEY_QUERY_VALUE, key.Put()) != ERROR_FILE_NOT_FOUND;
    });
}

// Starts a program as the shell would without any class. Sets the last error on failure.
bool StartProgram(const t_path& program, const wchar_t* parameters, const wchar_t* workingDirectory, int showCommand)
{
    t_str commandLine = L"\"" + program + L"\"";
    if (parameters != nullptr) {
        commandLine.append(L" ").append(parameters);
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = static_cast<WORD>(showCommand);
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, workingDirectory,
                        &startup, &started)) {
        return false;
    }
    CloseHandle(started.hThread);
    CloseHandle(started.hProcess);
    return true;
}

} // namespace

bool LaunchProcess(t_errorChain& errors, const wchar_t* program, const wchar_t* verb, const wchar_t* parameters,
                   const wchar_t* workingDirectory, int showCommand, ULONG extraMask)
{
    t_heldFile file; // stays open until the start has been issued
    if (!IsWebAddress(program)) {
        if (!VerifyModule(errors, program, file)) {
            return false;
        }
        program = file.Path().c_str();
    }
    t_path folder;
    if (workingDirectory != nullptr && std::wstring_view(workingDirectory) == L"*") {
        folder = FolderOf(program);
        workingDirectory = folder.c_str();
    }

    // The look and the start are two steps: a class that comes to be between them is still followed. What is closed is
    // the trap that lies ready; to win the race, a program of the user's must run already and hit these milliseconds.
    // A class key in the request would leave no race, but not every shell passes the parameters on then.
    if (FoldCase(file.Path()).ends_with(L".exe") && HasOwnProgramClass()) {
        // The shell's failure texts belong to codes that only the shell gives. A program that wants to be elevated
        // fails with ERROR_ELEVATION_REQUIRED where the shell would ask the user, unless the caller is elevated.
        return StartProgram(file.Path(), parameters, workingDirectory, showCommand) ||
               FailWithSystemError(errors, GetLastError(), L"无法启动 %s", program);
    }

    SHELLEXECUTEINFOW request{};
    request.cbSize = sizeof(request);
    request.fMask = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI | (extraMask & ~kWithheldBits);
    request.lpVerb = verb != nullptr ? verb : L"open";
    request.lpFile = program;
    request.lpParameters = parameters;
    request.lpDirectory = workingDirectory;
    request.nShow = showCommand;
    const t_comScope com;
    if (ShellExecuteExW(&request)) {
        return true;
    }

    t_str systemError;
    AppendSystemError(systemError, GetLastError());
    errors.Fail(L"%s", systemError.c_str());
    const auto code = reinterpret_cast<INT_PTR>(request.hInstApp);
    auto failure = std::find_if(std::begin(kShellFailures), std::end(kShellFailures),
                                [code](const t_shellFailure& candidate) { return candidate.code == code; });
    for (; failure != std::end(kShellFailures); ++failure) {
        errors.Fail(L"%s", failure->text);
    }
    return false;
}
