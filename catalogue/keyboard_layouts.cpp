#include "catalogue/keyboard_layouts.h"

#include <algorithm>

#include "base/number_text.h"
#include "base/path.h"
#include "base/reg.h"
#include "catalogue/language.h"

namespace {

constexpr wchar_t kImeFile[] = L"Ime File";

// Through t_reg, and so without terminators, unlike the texts that the registration steps store.
bool WriteImeLayoutKey(t_errorChain& errors, const t_reg& layouts, std::uint32_t klid, const wchar_t* imeFilePath,
                       const wchar_t* layoutText)
{
    t_reg key(layouts);
    return key.Create(errors, FormatStr(L"%08X", klid).c_str(), t_reg::kCreateWritable, nullptr) &&
           key.WriteString(errors, FileNamePart(imeFilePath), kImeFile) &&
           key.WriteString(errors, L"kbdus.dll", L"Layout File") && key.WriteString(errors, layoutText, L"Layout Text");
}

} // namespace

bool EnumKeyboardLayouts(t_errorChain& errors, t_imeFileMaps& maps, t_hklCollector& list)
{
    t_reg layouts(HKEY_LOCAL_MACHINE);
    DWORD count = 0;
    if (!layouts.Open(errors, kKeyboardLayoutsKey, t_regAccess::view32) || !layouts.GetSubKeyCount(errors, count)) {
        return errors.Fail(kListFailed);
    }
    t_str name;
    for (DWORD index = 0; index < count && layouts.EnumKey(errors, name, index); ++index) {
        t_hkl record;
        record.klid = ParseHexPrefix(name);
        record.langId = static_cast<std::uint16_t>(record.klid);
        list.AddHkl(record);
        if (!IsImeKlid(record.klid)) {
            continue;
        }
        t_reg layout(layouts);
        t_str imeFile;
        if (layout.Open(errors, name.c_str(), t_regAccess::view32) &&
            layout.ReadString(errors, imeFile, MAX_PATH, kImeFile)) {
            maps.RegisterImeFile(imeFile, record);
        } else {
            errors.Clear();
        }
    }
    list.DedupeHklList();
    return true;
}

bool GetImeFileNameByKlid(t_errorChain& errors, t_str& name, std::uint32_t klid)
{
    name.clear();
    t_reg layout(HKEY_LOCAL_MACHINE);
    const t_str subKey = FormatStr(L"%s\\%08x", kKeyboardLayoutsKey, klid);
    return (klid != 0 && layout.Open(errors, subKey.c_str(), t_regAccess::view32) &&
            layout.ReadString(errors, name, MAX_PATH, kImeFile)) ||
           errors.Fail(L"获取t_hkl文件错误, klid=%u", klid);
}

bool CreateImeLayoutKey(t_errorChain& errors, std::uint32_t& klid, const wchar_t* imeFilePath,
                        const wchar_t* layoutText)
{
    constexpr wchar_t kFailed[] = L"安装输入法失败";
    t_reg layouts(HKEY_LOCAL_MACHINE);
    DWORD count = 0;
    if (!layouts.Open(errors, kKeyboardLayoutsKey, t_regAccess::write | t_regAccess::view32) ||
        !layouts.GetSubKeyCount(errors, count)) {
        return errors.Fail(kFailed);
    }
    // Narrower than IsImeKlid: identifiers from E1000000 on are other makers' and do not move the numbers.
    std::uint32_t best = 0xE0000000;
    t_str name;
    for (DWORD index = 0; index < count && layouts.EnumKey(errors, name, index); ++index) {
        const std::uint32_t taken = ParseHexPrefix(name);
        if ((taken & 0xFF000000u) == 0xE0000000u) {
            best = std::max(best, taken);
        }
    }
    const std::uint32_t next = ((best & 0xFFFF0000u) + 0x00010000u) | kChinesePrc;
    if (!WriteImeLayoutKey(errors, layouts, next, imeFilePath, layoutText)) {
        return errors.Fail(kFailed);
    }
    klid = next;
    return true;
}
