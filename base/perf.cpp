#include "base/perf.h"

#include <windows.h>

#include <cwchar>
#include <mutex>

#include "base/handles.h"
#include "base/simple_array.h"
#include "base/str.h"

namespace {

std::int64_t Now()
{
    LARGE_INTEGER ticks{};
    QueryPerformanceCounter(&ticks);
    return ticks.QuadPart;
}

bool IsSwitchOn(HKEY key, const wchar_t* valueName)
{
    DWORD type = 0, value = 0, size = sizeof(value);
    return RegQueryValueExW(key, valueName, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) == ERROR_SUCCESS &&
           type == REG_DWORD && value != 0;
}

class t_perfTable
{
public:
    t_perfTable()
    {
        t_keyHandle key;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, L"SoftWare\\TarvoInput", 0, KEY_READ | KEY_WOW64_32KEY, key.Put()) ==
            ERROR_SUCCESS) {
            sectionsOn = IsSwitchOn(key.Get(), L"EnablePerf");
            functionsOn = IsSwitchOn(key.Get(), L"EnableFunPerf");
        }
    }

    ~t_perfTable()
    {
        if (rows.empty()) {
            return;
        }
        LARGE_INTEGER frequency{};
        QueryPerformanceFrequency(&frequency);
        for (const t_row& row : rows) {
            OutputDebugStringW(
                FormatStr(L"%s: %I64d, %.3f ms\n", row.name, row.count,
                          static_cast<double>(row.ticks) * 1000.0 / static_cast<double>(frequency.QuadPart))
                    .c_str());
        }
    }

    bool IsOn(t_perfKind kind) const { return kind == t_perfKind::section ? sectionsOn : functionsOn; }

    void Add(const wchar_t* name, std::int64_t ticks)
    {
        const std::lock_guard lock(mutex);
        for (t_row& row : rows) {
            if (std::wcscmp(row.name, name) == 0) {
                ++row.count;
                row.ticks += ticks;
                return;
            }
        }
        rows.push_back({name, 1, ticks});
    }

private:
    struct t_row
    {
        const wchar_t* name;
        std::int64_t count;
        std::int64_t ticks;
    };

    bool sectionsOn = false;
    bool functionsOn = false;
    std::mutex mutex;
    itl::ImmSimpleArray<t_row> rows;
};

t_perfTable& Table()
{
    static t_perfTable table;
    return table;
}

} // namespace

t_perfSection::t_perfSection(t_perfKind kind, const wchar_t* sectionName) : name(nullptr)
{
    if (Table().IsOn(kind)) {
        name = sectionName;
        begin = Now();
    }
}

t_perfSection::~t_perfSection()
{
    if (name != nullptr) {
        const DWORD lastError = GetLastError();
        Table().Add(name, Now() - begin);
        SetLastError(lastError);
    }
}
