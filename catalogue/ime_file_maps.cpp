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

// The first entry whose record equals the given one, or the map's end. Profiles and plain layouts of one language are
// not ordered transitively, so that a descent of the tree can miss an equal record. Languages are: the search walks the
// entries of the record's language, which stand together.
template <class RecordIndex>
auto FindEqual(RecordIndex& index, const t_hkl& record)
{
    const auto [first, last] = index.equal_range(record.langId);
    const auto found =
        std::find_if(first, last, [&record](const auto& entry) { return EqualHkl(entry.first, record); });
    return found == last ? index.end() : found;
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
    if (const auto equal = FindEqual(recordIndex, record); equal != recordIndex.end()) {
        equal->second = copy;
    } else {
        recordIndex.emplace(record, copy);
    }
}

const t_hkl* t_imeFileMaps::FindByName(std::wstring_view name) const
{
    const auto found = imeFileIndex.find(name);
    return found == imeFileIndex.end() ? nullptr : &found->second;
}

const std::wstring_view* t_imeFileMaps::FindByRecord(const t_hkl& record) const
{
    const auto found = FindEqual(recordIndex, record);
    return found == recordIndex.end() ? nullptr : &found->second;
}
