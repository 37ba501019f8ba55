#pragma once

#include <cstdint>
#include <memory_resource>
#include <string_view>

// The records that a configuration text consists of, and the hash table that finds the named ones. All of them live in
// the arena of their file and are released with it; none has a destructor. Lengths are in characters.
namespace n_config {

// One entry of an order list: a comment line, a key with its value, or a section.
struct t_entry
{
    t_entry* next = nullptr;
    const wchar_t* text = nullptr; // a comment; or a name, a terminator and a value; always terminated
    std::uint32_t nameLength = 0;  // 0 for a comment
    std::uint32_t valueLength = 0; // of the value, or of the comment

    bool IsComment() const { return nameLength == 0; }
    std::wstring_view Name() const { return {text, nameLength}; }
    std::wstring_view Value() const { return {IsComment() ? text : text + nameLength + 1, valueLength}; }
};

// Entries in the order of the file.
struct t_entryList
{
    t_entry* first = nullptr;
    t_entry* last = nullptr;
};

// A key or a section, and its place in a name table.
struct t_namedEntry : t_entry
{
    std::uint32_t hash = 0; // ElfHashIgnoringCase of the name
    std::uint32_t level = 0;
    t_namedEntry* left = nullptr;
    t_namedEntry* right = nullptr;
};

// Finds entries by name without letter case. An entry's bucket is its hash modulo the number of buckets, which grows
// with the number of entries; inside a bucket entries are ordered by hash, then by name.
//
// A bucket is a balanced tree (an AA tree), not a list: the hash has 28 bits and names that share one are easy to make,
// so a hostile file can put all of its names into one bucket and still must be read in reasonable time.
class t_nameTable
{
public:
    // Returns the entry of that name, or null.
    //   hash  ElfHashIgnoringCase(name)
    t_namedEntry* Find(std::wstring_view name, std::uint32_t hash) const;

    // Adds an entry unless the table holds its name already.
    //   entry  its name and hash are set
    //   arena  gives the memory for the buckets; the same at every call
    void Add(t_namedEntry& entry, std::pmr::memory_resource& arena);

private:
    void Insert(t_namedEntry& entry);
    void InsertTree(t_namedEntry* root);

    t_namedEntry** buckets = nullptr;
    std::uint32_t bucketCount = 0;
    std::uint32_t entryCount = 0;
};

} // namespace n_config
