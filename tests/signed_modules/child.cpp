// A program that tells the test which started it where it runs and with what command line.
#include <windows.h>

#include <string>

int main()
{
    wchar_t folder[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, folder);
    const std::wstring text = std::wstring(folder) + L"\\|" + GetCommandLineW();
    const HANDLE mail = CreateFileW(L"\\\\.\\mailslot\\tarvo_launch_test", GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    DWORD written = 0;
    return WriteFile(mail, text.data(), static_cast<DWORD>(text.size() * 2), &written, nullptr) ? 0 : 1;
}
