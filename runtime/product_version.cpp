#include "runtime/product_version.h"

#include "base/reg.h"

namespace {

constexpr DWORD kMaxVersionUnits = 260;
constexpr UINT kSimplifiedChinese = 936;

// Stores the text in the code page, cut to fit without splitting a character of two bytes.
void StoreCp936(const wchar_t* text, char (&stored)[t_productVersion::kUnits])
{
    char converted[2 * kMaxVersionUnits + 1] = {};
    WideCharToMultiByte(kSimplifiedChinese, 0, text, -1, converted, sizeof(converted), nullptr, nullptr);
    std::size_t length = 0;
    while (converted[length] != '\0') {
        const bool isLead = IsDBCSLeadByteEx(kSimplifiedChinese, static_cast<BYTE>(converted[length])) != FALSE;
        const std::size_t next = length + (isLead && converted[length + 1] != '\0' ? 2 : 1);
        if (next >= sizeof(stored)) {
            break;
        }
        length = next;
    }
    CopyCut(stored, std::string_view(converted, length));
}

} // namespace

bool ReadProductVersion(t_errorChain& errors, t_productVersion& version)
{
    t_reg key(HKEY_LOCAL_MACHINE);
    t_str text;
    if (!key.Open(errors, kProductKey, t_regAccess::read)) {
        return errors.Fail(L"查找安装路径出错");
    }
    if (!key.ReadString(errors, text, kMaxVersionUnits, L"Version")) {
        return errors.Fail(L"查找版本号出错");
    }
    CopyCut(version.text, text);
    StoreCp936(version.text, version.textCp936);
    const std::size_t dot = text.rfind(L'.');
    CopyCut(version.buildNumber, dot == t_str::npos ? L"" : text.c_str() + dot + 1);
    return true;
}
