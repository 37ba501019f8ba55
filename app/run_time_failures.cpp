// How the compiler's run-time library reports its failures, in the place of its own versions. Those carry texts that no
// reader of a program without a console ever sees: the name of an uncaught exception, for which they link a decoder of
// C++ names and a formatter of floating-point numbers, and the standard exceptions' messages, for which they link the
// narrow string class twice. Together that is two fifths of the program. What can happen for want of memory is thrown
// all the same; what only a mistake in the program can cause ends it.
//
// When the program comes to need another of these functions, the linker says that the ones below are defined twice:
// then the new one belongs here too.

#include <cstdlib>
#include <exception>
#include <new>

// The names are the library's own.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl58-cpp)
namespace __gnu_cxx {

void __verbose_terminate_handler()
{
    std::abort();
}

} // namespace __gnu_cxx

namespace std {

void __throw_bad_alloc()
{
    throw bad_alloc();
}

void __throw_bad_array_new_length()
{
    throw bad_array_new_length();
}

// A text longer than any memory.
void __throw_length_error(const char*)
{
    throw bad_alloc();
}

void __throw_logic_error(const char*)
{
    terminate();
}

void __throw_out_of_range_fmt(const char*, ...)
{
    terminate();
}

void __throw_system_error(int)
{
    terminate();
}

} // namespace std
// NOLINTEND(bugprone-reserved-identifier,cert-dcl58-cpp)
