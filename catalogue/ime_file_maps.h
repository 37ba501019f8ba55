#pragma once

#include <map>
#include <memory_resource>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "catalogue/hkl.h"
#include "catalogue/record_index.h"

// Which IME file belongs to which record, looked up from either side. Names are copied into arenas that grow by blocks
// and live as long as the maps; nothing is ever removed. File names compare without letter case.
class t_imeFileMaps
{
public:
    t_imeFileMaps();
    t_imeFileMaps(const t_imeFileMaps&) = delete;
    t_imeFileMaps& operator=(const t_imeFileMaps&) = delete;

    // Enters a pair in both maps. A record that is stored under the name already is merged with the new one (MergeHkl);
    // a stored record that equals the new one keeps its place and takes the new name.
    //   name  file name; copied
    void RegisterImeFile(std::wstring_view name, const t_hkl& record);

    // The record stored under a file name, or null. It stays valid, but later registrations may change it.
    const t_hkl* FindByName(std::wstring_view name) const;

    // The file name of the first stored record that equals the given one, or null. The same holds for it.
    const std::wstring_view* FindByRecord(const t_hkl& record) const;

private:
    struct t_nameHash
    {
        std::size_t operator()(std::wstring_view name) const;
    };
    struct t_nameEqual
    {
        bool operator()(std::wstring_view a, std::wstring_view b) const;
    };
    struct t_recordLess
    {
        using is_transparent = void;
        bool operator()(const t_hkl& a, const t_hkl& b) const { return LessHkl(a, b); }
        bool operator()(const t_hkl& a, std::uint16_t langId) const { return a.langId < langId; }
        bool operator()(std::uint16_t langId, const t_hkl& b) const { return langId < b.langId; }
    };

    using t_recordMap = std::map<t_hkl, std::wstring_view, t_recordLess>;

    // The first entry of recordIndex whose record equals the given one, or the map's end.
    template <class Maps>
    static auto FindEqual(Maps& maps, const t_hkl& record) -> decltype(maps.recordIndex.end());

    std::pmr::monotonic_buffer_resource indexNames;
    std::unordered_map<std::wstring_view, t_hkl, t_nameHash, t_nameEqual> imeFileIndex;
    std::pmr::monotonic_buffer_resource recordNames;
    t_recordMap recordIndex;
    std::vector<t_recordMap::iterator> recordEntries; // in the order of registration
    t_recordIndex searchIndex;                        // finds their numbers
};
