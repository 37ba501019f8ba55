#pragma once

#include <algorithm>
#include <array>
#include <cwchar>
#include <string>
#include <tuple>

#include "catalogue/hkl.h"

// The catalogue's algorithms over again, step by step as they are stated and without regard to time: what the product's
// own code is compared with on random records and registries.
namespace n_model {

using t_records = std::vector<t_hkl>;

inline bool IsNull(const t_guid& guid)
{
    return guid == t_guid{};
}

inline bool IsProfile(const t_hkl& record)
{
    return !IsNull(record.clsid) && !IsNull(record.profileGuid);
}

inline int CompareGuids(const t_guid& a, const t_guid& b)
{
    const auto fields = [](const t_guid& guid) {
        std::array<std::uint32_t, 11> all{guid.data1, guid.data2, guid.data3};
        std::copy(std::begin(guid.data4), std::end(guid.data4), all.begin() + 3);
        return all;
    };
    return fields(a) < fields(b) ? 1 : fields(a) > fields(b) ? -1 : 0;
}

inline int Compare(const t_hkl& a, const t_hkl& b)
{
    if (a.langId != b.langId) {
        return a.langId < b.langId ? -1 : 1;
    }
    if (IsProfile(a) && IsProfile(b)) {
        const int classes = CompareGuids(a.clsid, b.clsid);
        return classes != 0 ? classes : CompareGuids(a.profileGuid, b.profileGuid);
    }
    return a.klid < b.klid ? -1 : a.klid > b.klid ? 1 : 0;
}

inline void Merge(t_hkl& target, const t_hkl& source)
{
    target.clsid = IsNull(target.clsid) ? source.clsid : target.clsid;
    target.profileGuid = IsNull(target.profileGuid) ? source.profileGuid : target.profileGuid;
    target.hkl = source.hkl != 0 ? source.hkl : target.hkl;
    target.langId = source.langId != 0 ? source.langId : target.langId;
    target.klid = source.klid != 0 ? source.klid : target.klid;
}

inline bool Add(t_records& list, const t_hkl& record)
{
    if (record.klid == 0 && IsNull(record.clsid) && IsNull(record.profileGuid)) {
        return false;
    }
    for (t_hkl& element : list) {
        if (Compare(element, record) == 0) {
            Merge(element, record);
            return false;
        }
    }
    list.push_back(record);
    return true;
}

inline void Dedupe(t_records& list)
{
    for (std::size_t i = 0; i < list.size(); ++i) {
        for (std::size_t j = i + 1; j < list.size();) {
            if (Compare(list[i], list[j]) == 0) {
                Merge(list[i], list[j]);
                list.erase(list.begin() + static_cast<std::ptrdiff_t>(j));
            } else {
                ++j;
            }
        }
    }
}

inline std::uint32_t Hex(const std::wstring& text)
{
    return static_cast<std::uint32_t>(std::wcstoul(text.c_str(), nullptr, 16));
}

// Digits at fixed places, by the C library; it would take signs, blanks and "0x" too.
inline bool ReadGuid(std::wstring text, t_guid& guid)
{
    text = text.substr(text.starts_with(L'{'));
    std::uint32_t fields[11] = {};
    const std::size_t places[] = {0, 9, 14, 19, 21, 24, 26, 28, 30, 32, 34};
    for (std::size_t i = 0; i < 11; ++i) {
        const std::wstring digits = places[i] < text.size() ? text.substr(places[i], i == 0 ? 8 : i < 3 ? 4 : 2) : L"";
        if (digits.size() != (i == 0  ? 8u
                              : i < 3 ? 4u
                                      : 2u) ||
            digits.find_first_not_of(L"0123456789abcdefABCDEF") != digits.npos) {
            return false;
        }
        fields[i] = Hex(digits);
    }
    guid = {fields[0], static_cast<std::uint16_t>(fields[1]), static_cast<std::uint16_t>(fields[2]), {}};
    std::copy(fields + 3, fields + 11, guid.data4);
    return true;
}

// The name as it is compared: 'A' to 'Z' lowered.
inline std::wstring Fold(std::wstring name)
{
    for (wchar_t& unit : name) {
        unit = static_cast<wchar_t>(unit >= 'A' && unit <= 'Z' ? unit + 32 : unit);
    }
    return name;
}

// Everything in a record, to compare whole lists by.
using t_fields = std::tuple<std::uint64_t, std::uint32_t, std::uint16_t, t_guid, t_guid>;

template <class List>
std::vector<t_fields> Fields(const List& list)
{
    std::vector<t_fields> all;
    for (const t_hkl& r : list) {
        all.emplace_back(r.hkl, r.klid, r.langId, r.clsid, r.profileGuid);
    }
    return all;
}

} // namespace n_model
