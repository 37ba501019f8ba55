#pragma once

#include <string_view>

// What the runtime knows about the program that it runs in, by the program's file name; letter case does not matter.

// Whether it is a part of the shell that hosts the input method: the desktop or the search window.
bool IsShellHost(std::wstring_view programName);

// Whether it is one of the applications that the input method treats in a way of their own.
bool IsKnownHostApplication(std::wstring_view programName);
