#pragma once

#include "config/array_section.h"
#include "config/config_file.h"

namespace n_config {

// "runtime.ini", the configuration of the runtime environment.
class t_configRuntimeFile : public t_configFile
{
public:
    struct t_setting
    {
        static constexpr wchar_t kName[] = L"setting";

        t_int cnt{L"cnt"};
        t_int version{L"version"};

        auto Keys() { return std::tie(cnt, version); }
    };

    struct t_swtich
    {
        static constexpr wchar_t kName[] = L"switch";

        t_int sapi{L"sapi"};

        auto Keys() { return std::tie(sapi); }
    };

    struct t_pcaccountmanager
    {
        static constexpr wchar_t kName[] = L"pcaccountmanager";

        t_int pcam{L"pcam", 1};

        auto Keys() { return std::tie(pcam); }
    };

    // One entry of the item array: what to do in a host process.
    struct t_item
    {
        t_str process{L"process"};
        t_int type{L"type"};
        t_str company{L"company"};
        t_str version{L"version"};
        t_str command{L"command"};
        t_str res{L"res"};

        auto Keys() { return std::tie(process, type, company, version, command, res); }
    };

    //   runtimeOption  kept for the runtime
    explicit t_configRuntimeFile(bool runtimeOption) : option(runtimeOption) {}

    bool Option() const { return option; }

    // The number of items that the file announces; any number, below 0 too.
    std::int32_t Cnt() const { return setting.cnt.Value(); }
    std::int32_t Version() const { return setting.version.Value(); }
    // The items that the file holds, in the order of their numbers: those of "item0", "item1", … below Cnt().
    const t_arraySection<t_item>::t_elements& Items() const { return items.Elements(); }
    std::int32_t Sapi() const { return swtich.sapi.Value(); }
    std::int32_t Pcam() const { return pcAccountManager.pcam.Value(); }

protected:
    void ReadItems() override;
    void WriteItems() override;

private:
    bool option;
    t_setting setting;
    t_arraySection<t_item> items{L"item"};
    t_swtich swtich;
    t_pcaccountmanager pcAccountManager;
};

} // namespace n_config
