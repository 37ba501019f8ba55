#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

// The base library's wide-character string: std::wstring with printf-style appending. A unit is one UTF-16 code unit.
class t_str : public std::wstring
{
public:
    using std::wstring::wstring;
    t_str() = default;
    t_str(std::wstring text) : std::wstring(std::move(text)) {}

    // Appends formatted text. In the format "%s" and "%c" take wide arguments, "%I64d" a 64-bit integer.
    //   format     not null
    //   arguments  numbers and null-terminated wide strings only; class types do not compile
    // Returns *this. Text that cannot be formatted is left out. Behind it: _vsnwprintf.
    template <class... Args>
    t_str& AppendFormat(const wchar_t* format, Args... arguments)
    {
        static_assert((std::is_scalar_v<Args> && ...), "a class type cannot pass through a printf-style format");
        return AppendArguments(format, arguments...);
    }

    // The same for an argument list that a variadic function received.
    t_str& AppendFormatList(const wchar_t* format, std::va_list arguments);

    // Append one value in its fixed format: "%c", "%d", "%u", "%I64d", "%.3g", "%s" and "0x%p".
    t_str& operator<<(wchar_t character)
    {
        push_back(character);
        return *this;
    }
    t_str& operator<<(std::int32_t number) { return AppendFormat(L"%d", number); }
    t_str& operator<<(std::uint32_t number) { return AppendFormat(L"%u", number); }
    t_str& operator<<(std::int64_t number) { return AppendFormat(L"%I64d", number); }
    t_str& operator<<(double number) { return AppendFormat(L"%.3g", number); }
    t_str& operator<<(const wchar_t* text)
    {
        append(text != nullptr ? text : L"(null)"); // as "%s" spells it
        return *this;
    }
    t_str& operator<<(const std::wstring& text)
    {
        append(text);
        return *this;
    }
    t_str& operator<<(const void* address) { return AppendFormat(L"0x%p", address); }

private:
    t_str& AppendArguments(const wchar_t* format, ...);
};

// Returns a new string holding the formatted text; the rules are those of t_str::AppendFormat.
template <class... Args>
t_str FormatStr(const wchar_t* format, Args... arguments)
{
    t_str text;
    text.AppendFormat(format, arguments...);
    return text;
}

// Copies a text into a fixed buffer, cut to what it holds and always terminated.
template <class Char, std::size_t units>
void CopyCut(Char (&buffer)[units], std::type_identity_t<std::basic_string_view<Char>> text)
{
    buffer[text.copy(buffer, units - 1)] = Char{};
}
