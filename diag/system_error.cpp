#include "diag/system_error.h"

#include "base/handles.h"

namespace {

// A code of the system's HTTP library, whose texts are not in the system table.
constexpr DWORD kHttpTimeout = 12002;

} // namespace

void AppendSystemError(t_str& entry, DWORD code)
{
    wchar_t* text = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code,
                       MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    const t_localMemory owner(text);
    entry << L"系统错误" << static_cast<std::int32_t>(code);
    if (length != 0 && text != nullptr) {
        std::wstring line(text, length);
        for (wchar_t& unit : line) {
            unit = unit < L' ' ? L' ' : unit;
        }
        entry << L": " << line;
    } else if (code == kHttpTimeout) {
        entry << L": 网络连接超时";
    }
}

void AddSystemError(t_errorChain& errors, DWORD code)
{
    if (errors.KeepsEntries()) {
        AppendSystemError(errors.NewEntry(), code);
    }
}
