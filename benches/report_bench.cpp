// The report on a machine of 250 more layouts, beside reg.exe's print of the layouts' keys alone.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/handles.h"
#include "base/module_path.h"
#include "base/path.h"
#include "base/str.h"
#include "benches/measure.h"
#include "catalogue/keyboard_layouts.h"

namespace {

void Check(bool done, const char* what)
{
    if (!done) {
        std::fprintf(stderr, "report_bench: %s failed\n", what);
        std::exit(1);
    }
}

// Keys among the machine's own, gone with this object. Every third is an IME's.
class t_moreLayouts
{
public:
    t_moreLayouts()
    {
        Check(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKeyboardLayoutsKey, 0, KEY_ALL_ACCESS, layouts.Put()) == ERROR_SUCCESS,
              "opening the layouts");
        for (std::uint32_t number = 0; number < 250; ++number) {
            const bool ime = number % 3 == 0;
            names.push_back(FormatStr(L"%08X", (ime ? 0xE1000411 : 0x0B000411) + (number << 16)));
            t_keyHandle key;
            Check(RegCreateKeyExW(layouts.Get(), names.back().c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                                  nullptr, key.Put(), nullptr) == ERROR_SUCCESS,
                  "making a layout");
            Write(key.Get(), L"Layout Text", FormatStr(L"Layout %u", number));
            Write(key.Get(), L"Layout File", L"kbdus.dll");
            if (ime) {
                Write(key.Get(), L"Ime File", FormatStr(L"bench%u.ime", number));
            }
        }
    }

    ~t_moreLayouts()
    {
        for (const t_str& name : names) {
            RegDeleteKeyW(layouts.Get(), name.c_str());
        }
    }

    t_moreLayouts(const t_moreLayouts&) = delete;
    t_moreLayouts& operator=(const t_moreLayouts&) = delete;

private:
    static void Write(HKEY key, const wchar_t* name, const t_str& text)
    {
        RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }

    t_keyHandle layouts;
    std::vector<t_str> names;
};

// Runs a program to its end, with a file for what it prints.
void Run(const wchar_t* program, std::wstring command)
{
    SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
    const t_handle output = MakeFileHandle(CreateFileW(L"report_bench.txt", GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                                       CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output.Get();
    PROCESS_INFORMATION process{};
    Check(CreateProcessW(program, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process),
          "starting a program");
    CloseHandle(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hProcess);
    LARGE_INTEGER size{};
    Check(GetFileSizeEx(output.Get(), &size) && size.QuadPart > 100, "printing");
}

} // namespace

int main()
{
    t_path own;
    Check(ReadModulePath(nullptr, own), "finding this program");
    const std::wstring report = own.substr(0, own.rfind(L'\\', own.rfind(L'\\') - 1)) + L"\\TarvoReport.exe";
    wchar_t registry[MAX_PATH];
    GetSystemDirectoryW(registry, ARRAYSIZE(registry));
    lstrcatW(registry, L"\\reg.exe");
    const auto measure = [&] {
        return n_bench::Measure(
            [&] { Run(report.c_str(), L"TarvoReport"); },
            [&] { Run(registry, L"reg query \"HKLM\\" + std::wstring(kKeyboardLayoutsKey) + L"\" /s"); }, 6);
    };
    const n_bench::t_measured few = measure();
    n_bench::t_measured many{};
    {
        const t_moreLayouts layouts;
        many = measure();
    }
    const n_bench::t_measured added{many.subject - few.subject, many.peer - few.peer};
    char remark[160];
    std::snprintf(remark, sizeof(remark),
                  "%.0f ms to %.0f ms, of which %.0f ms without the layouts: it verifies signatures",
                  many.subject * 1000, many.peer * 1000, few.subject * 1000);
    n_bench::PrintRow("report on 250 layouts", "reg.exe query of the layouts", many.Ratio(), "1", remark);
    std::snprintf(remark, sizeof(remark), "%.0f ms to %.0f ms", added.subject * 1000, added.peer * 1000);
    n_bench::PrintRow("report, what 250 layouts add", "what they add to reg.exe query", added.Ratio(), "1", remark);
    DeleteFileW(L"report_bench.txt");
    return 0;
}
