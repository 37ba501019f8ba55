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

#include <gtest/gtest.h>

#include <cstring>

#include "tests/import_patch.h"

namespace {

using t_ways = std::vector<t_systemCall::t_way>;

t_faultSweep* current = nullptr;

FARPROC StandIn(HMODULE module, const char* name, FARPROC found);

template <class Value>
Value As(std::intptr_t value)
{
    if constexpr (std::is_pointer_v<Value>) {
        return reinterpret_cast<Value>(value);
    } else {
        return static_cast<Value>(value);
    }
}

template <class Value>
std::intptr_t Number(Value value)
{
    if constexpr (std::is_pointer_v<Value>) {
        return reinterpret_cast<std::intptr_t>(value);
    } else {
        return static_cast<std::intptr_t>(value);
    }
}

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
            return As<Result>(way->result);
        }
        if constexpr (std::is_void_v<Result>) {
            original(arguments...);
            current->Leave(call, 0);
        } else {
            Result result = original(arguments...);
            current->Leave(call, Number(result));
            if constexpr (std::is_same_v<Result (*)(Args...), decltype(&GetProcAddress)>) {
                return StandIn(arguments..., result);
            }
            return result;
        }
    }
};

template <class Function, int tag>
t_systemCall* Describe(t_systemCall call)
{
    using t_stub = ImmStub<Function, tag>;
    call.stub = reinterpret_cast<void*>(&t_stub::Call);
    call.original = reinterpret_cast<void**>(&t_stub::original);
    t_stub::call = std::move(call);
    return &t_stub::call;
}

// A function that returns an error code.
t_systemCall Status(t_resource resource, std::initializer_list<std::intptr_t> codes)
{
    t_systemCall call{.resource = resource, .given = 1, .zeroSucceeds = true};
    for (const std::intptr_t code : codes) {
        call.ways.push_back({code, static_cast<DWORD>(code)});
    }
    return call;
}

// A function that returns one value for every failure and sets the last error.
t_systemCall Value(t_resource resource, std::intptr_t failure, std::initializer_list<DWORD> errors, int given = 1)
{
    t_systemCall call{.resource = resource, .given = given};
    for (const DWORD error : errors) {
        call.ways.push_back({failure, error});
    }
    return call;
}

// A function that fails in several values.
t_systemCall Values(t_ways ways)
{
    return {.ways = std::move(ways)};
}

// A function that gives something back, or cannot fail.
t_systemCall Release(t_resource resource, int given = -1)
{
    return {.resource = resource, .given = given};
}

const std::vector<t_systemCall*>& SystemCalls()
{
    using enum t_resource;
    constexpr DWORD kDenied = ERROR_ACCESS_DENIED, kMemory = ERROR_NOT_ENOUGH_MEMORY, kMissing = ERROR_FILE_NOT_FOUND,
                    kSmall = ERROR_INSUFFICIENT_BUFFER, kDevice = ERROR_GEN_FAILURE;
    constexpr DWORD kShared = ERROR_SHARING_VIOLATION, kUnknown = ERROR_PROC_NOT_FOUND;
    constexpr std::intptr_t kTooLong = 40000; // a length that no buffer has
#define CALL(function, ...) Named(#function, Describe<decltype(&function), __LINE__>(__VA_ARGS__))
#define LOOKED_UP(name, type, ...) Named(name, Describe<type, __LINE__>(__VA_ARGS__))
    const auto Named = [](const char* name, t_systemCall* call) {
        call->name = name;
        return call;
    };
    static const std::vector<t_systemCall*> calls = {
        // Registry
        CALL(RegOpenKeyExW, Status(key, {kMissing, kDenied})),
        CALL(RegOpenKeyW, Status(key, {kMissing, kDenied})),
        CALL(RegCreateKeyExW, Status(key, {kDenied, ERROR_INVALID_PARAMETER, ERROR_NO_SYSTEM_RESOURCES})),
        CALL(RegCreateKeyW, Status(key, {kDenied})),
        CALL(RegDeleteKeyW, Status(none, {kDenied, kMissing})),
        CALL(RegDeleteValueW, Status(none, {kDenied, kMissing})),
        CALL(RegEnumKeyExW, Status(none, {ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA})),
        CALL(RegEnumKeyW, Status(none, {ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA})),
        CALL(RegEnumValueW, Status(none, {ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA})),
        CALL(RegFlushKey, Status(none, {ERROR_REGISTRY_IO_FAILED})),
        CALL(RegLoadKeyW, Status(none, {kShared, ERROR_PRIVILEGE_NOT_HELD})),
        CALL(RegQueryInfoKeyW, Status(none, {kDenied})),
        CALL(RegQueryValueExW, Status(none, {kMissing, ERROR_MORE_DATA})),
        CALL(RegSetValueExW, Status(none, {kDenied, ERROR_NO_SYSTEM_RESOURCES})),
        CALL(RegUnLoadKeyW, Status(none, {kDenied})),
        CALL(RegCloseKey, Release(key)),
        LOOKED_UP("NtQueryKey", LONG(*)(HKEY, int, void*, ULONG, ULONG*), Status(none, {LONG(0xC0000022)})),

        // Tokens, accounts and security
        CALL(AdjustTokenPrivileges, Value(none, 0, {kDenied})),
        CALL(AllocateAndInitializeSid, Value(identifier, 0, {kMemory})),
        CALL(CheckTokenMembership, Value(none, 0, {kDenied})),
        CALL(ConvertSidToStringSidW, Value(memory, 0, {kMemory})),
        CALL(ConvertStringSecurityDescriptorToSecurityDescriptorW, Value(memory, 0, {kMemory})),
        CALL(FreeSid, Release(identifier)),
        CALL(GetFileSecurityW, Value(none, 0, {kDenied})),
        CALL(GetNamedSecurityInfoW, Status(memory, {kDenied, kMissing})),
        CALL(GetSecurityDescriptorControl, Value(none, 0, {kDenied})),
        CALL(GetSecurityDescriptorDacl, Value(none, 0, {kDenied})),
        CALL(GetSecurityDescriptorSacl, Value(none, 0, {kDenied})),
        CALL(GetTokenInformation, Value(none, 0, {kSmall, kDenied})),
        CALL(LookupAccountNameW, Value(none, 0, {kSmall, ERROR_NONE_MAPPED})),
        CALL(LookupPrivilegeValueW, Value(none, 0, {ERROR_NO_SUCH_PRIVILEGE})),
        CALL(OpenProcessToken, Value(handle, 0, {kDenied})),
        CALL(SetEntriesInAclW, Status(memory, {kMemory})),
        CALL(SetKernelObjectSecurity, Value(none, 0, {kDenied})),
        CALL(SetNamedSecurityInfoW, Status(none, {kDenied})),
        CALL(SetSecurityDescriptorControl, Value(none, 0, {kDenied})),
        CALL(SetSecurityInfo, Status(none, {kDenied})),
        CALL(ProcessIdToSessionId, Value(none, 0, {kDenied})),
        CALL(WTSQuerySessionInformationW, Value(sessionText, 0, {RPC_S_SERVER_UNAVAILABLE})),
        CALL(WTSFreeMemory, Release(sessionText)),

        // Files and modules
        CALL(CreateFileW, Value(handle, -1, {kDenied, kMissing, kShared})),
        CALL(DeleteFileW, Value(none, 0, {kDenied})),
        CALL(FlushFileBuffers, Value(none, 0, {ERROR_DISK_FULL})),
        CALL(GetFileAttributesExW, Value(none, 0, {kDenied, kMissing})),
        CALL(GetFileAttributesW, Value(none, INVALID_FILE_ATTRIBUTES, {kDenied, kMissing})),
        CALL(GetFileInformationByHandle, Value(none, 0, {kDevice})),
        CALL(GetFileSizeEx, Value(none, 0, {kDevice})),
        CALL(GetFileVersionInfoSizeW, Value(none, 0, {ERROR_RESOURCE_TYPE_NOT_FOUND})),
        CALL(GetFileVersionInfoW, Value(none, 0, {kMemory})),
        CALL(VerQueryValueW, Value(none, 0, {ERROR_RESOURCE_TYPE_NOT_FOUND})),
        CALL(GetFullPathNameW, Values({{0, ERROR_INVALID_NAME}, {kTooLong, 0}})),
        CALL(GetLongPathNameW, Values({{0, kMissing}, {kTooLong, 0}})),
        CALL(GetModuleFileNameW, Values({{0, kMemory}, {MAX_PATH, kSmall}})),
        CALL(GetModuleHandleExW, Value(none, 0, {ERROR_MOD_NOT_FOUND})),
        CALL(GetModuleHandleW, Value(none, 0, {ERROR_MOD_NOT_FOUND})),
        CALL(GetProcAddress, Value(none, 0, {kUnknown})),
        CALL(GetSystemDirectoryW, Values({{0, kMemory}, {MAX_PATH - 1, 0}, {MAX_PATH + 40, 0}})),
        CALL(GetTempPathW, Values({{0, kMemory}, {kTooLong, 0}})),
        CALL(LoadLibraryExW, Value(library, 0, {ERROR_MOD_NOT_FOUND})),
        CALL(FreeLibrary, Release(library)),
        CALL(MoveFileExW, Value(none, 0, {kDenied, kShared, ERROR_DISK_FULL})),
        CALL(ReadFile, Value(none, 0, {kDevice})),
        CALL(SetEndOfFile, Value(none, 0, {ERROR_DISK_FULL})),
        CALL(SetFileAttributesW, Value(none, 0, {kDenied})),
        CALL(SetFilePointerEx, Value(none, 0, {kDevice})),
        CALL(WriteFile, Value(none, 0, {ERROR_DISK_FULL})),
        CALL(SHGetFolderPathW, Status(none, {E_FAIL})),
        CALL(SHGetSpecialFolderPathW, Value(none, 0, {kMissing})),
        CALL(SetDllDirectoryW, Value(none, 0, {kMemory})),
        LOOKED_UP("GetFinalPathNameByHandleW", DWORD(*)(HANDLE, wchar_t*, DWORD, DWORD),
                  Values({{0, kDenied}, {kTooLong, 0}})),
        LOOKED_UP("GetFileInformationByHandleEx", BOOL(*)(HANDLE, int, void*, DWORD), Value(none, 0, {kDevice})),
        LOOKED_UP("CompareStringOrdinal", int (*)(const wchar_t*, int, const wchar_t*, int, BOOL),
                  Value(none, 0, {ERROR_INVALID_PARAMETER})),
        LOOKED_UP("SHGetKnownFolderPath", HRESULT(*)(const GUID&, DWORD, HANDLE, wchar_t**), Status(task, {E_FAIL})),
        LOOKED_UP("RtlGetVersion", LONG(*)(void*), Status(none, {LONG(0xC0000001)})),
        LOOKED_UP("GetVersionExW", BOOL(*)(OSVERSIONINFOW*), Value(none, 0, {kSmall})),
        LOOKED_UP("SetDefaultDllDirectories", BOOL(*)(DWORD), Value(none, 0, {ERROR_INVALID_PARAMETER})),

        // Locks, memory, processes and texts
        CALL(CloseHandle, Release(handle)),
        CALL(CreateFileMappingW, Value(handle, 0, {kDenied, kMemory})),
        CALL(CreateMutexW, Value(handle, 0, {kDenied})),
        CALL(CreateToolhelp32Snapshot, Value(handle, -1, {kMemory})),
        CALL(DeleteCriticalSection, Release(section)),
        CALL(EnterCriticalSection, Release(entered, 1)),
        CALL(LeaveCriticalSection, Release(entered)),
        CALL(FormatMessageW, Value(memory, 0, {ERROR_MR_MID_NOT_FOUND})),
        CALL(GlobalAlloc, Value(block, 0, {kMemory})),
        CALL(GlobalFree, Release(block)),
        CALL(InitializeCriticalSectionAndSpinCount, Value(section, 0, {kMemory})),
        CALL(LocalFree, Release(memory)),
        CALL(MapViewOfFile, Value(view, 0, {kMemory, kDenied})),
        CALL(MultiByteToWideChar, Value(none, 0, {ERROR_NO_UNICODE_TRANSLATION})),
        CALL(OpenFileMappingW, Value(handle, 0, {kMissing, kDenied})),
        CALL(OpenMutexW, Value(handle, 0, {kMissing, kDenied})),
        CALL(OpenProcess, Value(handle, 0, {kDenied})),
        CALL(ReleaseMutex, Release(mutex)),
        CALL(UnmapViewOfFile, Release(view)),
        CALL(VirtualQuery, Value(none, 0, {ERROR_INVALID_PARAMETER})),
        CALL(WideCharToMultiByte, Value(none, 0, {kSmall})),

        // Input methods, the shell and messages
        CALL(CommandLineToArgvW, Value(memory, 0, {kMemory})),
        CALL(CoInitializeEx, Status(com, {E_OUTOFMEMORY, RPC_E_CHANGED_MODE})),
        CALL(CoUninitialize, Release(com)),
        CALL(CoTaskMemFree, Release(task)),
        CALL(GetKeyboardLayoutList, Value(none, 0, {kMemory})),
        CALL(ImmDisableIME, Value(none, 0, {kDenied})),
        CALL(ImmGetIMEFileNameW, Value(none, 0, {kMissing})),
        CALL(ImmInstallIMEW, Value(none, 0, {kMissing, kDenied, ERROR_SUCCESS})),
        CALL(LoadStringW, Value(none, 0, {ERROR_RESOURCE_NAME_NOT_FOUND})),
        CALL(MessageBoxW, Value(none, 0, {kMemory})),
        CALL(ShellExecuteExW, Value(none, 0, {kDenied, kMissing})),
        CALL(CreateProcessW, Value(handle, 0, {kDenied}, 2)),
        CALL(UnloadKeyboardLayout, Value(none, 0, {ERROR_CALL_NOT_IMPLEMENTED})),
        // A wait takes a mutex; a status, but one with a last error of its own.
        CALL(WaitForSingleObject,
             t_systemCall{.resource = mutex,
                          .given = 1,
                          .ways = {{WAIT_TIMEOUT, 0}, {static_cast<std::intptr_t>(WAIT_FAILED), ERROR_INVALID_HANDLE}},
                          .zeroSucceeds = true}),
    };
#undef CALL
#undef LOOKED_UP
    return calls;
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

void Write(void** slot, void* function)
{
    DWORD protection = 0;
    VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    *slot = function;
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

} // namespace

t_faultSweep::t_faultSweep()
{
    current = this;
    for (t_systemCall* const call : SystemCalls()) {
        call->slot = FindImportSlot(call->name);
        if (call->slot != nullptr) {
            *call->original = *call->slot;
            Write(call->slot, call->stub);
        }
    }
}

t_faultSweep::~t_faultSweep()
{
    for (const t_systemCall* const call : SystemCalls()) {
        if (call->slot != nullptr) {
            Write(call->slot, *call->original);
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
            EXPECT_TRUE(calls != point || made[point - 1] == &call) << "the run differs before the fault";
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
        held[static_cast<std::size_t>(call.resource)] += call.given;
    }
}

void t_faultSweep::Run(const std::function<void()>& run)
{
    calls = 0;
    held = {};
    failed.clear();
    armed = true;
    run();
    armed = false;
    held[0] = 0;
    EXPECT_EQ(decltype(held){}, held) << "not given back, by the order of t_resource";
}

void t_faultSweep::Sweep(const std::string& name, const std::function<void()>& prepare,
                         const std::function<void()>& run, const std::function<void()>& check)
{
    const auto once = [&] {
        prepare();
        Run(run);
        check();
    };
    point = 0;
    once(); // makes what the program keeps until its end
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
