#pragma once

#include "tests/catalogue_registry_model.h"

inline std::wstring RandomGuid(t_random& random)
{
    const std::uint32_t number = random.Below(4);
    return FormatStr(L"{%08x-0000-0000-0000-00000000000%d}", number, number % 2);
}

// Installed layouts and text services of which many share identifiers, names and files. 32-bit programs see their own
// registrations of classes, which stand below "32" here.
class t_randomLayouts
{
public:
    explicit t_randomLayouts(t_random& randomToUse) : random(randomToUse)
    {
        for (auto count = random.Below(3); count > 0; --count) {
            WriteText(HKEY_CURRENT_USER, n_model::kHidden, random.Of({L"1", L"e0200804", L"E0210804", L"2"}), L"");
        }
        if (!random.OneIn(20)) {
            MakeKey(HKEY_LOCAL_MACHINE, n_model::kLayouts);
        }
        for (auto count = random.Below(9); count > 0; --count) {
            const std::wstring name =
                random.Of({L"E0200804", L"0xE0300804", L"804", L"none", L"FFFFFFFFF", L"00010409", L"F0020C04",
                           L"10000409", L"E0FF0000", L"E0200411", L"E02508041", L" +1"});
            const std::wstring key =
                n_model::kLayouts + L"\\" + (random.OneIn(2) ? FormatStr(L"%08x", Handle()) : name);
            MakeKey(HKEY_LOCAL_MACHINE, key);
            Maybe(HKEY_LOCAL_MACHINE, key, L"Ime File", FileName());
            Maybe(HKEY_LOCAL_MACHINE, key, L"Layout Id", random.Of({L"0001", L"0002", L"fFf", L"00003", L"x"}));
        }
        for (auto count = random.Below(5); count > 0; --count) {
            MakeKey(HKEY_LOCAL_MACHINE, n_model::kTip);
            AddService(random.OneIn(8) ? random.Of({L"none", L"{EB030804-6d26-11D3-B0F4-00C04F60B2A1}"})
                                       : RandomGuid(random));
        }
    }

    std::wstring FileName() { return random.Of({L"TarvoPY.ime", L"tarvoPY.IME", L"TarvoTSF.ime", L"b", L""}); }
    std::uint32_t Handle()
    {
        return random.Of({0xE0200804u, 0xE0210804u, 0x00000804u, 0xF0010804u, 0xF0020409u, 0xFFFF0804u, 0xF0030804u,
                          0x04110411u, 0x00010000u, 0xE1000000u, 0u});
    }

private:
    void Maybe(HKEY root, const std::wstring& path, const wchar_t* value, const std::wstring& text, DWORD type = REG_SZ)
    {
        if (!random.OneIn(4)) {
            WriteRandomText(random, root, path, value, text, type);
        }
    }

    void AddService(const std::wstring& service)
    {
        MakeKey(HKEY_LOCAL_MACHINE, n_model::kTip + L"\\" + service);
        for (auto count = random.Below(6); count > 0; --count) {
            const std::wstring profile = n_model::kTip + L"\\" + service + L"\\LanguageProfile\\" +
                                         random.Of({L"0x00000804", L"0x00000C04", L"00000409", L"x"}) + L"\\" +
                                         (random.OneIn(9) ? L"none" : RandomGuid(random));
            MakeKey(HKEY_LOCAL_MACHINE, profile);
            Maybe(HKEY_LOCAL_MACHINE, profile, L"Description", L"x");
            Maybe(HKEY_LOCAL_MACHINE, profile, L"Enable", L"1");
            if (random.OneIn(2)) {
                WriteRandomText(random, HKEY_LOCAL_MACHINE, profile, L"SubstituteLayout", FormatStr(L"%08x", Handle()));
            }
        }
        for (const wchar_t* const view : {L"32\\CLSID\\", L"CLSID\\"}) {
            for (const wchar_t* const kind : {L"\\InProcServer32", L"\\LocalServer32"}) {
                if (!random.OneIn(3)) {
                    Maybe(HKEY_CLASSES_ROOT, view + service + kind, nullptr, random.Of({L"", L"%x%\\"}) + FileName(),
                          random.Of<DWORD>({REG_SZ, REG_EXPAND_SZ}));
                }
            }
        }
    }

    t_random& random;
};
