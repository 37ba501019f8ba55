#include "config/runtime_file.h"

namespace n_config {

void t_configRuntimeFile::ReadItems()
{
    ReadSection(Text(), t_setting::kName, setting);
    items.Read(Text(), setting.cnt.Value());
    ReadSection(Text(), t_swtich::kName, swtich);
    ReadSection(Text(), t_pcaccountmanager::kName, pcAccountManager);
}

void t_configRuntimeFile::WriteItems()
{
    WriteSection(Text(), t_setting::kName, setting);
    items.Write(Text());
    WriteSection(Text(), t_swtich::kName, swtich);
    WriteSection(Text(), t_pcaccountmanager::kName, pcAccountManager);
}

} // namespace n_config
