#include "catalogue/text_service_profiles.h"

#include "base/number_text.h"
#include "base/path.h"
#include "base/reg.h"
#include "catalogue/keyboard_layouts.h"
#include "catalogue/layout_id.h"

namespace {

constexpr wchar_t kTextServicesKey[] = L"SoftWare\\Microsoft\\CTF\\TIP";

// A service that stands for no input method of its own.
constexpr wchar_t kSkippedService[] = L"{EB030804-6D26-11D3-B0F4-00C04F60B2A1}";

bool OpenAndCount(t_errorChain& errors, t_reg& key, const wchar_t* subKey, DWORD& subKeys)
{
    return key.Open(errors, subKey, t_regAccess::view32) && key.GetSubKeyCount(errors, subKeys);
}

// One pass over the profiles. A single record travels through all levels of a service: what a profile does not set
// keeps the value of the profile before.
class t_profileWalk
{
public:
    t_profileWalk(t_errorChain& errorsToUse, t_imeFileMaps& mapsToFill, t_hklCollector& listToFill)
        : errors(errorsToUse), maps(mapsToFill), list(listToFill)
    {
    }

    bool WalkServices()
    {
        t_reg services(HKEY_LOCAL_MACHINE);
        DWORD count = 0;
        if (!OpenAndCount(errors, services, kTextServicesKey, count)) {
            return errors.Fail(kListFailed);
        }
        t_guid skipped;
        ParseGuid(kSkippedService, skipped);
        t_str name;
        for (DWORD index = 0; index < count && services.EnumKey(errors, name, index); ++index) {
            record = {};
            if (ParseGuid(name, record.clsid) && record.clsid != skipped && !IsNullGuid(record.clsid) &&
                !WalkLanguages(services, name)) {
                errors.Clear();
            }
        }
        return true;
    }

private:
    bool WalkLanguages(const t_reg& services, const t_str& service)
    {
        t_reg languages(services);
        DWORD count = 0;
        if (!OpenAndCount(errors, languages, JoinPath(service, L"LanguageProfile").c_str(), count)) {
            return false;
        }
        FindServerPath(record.clsid, server); // one for all profiles
        t_str name;
        for (DWORD index = 0; index < count && languages.EnumKey(errors, name, index); ++index) {
            record.langId = static_cast<std::uint16_t>(ParseHexPrefix(name));
            WalkProfiles(languages, name);
        }
        return true;
    }

    void WalkProfiles(const t_reg& languages, const t_str& language)
    {
        t_reg profiles(languages);
        t_errorChain unreported(t_errorChain::kDiscarding);
        DWORD count = 0;
        if (!OpenAndCount(unreported, profiles, language.c_str(), count)) {
            return;
        }
        t_str name;
        for (DWORD index = 0; index < count && profiles.EnumKey(errors, name, index); ++index) {
            if (ParseGuid(name, record.profileGuid) && !IsNullGuid(record.profileGuid)) {
                AddProfile(profiles, name);
            }
        }
    }

    void AddProfile(const t_reg& profiles, const t_str& name)
    {
        t_reg profile(profiles);
        DWORD values = 0;
        if (!profile.Open(errors, name.c_str(), t_regAccess::view32) || !profile.GetValueCount(errors, values) ||
            values < 2) {
            errors.Fail(L"not a valid tsf");
            return;
        }
        t_errorChain unreported(t_errorChain::kDiscarding);
        t_str substitute;
        if (profile.ReadString(unreported, substitute, MAX_PATH, L"SubstituteLayout")) {
            layoutIds.SetHklFromHandle(record, ParseHexPrefix(substitute));
        }
        list.AddHkl(record);
        if (!server.empty()) {
            maps.RegisterImeFile(FileNamePart(server), record);
        }
    }

    t_errorChain& errors;
    t_imeFileMaps& maps;
    t_hklCollector& list;
    t_layoutIds layoutIds; // for all profiles: to read them takes longer than everything else
    t_hkl record;
    t_str server; // of the service; empty when it has none
};

} // namespace

bool EnumTextServiceProfiles(t_errorChain& errors, t_imeFileMaps& maps, t_hklCollector& list)
{
    if (!t_profileWalk(errors, maps, list).WalkServices()) {
        return false;
    }
    list.DedupeHklList();
    return true;
}

bool FindServerPath(const t_guid& clsid, t_str& path)
{
    const t_path classKey = JoinPath(L"CLSID", FormatGuid(clsid));
    for (const wchar_t* const kind : {L"InProcServer32", L"LocalServer32"}) {
        for (const t_regAccess view : {t_regAccess::view32, t_regAccess::read}) {
            t_reg server(HKEY_CLASSES_ROOT);
            t_errorChain unreported(t_errorChain::kDiscarding);
            if (server.Open(unreported, JoinPath(classKey, kind).c_str(), view) &&
                (server.ReadString(unreported, path, MAX_PATH, nullptr) ||
                 server.GetDefaultExpandString(unreported, path)) &&
                !path.empty()) {
                return true;
            }
        }
    }
    path.clear();
    return false;
}
