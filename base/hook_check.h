#pragma once

#include <span>

#include "base/simple_array.h"
#include "base/str.h"

// A function of a system library, as that library exports it.
struct t_systemFunction
{
    const wchar_t* library; // file name, such as L"ntdll.dll"
    const char* name;
};

// What comparing the code of functions in memory with their files gave. Both name functions as "library!function", or a
// library alone.
struct t_hookCheck
{
    itl::ImmSimpleArray<t_str> differing; // their code, or the address under which they are found, is not the file's
    itl::ImmSimpleArray<t_str> unchecked; // could not be compared, and why
};

// Compares functions of this process with the files that their libraries were loaded from. A program that wants to see
// or change what other programs ask of the system usually overwrites the beginning of such functions.
//   functions  those of a library that is not loaded, and those that it does not have itself, are passed over
// Behind it: the libraries' files, ReadProcessMemory.
t_hookCheck CheckForHooks(std::span<const t_systemFunction> functions);

// The functions on which the registration of the input method and its verification stand.
std::span<const t_systemFunction> SelectedSystemFunctions();
