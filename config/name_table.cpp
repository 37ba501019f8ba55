#include "config/name_table.h"

#include "base/ascii_case.h"
#include "base/elf_hash.h"

namespace n_config {

t_hashedName::t_hashedName(std::wstring_view name) : hash(ElfHashIgnoringCase(name)), text(name) {}

bool t_hashedName::operator<(const t_hashedName& other) const
{
    return hash != other.hash ? hash < other.hash : CompareIgnoringCase(text, other.text) < 0;
}

} // namespace n_config
