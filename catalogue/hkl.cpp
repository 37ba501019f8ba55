#include "catalogue/hkl.h"

namespace {

// The reverse of the usual sense: the order of the map of records hangs on it.
int CompareGuidReversed(const t_guid& a, const t_guid& b)
{
    const auto order = a <=> b;
    return order == 0 ? 0 : order < 0 ? 1 : -1;
}

} // namespace

bool IsTextServiceProfile(const t_hkl& record)
{
    return !IsNullGuid(record.clsid) && !IsNullGuid(record.profileGuid);
}

bool IsEmptyHkl(const t_hkl& record)
{
    return record.klid == 0 && IsNullGuid(record.clsid) && IsNullGuid(record.profileGuid);
}

bool IsPlainKeyboardLayout(const t_hkl& record)
{
    return !IsTextServiceProfile(record) && record.klid != 0 && !IsImeKlid(record.klid);
}

int CompareHkl(const t_hkl& a, const t_hkl& b)
{
    if (a.langId != b.langId) {
        return a.langId < b.langId ? -1 : 1;
    }
    if (IsTextServiceProfile(a) && IsTextServiceProfile(b)) {
        const int order = CompareGuidReversed(a.clsid, b.clsid);
        return order != 0 ? order : CompareGuidReversed(a.profileGuid, b.profileGuid);
    }
    return a.klid == b.klid ? 0 : a.klid < b.klid ? -1 : 1;
}

bool EqualHkl(const t_hkl& a, const t_hkl& b)
{
    return CompareHkl(a, b) == 0;
}

bool LessHkl(const t_hkl& a, const t_hkl& b)
{
    return CompareHkl(a, b) < 0;
}

void MergeHkl(t_hkl& target, const t_hkl& source)
{
    if (IsNullGuid(target.clsid)) {
        target.clsid = source.clsid;
    }
    if (IsNullGuid(target.profileGuid)) {
        target.profileGuid = source.profileGuid;
    }
    if (source.hkl != 0) {
        target.hkl = source.hkl;
    }
    if (source.langId != 0) {
        target.langId = source.langId;
    }
    if (source.klid != 0) {
        target.klid = source.klid;
    }
}
