// Stands for the text-service module: a COM server that does nothing but register itself and its language profile.
#include <windows.h>

#include <olectl.h>
#include <shlwapi.h>

namespace {

#define CLSID_TEXT L"{7C2B4E10-5D3A-4F86-9B1C-2E60A4D7F305}"
const wchar_t kServiceKey[] = L"SoftWare\\Microsoft\\CTF\\TIP\\" CLSID_TEXT;
const wchar_t kProfileKey[] = L"SoftWare\\Microsoft\\CTF\\TIP"
                              L"\\" CLSID_TEXT L"\\LanguageProfile\\0x00000804\\{A9D01C52-73E4-4B0F-8E26-F4185B6C9D71}";
const wchar_t kClassKey[] = L"CLSID\\" CLSID_TEXT;
const wchar_t kServerKey[] = L"CLSID\\" CLSID_TEXT L"\\InProcServer32";

bool SetText(HKEY root, const wchar_t* key, const wchar_t* name, const wchar_t* text)
{
    const DWORD bytes = static_cast<DWORD>((lstrlenW(text) + 1) * 2);
    return SHSetValueW(root, key, name, REG_SZ, text, bytes) == ERROR_SUCCESS;
}

} // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI DllRegisterServer()
{
    wchar_t path[MAX_PATH];
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       kServiceKey, &self);
    GetModuleFileNameW(self, path, MAX_PATH);
    const DWORD enable = 1;
    const bool done =
        SetText(HKEY_CLASSES_ROOT, kClassKey, nullptr, L"TarvoTSF") &&
        SetText(HKEY_CLASSES_ROOT, kServerKey, nullptr, path) &&
        SetText(HKEY_CLASSES_ROOT, kServerKey, L"ThreadingModel", L"Apartment") &&
        SetText(HKEY_LOCAL_MACHINE, kProfileKey, L"Description", L"塔沃拼音输入法") &&
        SetText(HKEY_LOCAL_MACHINE, kProfileKey, L"SubstituteLayout", L"00000804") &&
        SHSetValueW(HKEY_LOCAL_MACHINE, kProfileKey, L"Enable", REG_DWORD, &enable, sizeof enable) == ERROR_SUCCESS;
    return done ? S_OK : SELFREG_E_CLASS;
}

extern "C" __declspec(dllexport) HRESULT WINAPI DllUnregisterServer()
{
    SHDeleteKeyW(HKEY_LOCAL_MACHINE, kServiceKey);
    SHDeleteKeyW(HKEY_CLASSES_ROOT, kClassKey);
    return S_OK;
}
