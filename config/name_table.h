#pragma once

#include <cstdint>
#include <map>
#include <memory_resource>
#include <string_view>

// The records that a configuration text consists of, and the table that finds the named ones. All of them live in the
// arena of their file and are released with it. Lengths are in characters.
namespace n_config {

// One entry of an order list: a comment line, a key with its value, or a section. The texts are not terminated.
struct t_entry
{
    t_entry* next = nullptr;
    const wchar_t* name = nullptr;
    const wchar_t* value = nullptr; // or the comment
    std::uint32_t nameLength = 0;   // 0 for a comment
    std::uint32_t valueLength = 0;

    bool IsComment() const { return nameLength == 0; }
    std::wstring_view Name() const { return {name, nameLength}; }
    std::wstring_view Value() const { return {value, valueLength}; }
};

// Entries in the order of the file.
struct t_entryList
{
    t_entry* first = nullptr;
    t_entry* last = nullptr;
};

// A name as a table orders it: by its hash, then by the text without letter case.
class t_hashedName
{
public:
    //   name  must outlive this object
    explicit t_hashedName(std::wstring_view name);

    bool operator<(const t_hashedName& other) const;

private:
    std::uint32_t hash; // ElfHashIgnoringCase of the name
    std::wstring_view text;
};

// Finds keys or sections by name: a hash table of one bucket, which is a balanced tree. The hash has 28 bits and names
// that share one are easy to make, so a hostile file can put all of its names into one bucket whatever the number of
// buckets, and still must be read in reasonable time. More of them would save microseconds on a file of usual size.
using t_nameTable = std::pmr::map<t_hashedName, t_entry*>;

} // namespace n_config
