// Writes registry keys and all below them to the standard output, in UTF-8: registry_dump KEY…
// One line a key, "[path]", or a value: name, data and, for a text without terminator, "unterminated", between tabs.
// Control characters, NUL among them, print as their pictures. Regedit's export cuts unterminated texts short.
#include "base/handles.h"
#include "base/str.h"

static t_str Printable(t_str text)
{
    for (wchar_t& unit : text) {
        unit = unit < L' ' ? static_cast<wchar_t>(L'␀' + unit) : unit;
    }
    return text;
}

static void PrintLine(const std::wstring& line)
{
    std::string bytes(line.size() * 3 + 1, '\0');
    WideCharToMultiByte(CP_UTF8, 0, line.c_str(), -1, bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
    puts(bytes.c_str());
}

static t_str DataText(DWORD type, const std::wstring& data, DWORD bytes)
{
    t_str text(data.substr(0, bytes / 2));
    if ((type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ) && bytes % 2 == 0) {
        const bool terminated = text.ends_with(L'\0');
        text.resize(text.size() - terminated);
        const wchar_t* const kind = type == REG_SZ ? L"\"" : type == REG_MULTI_SZ ? L"multi \"" : L"expand \"";
        return kind + Printable(text) + (terminated ? L"\"" : L"\"\tunterminated");
    }
    if (type == REG_DWORD && bytes == 4) {
        return FormatStr(L"0x%04x%04x", text[1], text[0]);
    }
    text = FormatStr(L"type %u:", type);
    for (DWORD i = 0; i < bytes; ++i) {
        text.AppendFormat(L" %02x", data[i / 2] >> i % 2 * 8 & 0xFF);
    }
    return text;
}

static void Dump(HKEY parent, const wchar_t* keyName, const std::wstring& path)
{
    t_keyHandle key; // links are shown, not followed, so every key prints once
    DWORD units = 0, room = 0;
    if (RegOpenKeyExW(parent, keyName, REG_OPTION_OPEN_LINK, KEY_READ, key.Put()) != ERROR_SUCCESS) {
        return;
    }
    RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &units, &room, nullptr,
                     nullptr);
    PrintLine(L"[" + path + L"]");
    std::wstring name(units + 256, L'\0'), data(room / 2 + 1, L'\0'); // a key's own name has 255 at most
    DWORD length = units + 1, bytes = room, type = 0;
    for (DWORD index = 0; RegEnumValueW(key.Get(), index, name.data(), &length, nullptr, &type,
                                        reinterpret_cast<BYTE*>(data.data()), &bytes) == ERROR_SUCCESS;
         ++index, length = units + 1, bytes = room) {
        PrintLine(L"\"" + Printable(name.substr(0, length)) + L"\"\t" + DataText(type, data, bytes));
    }
    for (DWORD index = 0; RegEnumKeyW(key.Get(), index, name.data(), 256) == ERROR_SUCCESS; ++index) {
        Dump(key.Get(), std::wstring(name.c_str()).c_str(), path + L"\\" + Printable(t_str(name.c_str())));
    }
}

int wmain(int argc, wchar_t** argv)
{
    // Wine sets the first entry of the user's preload list whenever a program with windows starts. As one of them, this
    // program finds the entry the same whenever it runs.
    GetSystemMetrics(SM_CXSCREEN);
    for (int i = 1; i < argc; ++i) {
        const wchar_t* const name = wcschr(argv[i], L'\\');
        Dump(argv[i][5] == L'U' ? HKEY_USERS : HKEY_LOCAL_MACHINE, name != nullptr ? name + 1 : L"", argv[i]);
    }
    return 0;
}
