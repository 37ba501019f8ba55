#include "base/loaded_modules.h"

#include <windows.h>

#include <tlhelp32.h>

#include "base/ascii_case.h"
#include "base/handles.h"
#include "diag/system_error.h"

namespace {

constexpr int kAttempts = 5;

// Takes a list of the system's. Sets the last error on failure.
t_handle TakeSnapshot(DWORD kind, DWORD processId)
{
    for (int attempt = 1;; ++attempt) {
        t_handle snapshot = MakeFileHandle(CreateToolhelp32Snapshot(kind, processId));
        // So the call says that the program has loaded or freed a library meanwhile.
        if (snapshot || GetLastError() != ERROR_BAD_LENGTH || attempt == kAttempts) {
            return snapshot;
        }
    }
}

// Whether a process has the library; false also when it has ended meanwhile.
bool Holds(DWORD processId, const t_path& path, bool& seen)
{
    const t_handle snapshot = TakeSnapshot(TH32CS_SNAPMODULE, processId);
    seen = snapshot || GetLastError() != ERROR_ACCESS_DENIED;
    MODULEENTRY32W module{};
    module.dwSize = sizeof(module);
    bool holds = false;
    for (BOOL more = snapshot && Module32FirstW(snapshot.Get(), &module); more && !holds;
         more = Module32NextW(snapshot.Get(), &module)) {
        holds = EqualIgnoringCase(module.szExePath, path);
    }
    return holds;
}

} // namespace

bool FindProgramsHolding(t_errorChain& errors, const t_path& path, itl::ImmSimpleArray<t_program>& programs,
                         std::size_t& unseen)
{
    programs.clear();
    unseen = 0;
    const t_handle snapshot = TakeSnapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W process{};
    process.dwSize = sizeof(process);
    if (!snapshot || !Process32FirstW(snapshot.Get(), &process)) {
        return FailWithSystemError(errors, GetLastError(), L"无法列出进程");
    }
    do {
        bool seen = true;
        // 0 is the idle process, which has no libraries; as a request it would mean this process.
        if (process.th32ProcessID != 0 && Holds(process.th32ProcessID, path, seen)) {
            programs.push_back({process.th32ProcessID, process.szExeFile});
        }
        unseen += seen ? 0 : 1;
    } while (Process32NextW(snapshot.Get(), &process));
    return true;
}
