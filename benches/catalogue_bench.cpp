// The catalogue's reading of a machine, beside a bare loop of the same enumerations, opens and reads.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "base/guid_text.h"
#include "base/handles.h"
#include "base/str.h"
#include "benches/measure.h"
#include "catalogue/hkl_manager.h"
#include "catalogue/keyboard_layouts.h"

namespace {

constexpr wchar_t kServices[] = L"SoftWare\\Microsoft\\CTF\\TIP";
constexpr REGSAM kRead32 = KEY_READ | KEY_WOW64_32KEY;

void Check(bool done, const char* what)
{
    if (!done) {
        std::fprintf(stderr, "catalogue_bench: %s failed\n", what);
        std::exit(1);
    }
}

// Volatile, so that the registry's file is not written while the clock runs.
t_keyHandle MakeKey(HKEY root, const wchar_t* path)
{
    t_keyHandle key;
    Check(RegCreateKeyExW(root, path, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr) ==
              ERROR_SUCCESS,
          "making a key");
    return key;
}

void WriteText(HKEY key, const wchar_t* name, const t_str& text)
{
    Check(RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                         static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS,
          "writing a value");
}

void DeleteTree(HKEY root, const wchar_t* path)
{
    t_keyHandle key;
    if (RegOpenKeyExW(root, path, 0, KEY_ALL_ACCESS, key.Put()) != ERROR_SUCCESS) {
        return;
    }
    DWORD count = 0;
    RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr);
    wchar_t name[256];
    while (count-- > 0 && RegEnumKeyW(key.Get(), count, name, ARRAYSIZE(name)) == ERROR_SUCCESS) {
        DeleteTree(key.Get(), name);
    }
    key.Reset();
    RegDeleteKeyW(root, path);
}

// A machine whose predefined keys are keys of this process alone. Of its layouts every third is an IME for
// Chinese; one text service with ten profiles comes on every hundred layouts, and every other profile stands for one of
// them.
class t_machine
{
public:
    explicit t_machine(std::uint32_t layouts) : path(FormatStr(L"Software\\TarvoBench\\%u", GetCurrentProcessId()))
    {
        DeleteTree(HKEY_CURRENT_USER, path.c_str());
        const t_keyHandle machine = MakeKey(HKEY_CURRENT_USER, FormatStr(L"%s\\machine", path.c_str()).c_str());
        const t_keyHandle classes = MakeKey(HKEY_CURRENT_USER, FormatStr(L"%s\\classes", path.c_str()).c_str());
        AddLayouts(machine.Get(), layouts);
        AddServices(machine.Get(), classes.Get(), layouts);
        Check(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.Get()) == ERROR_SUCCESS &&
                  RegOverridePredefKey(HKEY_CLASSES_ROOT, classes.Get()) == ERROR_SUCCESS,
              "redirecting the registry");
    }

    ~t_machine()
    {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        DeleteTree(HKEY_CURRENT_USER, path.c_str());
    }

    t_machine(const t_machine&) = delete;
    t_machine& operator=(const t_machine&) = delete;

private:
    // There is room for 4,094 layouts of IMEs a language.
    static std::uint32_t Klid(std::uint32_t number)
    {
        const std::uint32_t ime = number / 3;
        return number % 3 == 0 ? 0xE0010804 + (ime % 0x0FFE << 16) + ime / 0x0FFE
                               : (number / 128 << 16) + 0x0400 + number % 128;
    }

    static void AddLayouts(HKEY machine, std::uint32_t layouts)
    {
        const t_keyHandle root = MakeKey(machine, kKeyboardLayoutsKey);
        for (std::uint32_t number = 0; number < layouts; ++number) {
            const t_keyHandle key = MakeKey(root.Get(), FormatStr(L"%08X", Klid(number)).c_str());
            WriteText(key.Get(), L"Layout File", L"kbdus.dll");
            WriteText(key.Get(), L"Layout Text", FormatStr(L"Layout %u", number));
            if (IsImeKlid(Klid(number))) {
                WriteText(key.Get(), L"Ime File", FormatStr(L"ime%u.ime", number));
            }
        }
    }

    static void AddServices(HKEY machine, HKEY classes, std::uint32_t layouts)
    {
        const t_keyHandle services = MakeKey(machine, kServices);
        for (std::uint32_t service = 0; service < layouts / 100; ++service) {
            const t_str name = FormatGuid({service * 0x9E3779B9u, 1, 1, {}});
            WriteText(MakeKey(classes, FormatStr(L"CLSID\\%s\\InProcServer32", name.c_str()).c_str()).Get(), nullptr,
                      FormatStr(L"C:\\Windows\\System32\\service%u.dll", service));
            for (std::uint32_t profile = 0; profile < 10; ++profile) {
                const t_keyHandle key = MakeKey(
                    services.Get(), FormatStr(L"%s\\LanguageProfile\\0x%08x\\%s", name.c_str(), 0x0400 + profile / 5,
                                              FormatGuid({profile * 0x9E3779B9u, 2, 2, {}}).c_str())
                                        .c_str());
                WriteText(key.Get(), L"Description", L"A profile");
                WriteText(key.Get(), L"IconFile", L"C:\\Windows\\System32\\service.dll");
                if (profile % 2 != 0) {
                    WriteText(key.Get(), L"SubstituteLayout", FormatStr(L"%08X", Klid(service * 100 + profile)));
                }
            }
        }
    }

    t_str path;
};

DWORD OpenAndCount(HKEY root, const wchar_t* path, t_keyHandle& key, DWORD* values = nullptr)
{
    DWORD count = 0;
    if (RegOpenKeyExW(root, path, 0, kRead32, key.Put()) == ERROR_SUCCESS) {
        RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &count, nullptr, nullptr, values, nullptr, nullptr,
                         nullptr, nullptr);
    }
    return count;
}

template <class Function>
void ForEachKey(HKEY root, const wchar_t* path, Function function)
{
    t_keyHandle key;
    const DWORD count = OpenAndCount(root, path, key);
    wchar_t name[MAX_PATH];
    for (DWORD index = 0; index < count && RegEnumKeyW(key.Get(), index, name, MAX_PATH) == ERROR_SUCCESS; ++index) {
        function(key.Get(), name);
    }
}

void ReadText(HKEY key, const wchar_t* valueName)
{
    wchar_t text[MAX_PATH];
    DWORD size = sizeof(text), type = 0;
    RegQueryValueExW(key, valueName, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
}

void ReadBare()
{
    ForEachKey(HKEY_LOCAL_MACHINE, kKeyboardLayoutsKey, [](HKEY layouts, const wchar_t* name) {
        t_keyHandle layout;
        if (name[0] == L'E' && RegOpenKeyExW(layouts, name, 0, kRead32, layout.Put()) == ERROR_SUCCESS) {
            ReadText(layout.Get(), L"Ime File");
        }
    });
    ForEachKey(HKEY_LOCAL_MACHINE, kServices, [](HKEY services, const wchar_t* service) {
        wchar_t path[MAX_PATH] = L"CLSID\\";
        lstrcatW(path, service);
        lstrcatW(path, L"\\InProcServer32");
        t_keyHandle server;
        if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, kRead32, server.Put()) == ERROR_SUCCESS) {
            ReadText(server.Get(), nullptr);
            server.Reset();
        }
        lstrcpyW(path, service);
        lstrcatW(path, L"\\LanguageProfile");
        ForEachKey(services, path, [](HKEY languages, const wchar_t* language) {
            ForEachKey(languages, language, [](HKEY profiles, const wchar_t* name) {
                t_keyHandle profile;
                DWORD values = 0;
                OpenAndCount(profiles, name, profile, &values);
                ReadText(profile.Get(), L"SubstituteLayout");
            });
        });
    });
}

void ReadCatalogue()
{
    t_hklManager_InstallWrap manager;
    t_errorChain errors;
    t_hklList list;
    Check(manager.GetLayoutList(errors, list), "reading the catalogue");
}

} // namespace

int main()
{
    for (const std::uint32_t layouts : {250u, 2500u, 25000u}) {
        const t_machine machine(layouts);
        const n_bench::t_measured measured = n_bench::Measure(ReadCatalogue, ReadBare, layouts > 10000 ? 10 : 3);
        char row[64], remark[64];
        std::snprintf(row, sizeof(row), "catalogue, %u layouts", layouts);
        std::snprintf(remark, sizeof(remark), "%.1f ms to %.1f ms", measured.subject * 1000, measured.peer * 1000);
        n_bench::PrintRow(row, "the same registry calls, bare", measured.Ratio(), "1.3", remark);
    }
    return 0;
}
