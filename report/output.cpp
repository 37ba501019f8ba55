#include "report/output.h"

#include <algorithm>
#include <string>

#include "base/open_file.h"

namespace n_report {

namespace {

constexpr std::size_t kChunk = 8192; // consoles before Windows 8 refuse more than 64 KB in one call

std::string WithLineEnds(std::string_view text)
{
    std::string lines;
    lines.reserve(text.size() + text.size() / 16);
    for (const char byte : text) {
        byte == '\n' ? lines.append("\r\n") : lines.append(1, byte);
    }
    return lines;
}

bool WriteCharacters(HANDLE console, std::string_view bytes)
{
    std::wstring units(bytes.size(), L'\0');
    units.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()),
                                                              units.data(), static_cast<int>(units.size()))));
    for (std::size_t at = 0; at < units.size();) {
        std::size_t length = std::min(units.size() - at, kChunk);
        if (IS_HIGH_SURROGATE(units[at + length - 1]) && length > 1) {
            --length; // both halves of a character go together
        }
        DWORD written = 0;
        if (!WriteConsoleW(console, units.data() + at, static_cast<DWORD>(length), &written, nullptr) || written == 0) {
            return false;
        }
        at += written;
    }
    return true;
}

} // namespace

bool WriteToStandard(DWORD stream, std::string_view text)
{
    const HANDLE target = GetStdHandle(stream);
    const std::string lines = WithLineEnds(text);
    DWORD mode = 0;
    return GetConsoleMode(target, &mode) ? WriteCharacters(target, lines)
                                         : WriteToHandle(target, lines.data(), lines.size());
}

bool WriteToFile(const wchar_t* path, std::string_view text)
{
    const std::string lines = WithLineEnds(text);
    const t_openFile file(path, GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
    return file && file.Write(lines.data(), lines.size());
}

} // namespace n_report
