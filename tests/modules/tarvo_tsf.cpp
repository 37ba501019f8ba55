// Stands for the text-service module: a COM server that does nothing but register itself and its language profile.
#include <windows.h>

#include <shlwapi.h>

namespace {

#define SERVICE L"{7C2B4E10-5D3A-4F86-9B1C-2E60A4D7F305}"
constexpr wchar_t kServiceKey[] = L"SoftWare\\Microsoft\\CTF\\TIP\\" SERVICE;
constexpr wchar_t kProfileKey[] =
    L"SoftWare\\Microsoft\\CTF\\TIP\\" SERVICE L"\\LanguageProfile\\0x00000804\\{A9D01C52-73E4-4B0F-8E26-F4185B6C9D71}";
constexpr wchar_t kClassKey[] = L"CLSID\\" SERVICE;
constexpr wchar_t kServerKey[] = L"CLSID\\" SERVICE L"\\InProcServer32";

} // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI DllRegisterServer()
{
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(GetModuleHandleW(L"TarvoTSF.ime"), path, MAX_PATH);
    const auto set = [](HKEY root, const wchar_t* key, const wchar_t* name, const wchar_t* text) {
        SHSetValueW(root, key, name, REG_SZ, text, static_cast<DWORD>(lstrlenW(text)) * 2 + 2);
    };
    set(HKEY_CLASSES_ROOT, kClassKey, nullptr, L"TarvoTSF");
    set(HKEY_CLASSES_ROOT, kServerKey, nullptr, path);
    set(HKEY_CLASSES_ROOT, kServerKey, L"ThreadingModel", L"Apartment");
    set(HKEY_LOCAL_MACHINE, kProfileKey, L"Description", L"塔沃拼音输入法");
    set(HKEY_LOCAL_MACHINE, kProfileKey, L"SubstituteLayout", L"00000804");
    const DWORD enable = 1;
    SHSetValueW(HKEY_LOCAL_MACHINE, kProfileKey, L"Enable", REG_DWORD, &enable, sizeof enable);
    return S_OK;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllUnregisterServer()
{
    SHDeleteKeyW(HKEY_LOCAL_MACHINE, kServiceKey);
    SHDeleteKeyW(HKEY_CLASSES_ROOT, kClassKey);
    return S_OK;
}
