#include "catalogue/hkl_collector.h"

t_hklCollector::t_hklCollector(const t_hklList& list) : distinct(list.empty())
{
    for (const t_hkl& record : list) {
        Append(record);
    }
}

bool t_hklCollector::AddHkl(const t_hkl& record)
{
    if (IsEmptyHkl(record)) {
        return false;
    }
    const std::size_t equal = index.Find(record, 0);
    if (equal != t_recordIndex::kNone) {
        Merge(equal, record);
        return false;
    }
    Append(record);
    return true;
}

void t_hklCollector::DedupeHklList()
{
    if (distinct) {
        return;
    }
    distinct = true;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (elements[i].removed) {
            continue;
        }
        for (std::size_t j = i + 1; (j = index.Find(elements[i].record, j)) != t_recordIndex::kNone; ++j) {
            Merge(i, elements[j].record);
            Remove(j);
        }
    }
}

t_hklList t_hklCollector::List() const
{
    t_hklList list;
    list.reserve(elements.size());
    for (const t_element& element : elements) {
        if (!element.removed) {
            list.push_back(element.record);
        }
    }
    return list;
}

void t_hklCollector::Append(const t_hkl& record)
{
    index.Enter(record, elements.size());
    elements.push_back({record});
}

// An element that takes another identity may equal elements that it did not equal before.
void t_hklCollector::Merge(std::size_t position, const t_hkl& source)
{
    t_hkl& target = elements[position].record;
    const t_hkl before = target;
    MergeHkl(target, source);
    if (target.klid != before.klid || target.clsid != before.clsid || target.profileGuid != before.profileGuid) {
        index.Leave(before, position);
        index.Enter(target, position);
        distinct = false;
    }
}

void t_hklCollector::Remove(std::size_t position)
{
    index.Leave(elements[position].record, position);
    elements[position].removed = true;
}
