#include "catalogue/hkl_manager.h"

#include "base/ascii_case.h"
#include "base/locker.h"
#include "base/reg.h"
#include "catalogue/hkl_collector.h"
#include "catalogue/keyboard_layouts.h"
#include "catalogue/text_service_profiles.h"

bool t_hklManager_InstallWrap::GetHKLByName(t_errorChain& errors, t_hkl& out, std::wstring_view imeFileName,
                                            std::uint32_t mask, std::uint32_t value)
{
    if (const t_hkl* const registered = imeFiles.FindByName(imeFileName)) {
        out = *registered;
        return true;
    }
    if (!GetLayoutList(errors, layoutCache.records)) {
        return errors.Fail(L"GetHKLByName失败");
    }
    for (const t_hkl& record : layoutCache.records) {
        t_str name;
        if ((IsTextServiceProfile(record) || (record.klid & mask) == value) && GetImeFileName(errors, name, record) &&
            EqualIgnoringCase(name, imeFileName)) {
            out = record;
            return true;
        }
    }
    return errors.Fail(L"GetHKLByName失败:未找到");
}

bool t_hklManager_InstallWrap::GetLayoutList(t_errorChain& errors, t_hklList& out)
{
    t_locker locker;
    if (!locker.Lock(errors, layoutCache.lock)) {
        return false;
    }
    if (!layoutCache.built) {
        layoutCache.built = true;
        if (!BuildLayoutList(errors, layoutCache.records)) {
            return errors.Fail(L"生成缓存失败");
        }
        layoutCache.valid = true;
    } else if (!layoutCache.valid) {
        return errors.Fail(L"获取缓存失败");
    }
    if (&out != &layoutCache.records) {
        out = layoutCache.records;
    }
    return true;
}

bool t_hklManager_InstallWrap::BuildLayoutList(t_errorChain& errors, t_hklList& list)
{
    t_hklCollector collector(list);
    if (!EnumKeyboardLayouts(errors, imeFiles, collector)) {
        return false;
    }
    if (EnumTextServiceProfiles(errors, imeFiles, collector)) {
        collector.DedupeHklList();
    } else {
        errors.Clear();
    }
    list = collector.List();
    return true;
}

bool t_hklManager_InstallWrap::GetImeFileName(t_errorChain& errors, t_str& name, const t_hkl& record) const
{
    return IsTextServiceProfile(record) ? GetImeFileNameByGuid(errors, name, record)
                                        : GetImeFileNameByKlid(errors, name, record.klid);
}

bool t_hklManager_InstallWrap::GetImeFileNameByGuid(t_errorChain& errors, t_str& name, const t_hkl& record) const
{
    name.clear();
    const std::wstring_view* const registered = imeFiles.FindByRecord(record);
    if (registered == nullptr) {
        return errors.Fail(L"not Get ime file name by guid");
    }
    name.assign(*registered);
    return true;
}

void t_hklManager_InstallWrap::RegisterImeFile(std::wstring_view imeFileName, const t_hkl& record)
{
    imeFiles.RegisterImeFile(imeFileName, record);
}

bool t_hklManager_InstallWrap::CreateImeLayoutKey(t_errorChain& errors, std::uint32_t& klid, const wchar_t* imeFilePath,
                                                  const wchar_t* layoutText) const
{
    return ::CreateImeLayoutKey(errors, klid, imeFilePath, layoutText);
}

bool t_hklManager_InstallWrap::UnhideLayout(t_errorChain& errors, const t_hkl& record) const
{
    t_reg hidden(HKEY_CURRENT_USER);
    return hidden.Open(errors, L"SoftWare\\Microsoft\\CTF\\HiddenDummyLayouts",
                       t_regAccess::write | t_regAccess::view32 | t_regAccess::unlinked) &&
           hidden.DeleteValue(errors, L"1") && hidden.DeleteValue(errors, FormatStr(L"%08x", record.klid).c_str());
}
