#include "catalogue/ime_file_maps.h"

#include <algorithm>

#include "base/ascii_case.h"
#include "base/elf_hash.h"

namespace {

constexpr std::size_t kNameBlockBytes = 131056;

// The index of names grows when it holds more than the high load of entries a bucket, and then to the optimal load. Its
// low load (0.25) would shrink it, but nothing is removed.
constexpr std::size_t kInitialBuckets = 17;
constexpr float kOptimalLoad = 0.75f;
constexpr float kHighLoad = 2.25f;

std::wstring_view CopyName(std::pmr::monotonic_buffer_resource& arena, std::wstring_view name)
{
    auto* const copy = static_cast<wchar_t*>(arena.allocate(name.size() * sizeof(wchar_t), alignof(wchar_t)));
    std::copy(name.begin(), name.end(), copy);
    return {copy, name.size()};
}

} // namespace

std::size_t t_imeFileMaps::t_nameHash::operator()(std::wstring_view name) const
{
    return ElfHashIgnoringCase(name);
}

bool t_imeFileMaps::t_nameEqual::operator()(std::wstring_view a, std::wstring_view b) const
{
    return EqualIgnoringCase(a, b);
}

// Profiles and plain layouts of one language are not ordered transitively, so that a descent of the tree can miss an
// equal record. Languages are: where more than one record is equal, the search walks the entries of the language, which
// stand together.
template <class Maps>
auto t_imeFileMaps::FindEqual(Maps& maps, const t_hkl& record) -> decltype(maps.recordIndex.end())
{
    const std::size_t number = maps.searchIndex.Find(record, 0);
    if (number == t_recordIndex::kNone) {
        return maps.recordIndex.end();
    }
    if (maps.searchIndex.Find(record, number + 1) == t_recordIndex::kNone) {
        return maps.recordEntries[number];
    }
    const auto [first, last] = maps.recordIndex.equal_range(record.langId);
    return std::find_if(first, last, [&record](const auto& entry) { return EqualHkl(entry.first, record); });
}

t_imeFileMaps::t_imeFileMaps()
    : indexNames(kNameBlockBytes), imeFileIndex(kInitialBuckets), recordNames(kNameBlockBytes)
{
    imeFileIndex.max_load_factor(kHighLoad);
}

void t_imeFileMaps::RegisterImeFile(std::wstring_view name, const t_hkl& record)
{
    if (const auto known = imeFileIndex.find(name); known != imeFileIndex.end()) {
        MergeHkl(known->second, record);
    } else {
        const auto grown = static_cast<float>(imeFileIndex.size() + 1);
        if (grown > kHighLoad * static_cast<float>(imeFileIndex.bucket_count())) {
            imeFileIndex.rehash(static_cast<std::size_t>(grown / kOptimalLoad));
        }
        imeFileIndex.emplace(CopyName(indexNames, name), record);
    }

    const std::wstring_view copy = CopyName(recordNames, name);
    if (const auto known = FindEqual(*this, record); known != recordIndex.end()) {
        known->second = copy;
    } else {
        searchIndex.Enter(record, recordEntries.size());
        recordEntries.push_back(recordIndex.emplace(record, copy).first);
    }
}

const t_hkl* t_imeFileMaps::FindByName(std::wstring_view name) const
{
    const auto found = imeFileIndex.find(name);
    return found == imeFileIndex.end() ? nullptr : &found->second;
}

const std::wstring_view* t_imeFileMaps::FindByRecord(const t_hkl& record) const
{
    const auto found = FindEqual(*this, record);
    return found == recordIndex.end() ? nullptr : &found->second;
}
