#include "base/reg.h"
#include "report/file_facts.h"
#include "report/gather.h"
#include "runtime/product_version.h"
#include "runtime/runtime.h"

namespace n_report {

namespace {

constexpr const wchar_t* kHelperFiles[] = {L"TarvoLayout.exe", L"TarvoExe.exe", L"TarvoReport.exe"};
constexpr const wchar_t* kSwitches[] = {L"EnErrorLog", L"EnablePerf", L"EnableFunPerf"};

t_place InstallPlace(const t_runtime& runtime)
{
    t_errorChain unreported;
    t_reg key(HKEY_LOCAL_MACHINE);
    t_str registered;
    const bool fromRegistry = key.Open(unreported, kProductKey, t_regAccess::read) &&
                              key.ReadString(unreported, registered, MAX_PATH, L"InstallPath") && !registered.empty();
    return {runtime.InstallPath(), fromRegistry ? L"the registry" : L"this program's folder"};
}

void ReadEnvironmentFile(const t_runtime& runtime, t_product& product)
{
    const t_path path = JoinPath(runtime.LocalLowPath(), L"TarvoPY\\env.ini");
    if (!ReadFile(path).present) {
        return;
    }
    product.envFile = path;
    t_errorChain unreported;
    n_config::t_configFile file;
    file.Load(unreported, path.c_str());
    if (const auto named = file.Text().FindValue(L"user", L"path")) {
        product.envUserPath = t_str(std::wstring(*named));
    }
}

void ReadSwitches(t_product& product)
{
    t_errorChain unreported;
    t_reg key(HKEY_CURRENT_USER);
    const bool isOpen = key.Open(unreported, kProductKey, t_regAccess::view32);
    for (const wchar_t* const name : kSwitches) {
        t_switch item{name, {}};
        if (std::uint32_t value = 0; isOpen && key.ReadInt(unreported, value, name)) {
            item.value = value;
        }
        product.switches.push_back(std::move(item));
    }
}

t_str ValueText(std::int32_t value)
{
    return FormatStr(L"%d", value);
}

const t_str& ValueText(const t_str& value)
{
    return value;
}

// Collects the items of the configuration that differ from their defaults.
class t_settingList
{
public:
    explicit t_settingList(t_list<t_setting>& settingsToFill) : settings(settingsToFill) {}

    template <class Value>
    void Compare(const t_str& section, const wchar_t* key, const Value& value, const Value& initial)
    {
        if (!(value == initial)) {
            settings.push_back({section, key, ValueText(value), ValueText(initial)});
        }
    }

private:
    t_list<t_setting>& settings;
};

void ReadSettings(t_runtime& runtime, t_product& product)
{
    t_path configFile, globalData;
    runtime.GetDataFilePaths(configFile, globalData);
    if (runtime.Config() == nullptr || !ReadFile(configFile).present) {
        return;
    }
    product.configFile = configFile;
    const n_config::t_configRuntimeFile& config = *runtime.Config();
    const n_config::t_configRuntimeFile initial(config.Option());
    t_settingList list(product.settings);
    list.Compare(L"setting", L"cnt", config.Cnt(), initial.Cnt());
    list.Compare(L"setting", L"version", config.Version(), initial.Version());
    std::uint32_t number = 0;
    for (const auto& item : config.Items()) {
        const n_config::t_configRuntimeFile::t_item initialItem;
        const t_str section = FormatStr(L"item %u of those present", ++number);
        list.Compare(section, L"process", item->process.Value(), initialItem.process.Value());
        list.Compare(section, L"type", item->type.Value(), initialItem.type.Value());
        list.Compare(section, L"company", item->company.Value(), initialItem.company.Value());
        list.Compare(section, L"version", item->version.Value(), initialItem.version.Value());
        list.Compare(section, L"command", item->command.Value(), initialItem.command.Value());
        list.Compare(section, L"res", item->res.Value(), initialItem.res.Value());
    }
    list.Compare(L"switch", L"sapi", config.Sapi(), initial.Sapi());
    list.Compare(L"pcaccountmanager", L"pcam", config.Pcam(), initial.Pcam());
}

} // namespace

t_product GatherProduct(t_runtime& runtime, const t_pendingOperations& queued)
{
    t_product product;
    product.version = ProductVersion().text;
    product.build = runtime.BuildNumber();
    product.installPath = InstallPlace(runtime);
    product.dataPath = {runtime.DataPath(), L"the install path"};
    product.userPath = {runtime.UserPath(),
                        runtime.UserPath() == runtime.LocalLowPath() ? L"the LocalLow folder" : L"env.ini"};
    ReadEnvironmentFile(runtime, product);
    ReadSwitches(product);
    ReadSettings(runtime, product);
    if (!runtime.InstallPath().empty()) {
        for (const wchar_t* const name : kHelperFiles) {
            product.files.push_back(ReadVerifiedFile(JoinPath(runtime.InstallPath(), name)));
        }
        for (const t_pendingOperation& operation : queued) {
            if (ConcernsPath(operation, runtime.InstallPath())) {
                product.pending.push_back(operation);
            }
        }
    }
    return product;
}

} // namespace n_report
