#include "diag/format_time.h"

void FormatTime(t_str& text, const std::tm& time, const wchar_t* pattern)
{
    for (; *pattern != L'\0'; ++pattern) {
        if (*pattern != L'%') {
            text += *pattern;
            continue;
        }
        switch (*++pattern) {
        case L'%':
            text += L'%';
            break;
        case L'Y':
            text.AppendFormat(L"%04d", time.tm_year + 1900);
            break;
        case L'M':
            text.AppendFormat(L"%02d", time.tm_mon + 1);
            break;
        case L'D':
            text.AppendFormat(L"%02d", time.tm_mday);
            break;
        case L'h':
            text.AppendFormat(L"%02d", time.tm_hour);
            break;
        case L'm':
            text.AppendFormat(L"%02d", time.tm_min);
            break;
        case L's':
            text.AppendFormat(L"%02d", time.tm_sec);
            break;
        case L'W':
            text.AppendFormat(L"%01d", time.tm_wday);
            break;
        default:
            return;
        }
    }
}

void FormatTime(t_str& text, std::time_t time, const wchar_t* pattern)
{
    if (const std::tm* const local = std::localtime(&time)) {
        FormatTime(text, *local, pattern);
    } else {
        text.clear();
    }
}
