// Does nothing: what the system and the run-time library take to start and end a program.
#include <windows.h>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    return 0;
}
