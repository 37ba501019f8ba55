#include "base/str.h"

#include <cwchar>

namespace {

#ifdef _WIN32

// The C runtime's own functions: MinGW's replacements read "%s" as a narrow string and do not know "%I64d".
int FormattedLength(const wchar_t* format, std::va_list arguments)
{
    return _vscwprintf(format, arguments);
}

void FormatInto(wchar_t* buffer, std::size_t units, const wchar_t* format, std::va_list arguments)
{
    _vsnwprintf(buffer, units, format, arguments);
}

#else

// Spells a Windows format for this platform's C library.
std::wstring NativeFormat(const wchar_t* format)
{
    std::wstring native;
    for (const wchar_t* at = format; *at != L'\0'; ++at) {
        native += *at;
        if (*at != L'%') {
            continue;
        }
        ++at;
        while (*at != L'\0' && std::wcschr(L"-+ #0123456789.", *at) != nullptr) {
            native += *at++;
        }
        if (std::wcsncmp(at, L"I64", 3) == 0) {
            native += L"ll";
            at += 3;
        } else if (*at == L's' || *at == L'c') {
            native += L'l';
        }
        if (*at == L'\0') {
            break;
        }
        native += *at;
    }
    return native;
}

int FormattedLength(const wchar_t* format, std::va_list arguments)
{
    const std::wstring native = NativeFormat(format);
    std::wstring buffer(256, L'\0');
    // vswprintf does not tell the length that it needs, so the buffer grows until the text fits.
    for (; buffer.size() < (std::size_t{1} << 28); buffer.resize(buffer.size() * 4)) {
        std::va_list copy;
        va_copy(copy, arguments);
        const int length = std::vswprintf(buffer.data(), buffer.size(), native.c_str(), copy);
        va_end(copy);
        if (length >= 0) {
            return length;
        }
    }
    return -1;
}

void FormatInto(wchar_t* buffer, std::size_t units, const wchar_t* format, std::va_list arguments)
{
    std::vswprintf(buffer, units, NativeFormat(format).c_str(), arguments);
}

#endif

} // namespace

t_str& t_str::AppendFormatList(const wchar_t* format, std::va_list arguments)
{
    std::va_list copy;
    va_copy(copy, arguments);
    const int length = FormattedLength(format, copy);
    va_end(copy);
    if (length > 0) {
        const std::size_t before = size();
        const std::size_t added = static_cast<std::size_t>(length);
        resize(before + added + 1);
        FormatInto(data() + before, added + 1, format, arguments);
        resize(before + added);
    }
    return *this;
}

t_str& t_str::AppendArguments(const wchar_t* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    AppendFormatList(format, arguments);
    va_end(arguments);
    return *this;
}
