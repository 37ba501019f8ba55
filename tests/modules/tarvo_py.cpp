// Stands for the classic IME: a module the input-method manager accepts as a file and that never becomes active.
#include <windows.h>

extern "C" __declspec(dllexport) BOOL WINAPI ImeInquire(void*, wchar_t*, DWORD)
{
    return FALSE;
}
