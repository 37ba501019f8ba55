#pragma once

#include <cstddef>
#include <vector>

#include "catalogue/hkl.h"
#include "catalogue/record_index.h"

// The list of records while it is made. Searches go through an index: a machine can have thousands of layouts, and to
// compare every record with all others takes longer than to read them.
class t_hklCollector
{
public:
    // Goes on with a list, which may have elements that are equal.
    explicit t_hklCollector(const t_hklList& list);

    // Appends a record to the list, or merges it into the first element that equals it. An empty record changes
    // nothing. Returns whether the record was appended.
    bool AddHkl(const t_hkl& record);

    // Merges every element into the first one before it that equals it, keeping the order. A merge may make the element
    // equal to later ones that it did not equal before; what it was compared with already is not looked at again.
    void DedupeHklList();

    t_hklList List() const;

private:
    struct t_element
    {
        t_hkl record;
        bool removed = false; // it keeps its place, so that those of later elements stay what the index knows
    };

    void Append(const t_hkl& record);
    void Merge(std::size_t position, const t_hkl& source);
    void Remove(std::size_t position);

    std::vector<t_element> elements;
    t_recordIndex index;
    bool distinct; // no two elements are equal
};
