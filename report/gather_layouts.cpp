#include "base/path.h"
#include "base/system_directory.h"
#include "catalogue/hkl_manager.h"
#include "catalogue/text_service_profiles.h"
#include "report/described_errors.h"
#include "report/file_facts.h"
#include "report/gather.h"
#include "report/layout_key.h"
#include "report/registry_values.h"

namespace n_report {

namespace {

// The name of a profile. Its language's key is looked for among all of the service: the record has the language of the
// layout that the profile stands for.
t_str ReadProfileName(const t_layout& layout)
{
    t_errorChain unreported(t_errorChain::kDiscarding);
    t_reg languages(HKEY_LOCAL_MACHINE);
    if (!languages.Open(
            unreported,
            FormatStr(L"SoftWare\\Microsoft\\CTF\\TIP\\%s\\LanguageProfile", layout.service.c_str()).c_str(),
            t_regAccess::view32)) {
        return {};
    }
    t_texts ignored;
    for (const t_str& language : ReadSubKeys(languages.Handle(), L"", ignored)) {
        t_reg profile(languages);
        if (profile.Open(unreported, JoinPath(language, layout.profile).c_str(), t_regAccess::view32)) {
            return ReadDisplayName(profile, L"Display Description");
        }
    }
    return {};
}

// Whether the file that a server's registration names is missing. A bare name is one of the system directory.
bool IsServerMissing(const t_str& server)
{
    wchar_t expanded[MAX_PATH] = {};
    const DWORD length = ExpandEnvironmentStringsW(server.c_str(), expanded, ARRAYSIZE(expanded));
    t_path path(length != 0 && length <= ARRAYSIZE(expanded) ? expanded : server.c_str());
    if (path.find(L'\\') == t_path::npos) {
        t_path systemDirectory;
        ReadSystemDirectory(systemDirectory);
        path = JoinPath(systemDirectory, path);
    }
    return !ReadFile(path).present;
}

t_layout MakeLayout(const t_hklManager_InstallWrap& manager, const t_layoutKeys& keys, const t_hkl& record)
{
    t_layout layout;
    layout.klid = record.klid;
    layout.handle = record.hkl;
    layout.langId = record.langId;
    if (t_layoutKey key; record.klid != 0 && ReadLayoutKey(keys, record.klid, key)) {
        layout.keyImeFile = key.imeFile;
        layout.name = key.name;
        layout.odd = std::move(key.odd);
    }
    layout.imeFile = layout.keyImeFile;
    if (IsTextServiceProfile(record)) {
        t_errorChain unreported(t_errorChain::kDiscarding);
        manager.GetImeFileName(unreported, layout.imeFile, record);
        layout.service = FormatGuid(record.clsid);
        layout.profile = FormatGuid(record.profileGuid);
        if (const t_str name = ReadProfileName(layout); !name.empty()) {
            layout.name = name;
        }
        layout.serverMissing = FindServerPath(record.clsid, layout.server) && IsServerMissing(layout.server);
    }
    return layout;
}

} // namespace

t_layouts GatherLayouts()
{
    t_layouts layouts;
    t_hklManager_InstallWrap manager;
    t_errorChain errors;
    t_hklList records;
    if (!manager.GetLayoutList(errors, records)) {
        layouts.unseen.push_back(DescribeErrors(errors));
    }
    const t_layoutKeys keys;
    for (const t_hkl& record : records) {
        layouts.records.push_back(MakeLayout(manager, keys, record));
    }
    return layouts;
}

} // namespace n_report
