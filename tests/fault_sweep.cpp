#include "tests/fault_sweep.h"

#include <winsock2.h>

#include <aclapi.h>
#include <imm.h>
#include <objbase.h>
#include <sddl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <wtsapi32.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "tests/import_patch.h"

namespace {

t_faultSweep* current = nullptr;

FARPROC StandIn(HMODULE module, const char* name, FARPROC found);

// Stands for one function. The tag tells functions of one signature apart.
template <class Function, int tag>
struct ImmStub;

template <class Result, class... Args, int tag>
struct ImmStub<Result (*)(Args...), tag>
{
    static inline Result (*original)(Args...) = nullptr;
    static inline t_systemCall call;

    static Result Call(Args... arguments)
    {
        if (current == nullptr) { // a pointer that the product looked up and kept
            return original(arguments...);
        }
        if (const t_systemCall::t_way* const way = current->Enter(call)) {
            SetLastError(way->error);
            return Result(way->result); // a number or a pointer
        }
        if constexpr (std::is_void_v<Result>) {
            original(arguments...);
            current->Leave(call, 0);
        } else {
            Result result = original(arguments...);
            current->Leave(call, std::intptr_t(result));
            if constexpr (std::is_same_v<Result (*)(Args...), decltype(&GetProcAddress)>) {
                return StandIn(arguments..., result);
            }
            return result;
        }
    }
};

template <class Function, int tag>
t_systemCall* MakeStub(const char* name)
{
    using t_stub = ImmStub<Function, tag>;
    t_stub::call = {name, reinterpret_cast<void*>(&t_stub::Call), reinterpret_cast<void**>(&t_stub::original)};
    return &t_stub::call;
}

// The functions with what they give and how they fail.
std::vector<t_systemCall*> MakeTable()
{
    using t_calls = std::initializer_list<t_systemCall*>;
    std::vector<t_systemCall*> table;
    const auto add = [&table](const t_systemCall& rule, t_calls functions) {
        for (t_systemCall* const call : functions) {
            call->resource = rule.resource;
            call->given = rule.given;
            call->ways = rule.ways;
            call->zeroSucceeds = rule.zeroSucceeds;
            table.push_back(call);
        }
    };
    //   failure  what is returned on failure; none for a function that returns the code
    const auto fails = [&add](std::string_view resource, std::optional<std::intptr_t> failure,
                              std::initializer_list<std::int64_t> codes, t_calls functions, int given = 1) {
        t_systemCall rule{.resource = resource, .given = given, .zeroSucceeds = !failure};
        for (const std::int64_t code : codes) {
            rule.ways.push_back({failure.value_or(code), static_cast<DWORD>(code)});
        }
        add(rule, functions);
    };
    constexpr DWORD kDenied = ERROR_ACCESS_DENIED, kMemory = ERROR_NOT_ENOUGH_MEMORY, kMissing = ERROR_FILE_NOT_FOUND,
                    kSmall = ERROR_INSUFFICIENT_BUFFER, kDevice = ERROR_GEN_FAILURE, kFull = ERROR_DISK_FULL,
                    kBusy = ERROR_NO_SYSTEM_RESOURCES, kShared = ERROR_SHARING_VIOLATION, kEnd = ERROR_NO_MORE_ITEMS,
                    kMore = ERROR_MORE_DATA, kBad = ERROR_INVALID_PARAMETER;
    constexpr std::intptr_t kTooLong = 40000; // a length that no buffer has
#define CALL(function) MakeStub<decltype(&function), __COUNTER__>(#function)
#define LOOKED_UP(name, ...) MakeStub<__VA_ARGS__, __COUNTER__>(name)

    // Functions that return an error code
    fails("key", {}, {kMissing, kDenied}, {CALL(RegOpenKeyExW), CALL(RegOpenKeyW)});
    fails("key", {}, {kDenied, kBad, kBusy}, {CALL(RegCreateKeyExW)});
    fails({}, {}, {kDenied, kMissing}, {CALL(RegDeleteKeyW), CALL(RegDeleteValueW)});
    fails({}, {}, {kEnd, kMore}, {CALL(RegEnumKeyExW), CALL(RegEnumKeyW), CALL(RegEnumValueW)});
    fails({}, {}, {kMissing, kMore}, {CALL(RegQueryValueExW)});
    fails({}, {}, {kDenied, kBusy}, {CALL(RegSetValueExW)});
    fails({}, {}, {kShared, ERROR_PRIVILEGE_NOT_HELD}, {CALL(RegLoadKeyW)});
    fails({}, {}, {kDenied},
          {CALL(RegFlushKey), CALL(RegQueryInfoKeyW), CALL(RegUnLoadKeyW), CALL(SetNamedSecurityInfoW),
           CALL(SetSecurityInfo)});
    fails("memory", {}, {kDenied, kMemory}, {CALL(GetNamedSecurityInfoW), CALL(SetEntriesInAclW)});
    fails({}, {}, {E_FAIL},
          {CALL(SHGetFolderPathW), LOOKED_UP("NtQueryKey", LONG(*)(HKEY, int, void*, ULONG, ULONG*)),
           LOOKED_UP("RtlGetVersion", LONG(*)(void*))});
    fails("task", {}, {E_FAIL}, {LOOKED_UP("SHGetKnownFolderPath", HRESULT(*)(const GUID&, DWORD, HANDLE, wchar_t**))});
    fails("com", {}, {E_OUTOFMEMORY, RPC_E_CHANGED_MODE}, {CALL(CoInitializeEx)});
    fails("mutex", {}, {WAIT_TIMEOUT, WAIT_FAILED}, {CALL(WaitForSingleObject)});

    // Functions that return nothing on failure
    fails({}, 0, {kDenied},
          {CALL(AdjustTokenPrivileges), CALL(CheckTokenMembership), CALL(GetFileSecurityW),
           CALL(GetSecurityDescriptorControl), CALL(GetSecurityDescriptorDacl), CALL(GetSecurityDescriptorSacl),
           CALL(SetKernelObjectSecurity), CALL(SetSecurityDescriptorControl), CALL(ProcessIdToSessionId),
           CALL(LookupPrivilegeValueW), CALL(DeleteFileW), CALL(SetFileAttributesW), CALL(ImmDisableIME),
           CALL(UnloadKeyboardLayout)});
    fails({}, 0, {kMissing},
          {CALL(GetFileVersionInfoSizeW), CALL(VerQueryValueW), CALL(GetModuleHandleExW), CALL(GetModuleHandleW),
           CALL(GetProcAddress), CALL(SHGetSpecialFolderPathW), CALL(ImmGetIMEFileNameW), CALL(LoadStringW)});
    fails({}, 0, {kMemory},
          {CALL(GetFileVersionInfoW), CALL(GetKeyboardLayoutList), CALL(MessageBoxW), CALL(SetDllDirectoryW)});
    fails({}, 0, {kDevice},
          {CALL(GetFileInformationByHandle), CALL(GetFileSizeEx), CALL(ReadFile), CALL(SetFilePointerEx),
           LOOKED_UP("GetFileInformationByHandleEx", BOOL(*)(HANDLE, int, void*, DWORD))});
    fails({}, 0, {kFull}, {CALL(FlushFileBuffers), CALL(SetEndOfFile), CALL(WriteFile)});
    fails({}, 0, {kBad},
          {CALL(MultiByteToWideChar), CALL(VirtualQuery), CALL(WideCharToMultiByte),
           LOOKED_UP("CompareStringOrdinal", int (*)(const wchar_t*, int, const wchar_t*, int, BOOL)),
           LOOKED_UP("GetVersionExW", BOOL(*)(OSVERSIONINFOW*)),
           LOOKED_UP("SetDefaultDllDirectories", BOOL(*)(DWORD))});
    fails({}, 0, {kSmall, kDenied}, {CALL(GetTokenInformation), CALL(LookupAccountNameW)});
    fails({}, 0, {kDenied, kMissing}, {CALL(GetFileAttributesExW), CALL(ShellExecuteExW)});
    fails({}, INVALID_FILE_ATTRIBUTES, {kDenied, kMissing}, {CALL(GetFileAttributesW)});
    fails({}, 0, {kDenied, kShared, kFull}, {CALL(MoveFileExW)});
    fails({}, 0, {kMissing, kDenied, ERROR_SUCCESS}, {CALL(ImmInstallIMEW)});
    fails("memory", 0, {kMemory},
          {CALL(CommandLineToArgvW), CALL(ConvertSidToStringSidW),
           CALL(ConvertStringSecurityDescriptorToSecurityDescriptorW), CALL(FormatMessageW)});
    fails("handle", 0, {kMissing, kDenied},
          {CALL(CreateFileMappingW), CALL(CreateMutexW), CALL(OpenFileMappingW), CALL(OpenMutexW), CALL(OpenProcess),
           CALL(OpenProcessToken)});
    fails("handle", -1, {kDenied, kMissing, kShared}, {CALL(CreateFileW), CALL(CreateToolhelp32Snapshot)});
    fails("handle", 0, {kDenied}, {CALL(CreateProcessW)}, 2);
    fails("library", 0, {kMissing}, {CALL(LoadLibraryExW)});
    fails("identifier", 0, {kMemory}, {CALL(AllocateAndInitializeSid)});
    fails("section", 0, {kMemory}, {CALL(InitializeCriticalSectionAndSpinCount)});
    fails("text of a session", 0, {RPC_S_SERVER_UNAVAILABLE}, {CALL(WTSQuerySessionInformationW)});
    fails("view", 0, {kMemory, kDenied}, {CALL(MapViewOfFile)});
    fails("block", 0, {kMemory}, {CALL(GlobalAlloc)});

    // Functions that return a length, which may be more than the buffer has
    add({.ways = {{0, kMissing}, {MAX_PATH, 0}, {kTooLong, 0}}}, {CALL(GetSystemDirectoryW)});
    add({.ways = {{0, kMissing}, {MAX_PATH, kSmall}}}, {CALL(GetModuleFileNameW)});
    add({.ways = {{0, kMissing}, {kTooLong, 0}}},
        {CALL(GetFullPathNameW), CALL(GetLongPathNameW), CALL(GetTempPathW),
         LOOKED_UP("GetFinalPathNameByHandleW", DWORD(*)(HANDLE, wchar_t*, DWORD, DWORD))});

    // Functions that take back, and do not fail
    add({.resource = "key", .given = -1}, {CALL(RegCloseKey)});
    add({.resource = "handle", .given = -1}, {CALL(CloseHandle)});
    add({.resource = "view", .given = -1}, {CALL(UnmapViewOfFile)});
    add({.resource = "memory", .given = -1}, {CALL(LocalFree)});
    add({.resource = "block", .given = -1}, {CALL(GlobalFree)});
    add({.resource = "text of a session", .given = -1}, {CALL(WTSFreeMemory)});
    add({.resource = "identifier", .given = -1}, {CALL(FreeSid)});
    add({.resource = "com", .given = -1}, {CALL(CoUninitialize)});
    add({.resource = "library", .given = -1}, {CALL(FreeLibrary)});
    add({.resource = "mutex", .given = -1}, {CALL(ReleaseMutex)});
    add({.resource = "section", .given = -1}, {CALL(DeleteCriticalSection)});
    add({.resource = "entered section", .given = -1}, {CALL(LeaveCriticalSection)});
    add({.resource = "task", .given = -1}, {CALL(CoTaskMemFree)});
    add({.resource = "entered section", .given = 1}, {CALL(EnterCriticalSection)}); // which cannot fail either
#undef CALL
#undef LOOKED_UP
    return table;
}

const std::vector<t_systemCall*>& SystemCalls()
{
    static const std::vector<t_systemCall*> table = MakeTable();
    return table;
}

// The function that a look-up found, or what stands for it in the sweep.
FARPROC StandIn(HMODULE, const char* name, FARPROC found)
{
    for (t_systemCall* const call : SystemCalls()) {
        if (found != nullptr && call->slot == nullptr && std::strcmp(call->name, name) == 0) {
            *call->original = reinterpret_cast<void*>(found);
            return reinterpret_cast<FARPROC>(call->stub);
        }
    }
    return found;
}

} // namespace

t_faultSweep::t_faultSweep()
{
    current = this;
    for (t_systemCall* const call : SystemCalls()) {
        call->slot = FindImportSlot(call->name);
        if (call->slot != nullptr) {
            *call->original = *call->slot;
            WriteImportSlot(call->slot, call->stub);
        }
    }
}

t_faultSweep::~t_faultSweep()
{
    for (const t_systemCall* const call : SystemCalls()) {
        if (call->slot != nullptr) {
            WriteImportSlot(call->slot, *call->original);
        }
    }
    current = nullptr;
}

const t_systemCall::t_way* t_faultSweep::Enter(const t_systemCall& call)
{
    if (!armed) {
        return nullptr;
    }
    if (depth == 0 && !call.ways.empty()) {
        ++calls;
        if (point == 0) {
            made.push_back(&call);
        } else if (calls == point || (all && calls > point)) {
            EXPECT_STREQ(calls == point ? made[point - 1]->name : call.name, call.name) << "in the undisturbed run";
            failed.insert(call.name);
            return &call.ways[calls == point ? way : 0];
        }
    }
    ++depth;
    return nullptr;
}

void t_faultSweep::Leave(const t_systemCall& call, std::intptr_t result)
{
    if (armed && --depth == 0 && call.Succeeded(result)) {
        held[call.resource] += call.given;
    }
}

void t_faultSweep::Sweep(const std::string& name, const std::function<void()>& prepare,
                         const std::function<void()>& run, const std::function<void()>& check)
{
    const auto once = [&] {
        prepare();
        calls = 0, held.clear();
        failed.clear();
        armed = true;
        run();
        armed = false;
        held.erase("");
        EXPECT_THAT(held, testing::Each(testing::Pair(testing::_, 0))) << "not given back";
        check();
    };
    point = 0;
    prepare();
    run(); // makes what the program keeps until its end
    made.clear();
    once();
    DWORD handlesBefore = 0, handlesAfter = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
    std::size_t points = 0;
    for (const bool everyLater : {false, true}) {
        all = everyLater;
        for (point = 1; point <= made.size(); ++point) {
            const t_systemCall& call = *made[point - 1];
            for (way = 0; way < (all ? 1 : call.ways.size()); ++way) {
                testing::ScopedTrace trace(__FILE__, __LINE__,
                                           testing::Message() << call.name << ", call " << point << ", fails in way "
                                                              << way << (all ? ", and every later call" : ""));
                once();
                ++points;
            }
        }
    }
    GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
    EXPECT_EQ(handlesBefore, handlesAfter);
    testing::Test::RecordProperty("Fault points: " + name, std::to_string(points)); // scripts/count-tests prints it
}
