#include "catalogue/record_index.h"

#include <algorithm>

// A plain layout equals any record of its language and klid; a profile equals the plain ones among these, and the
// profile of its language and GUIDs.

namespace {

enum t_kind : std::uint64_t
{
    kPlainByKlid,
    kProfileByKlid,
    kProfileByGuids,
};

std::uint64_t Pack(t_kind kind, std::uint16_t langId, std::uint32_t klid)
{
    return kind << 48 | std::uint64_t{langId} << 32 | klid;
}

} // namespace

t_recordIndex::t_key t_recordIndex::KlidKey(const t_hkl& record, std::size_t position, bool profile)
{
    return {Pack(profile ? kProfileByKlid : kPlainByKlid, record.langId, record.klid), {}, {}, position};
}

t_recordIndex::t_key t_recordIndex::GuidKey(const t_hkl& record, std::size_t position)
{
    return {Pack(kProfileByGuids, record.langId, 0), record.clsid, record.profileGuid, position};
}

void t_recordIndex::Enter(const t_hkl& record, std::size_t position)
{
    const bool profile = IsTextServiceProfile(record);
    keys.insert(KlidKey(record, position, profile));
    if (profile) {
        keys.insert(GuidKey(record, position));
    }
}

void t_recordIndex::Leave(const t_hkl& record, std::size_t position)
{
    const bool profile = IsTextServiceProfile(record);
    keys.erase(KlidKey(record, position, profile));
    if (profile) {
        keys.erase(GuidKey(record, position));
    }
}

std::size_t t_recordIndex::Find(const t_hkl& record, std::size_t from) const
{
    return std::min(First(KlidKey(record, from, false)),
                    First(IsTextServiceProfile(record) ? GuidKey(record, from) : KlidKey(record, from, true)));
}

// The position of the first entry from a key on that differs from it by no more than that.
std::size_t t_recordIndex::First(const t_key& key) const
{
    const auto found = keys.lower_bound(key);
    return found != keys.end() && found->kindLanguageAndKlid == key.kindLanguageAndKlid && found->clsid == key.clsid &&
                   found->profileGuid == key.profileGuid
               ? found->position
               : kNone;
}
