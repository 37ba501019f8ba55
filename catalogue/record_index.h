#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <set>

#include "catalogue/hkl.h"

// Finds, among numbered records, those that equal a given one (EqualHkl) without comparing it with each. No order of
// the records themselves would do, since equality is not transitive: each record is entered under what another one can
// equal it by. Numbers are positions in a list that the caller keeps.
class t_recordIndex
{
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    t_recordIndex() = default;
    t_recordIndex(const t_recordIndex&) = delete;
    t_recordIndex& operator=(const t_recordIndex&) = delete;

    void Enter(const t_hkl& record, std::size_t position);

    // Takes a record out.
    //   record  as it was entered
    void Leave(const t_hkl& record, std::size_t position);

    // The lowest position from an index on whose record equals the given one, or kNone.
    std::size_t Find(const t_hkl& record, std::size_t from) const;

private:
    // What a record is entered under; the GUIDs are null where it is the klid.
    struct t_key
    {
        std::uint64_t kindLanguageAndKlid;
        t_guid clsid, profileGuid;
        std::size_t position;

        friend auto operator<=>(const t_key&, const t_key&) = default;
    };

    static t_key KlidKey(const t_hkl& record, std::size_t position, bool profile);
    static t_key GuidKey(const t_hkl& record, std::size_t position);
    std::size_t First(const t_key& key) const;

    std::pmr::monotonic_buffer_resource arena;
    std::pmr::set<t_key> keys{&arena};
};
