#include "config/name_table.h"

#include <algorithm>

#include "base/ascii_case.h"

namespace n_config {

namespace {

int Compare(std::wstring_view name, std::uint32_t hash, const t_namedEntry& entry)
{
    if (hash != entry.hash) {
        return hash < entry.hash ? -1 : 1;
    }
    return CompareIgnoringCase(name, entry.Name());
}

// Turns a left link to a node of the same level into a right link.
t_namedEntry* Skew(t_namedEntry* root)
{
    t_namedEntry* const left = root->left;
    if (left == nullptr || left->level != root->level) {
        return root;
    }
    root->left = left->right;
    left->right = root;
    return left;
}

// Lifts the middle of two right links in a row within one level.
t_namedEntry* Split(t_namedEntry* root)
{
    t_namedEntry* const right = root->right;
    if (right == nullptr || right->right == nullptr || right->right->level != root->level) {
        return root;
    }
    root->right = right->left;
    right->left = root;
    ++right->level;
    return right;
}

// Returns the new root. The entry's level stays 0 when its name is there already.
t_namedEntry* InsertBelow(t_namedEntry* root, t_namedEntry& entry)
{
    if (root == nullptr) {
        entry.level = 1;
        return &entry;
    }
    const int order = Compare(entry.Name(), entry.hash, *root);
    if (order == 0) {
        return root;
    }
    t_namedEntry*& side = order < 0 ? root->left : root->right;
    side = InsertBelow(side, entry);
    return Split(Skew(root));
}

} // namespace

t_namedEntry* t_nameTable::Find(std::wstring_view name, std::uint32_t hash) const
{
    t_namedEntry* at = bucketCount != 0 ? buckets[hash % bucketCount] : nullptr;
    while (at != nullptr) {
        const int order = Compare(name, hash, *at);
        if (order == 0) {
            break;
        }
        at = order < 0 ? at->left : at->right;
    }
    return at;
}

void t_nameTable::Add(t_namedEntry& entry, std::pmr::memory_resource& arena)
{
    if (entryCount == bucketCount) {
        t_namedEntry** const old = buckets;
        const std::uint32_t oldCount = bucketCount;
        // Odd counts: the hash's low four bits come from little more than the last character.
        const std::uint32_t newCount = oldCount * 2 + 1;
        buckets = std::pmr::polymorphic_allocator<t_namedEntry*>(&arena).allocate(newCount);
        bucketCount = newCount;
        std::fill_n(buckets, newCount, nullptr);
        std::for_each(old, old + oldCount, [this](t_namedEntry* root) { InsertTree(root); });
    }
    Insert(entry);
    entryCount += entry.level != 0 ? 1 : 0;
}

void t_nameTable::Insert(t_namedEntry& entry)
{
    entry.level = 0;
    entry.left = entry.right = nullptr;
    t_namedEntry*& root = buckets[entry.hash % bucketCount];
    root = InsertBelow(root, entry);
}

void t_nameTable::InsertTree(t_namedEntry* root)
{
    if (root != nullptr) {
        t_namedEntry* const right = root->right;
        InsertTree(root->left);
        Insert(*root);
        InsertTree(right);
    }
}

} // namespace n_config
