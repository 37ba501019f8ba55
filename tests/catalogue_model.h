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
    const auto fields = [](const t_guid& g) { return std::tuple(g.data1, g.data2, g.data3, std::to_array(g.data4)); };
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

// Digits at fixed places, whatever separates them, by the C library; it would take signs, blanks and "0x" too.
inline bool ReadGuid(std::wstring text, t_guid& guid)
{
    text = text.substr(text.starts_with(L'{'));
    for (const std::size_t separator : {23u, 18u, 13u, 8u}) {
        text.erase(std::min(separator, text.size()), 1);
    }
    text.resize(32, L'?');
    if (text.find_first_not_of(L"0123456789abcdefABCDEF") != text.npos) {
        return false;
    }
    const auto field = [&text](std::size_t at, std::size_t digits) { return Hex(text.substr(at, digits)); };
    guid = {field(0, 8), static_cast<std::uint16_t>(field(8, 4)), static_cast<std::uint16_t>(field(12, 4)), {}};
    for (std::size_t i = 0; i < 8; ++i) {
        guid.data4[i] = static_cast<std::uint8_t>(field(16 + 2 * i, 2));
    }
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

// Everything in the records, to compare whole lists by.
inline std::wstring Text(const t_records& list)
{
    t_str text;
    for (const t_hkl& r : list) {
        text.AppendFormat(L"\n%I64x %x %x ", r.hkl, r.klid, r.langId)
            << FormatGuid(r.clsid) << FormatGuid(r.profileGuid);
    }
    return text;
}

} // namespace n_model
