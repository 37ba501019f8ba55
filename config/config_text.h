#pragma once

#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>

#include "base/simple_array.h"
#include "config/name_table.h"

namespace n_config {

// The text without the spaces, tabs and carriage returns around it.
std::wstring_view TrimWhiteSpace(std::wstring_view text);

// The content of one configuration file: comment lines and sections in order, each section with its comment lines and
// keys in order. Names are found without letter case. The records live in one arena, beside the text that they point
// into.
//
// The keys of a section are entered in its table when one of them is first looked for: a file is read to find a few of
// them. So no two threads may look for keys at once.
//
// A key that stands in a section more than once has the value of its first line, as the system's own profile functions
// read it; the other lines are kept and written back with their own values.
//
// Memory that cannot be had raises std::bad_alloc; the object may then be cleared or destroyed.
class t_configText
{
public:
    t_configText() = default;
    t_configText(const t_configText&) = delete;
    t_configText& operator=(const t_configText&) = delete;

    // Replaces the content by that of a text. Lines end with LF or CR LF; what is no comment, header or key line is
    // left out.
    void Parse(std::wstring text);

    // The same with a text that lies in memory which now belongs to this object.
    //   memory  not null
    void Parse(std::unique_ptr<wchar_t[]> memory, std::wstring_view text);

    // Returns the text to be stored, every line ended by CR LF. A key that begins with ";" or "[" gets a space before
    // it: only an indented line can be such a key when it is read again.
    //   mark  what the text shall begin with
    std::wstring Render(std::wstring_view mark = {}) const;

    // Drops everything.
    void Clear();

    // Returns the value of a key, or none. The view is valid until the key is set or the content replaced.
    std::optional<std::wstring_view> FindValue(std::wstring_view section, std::wstring_view key) const;

    // Sets the value of a key; the section and the key are appended when they are missing. The memory of the former
    // value is not used again before Clear.
    //   section, key  names as a file can hold them: not empty, without surrounding white space, line ends, "]" or "="
    //   value         read again without surrounding white space, and up to its first line end
    void SetValue(std::wstring_view section, std::wstring_view key, std::wstring_view value);

    // The names of the sections in order, valid until the content is replaced.
    itl::ImmSimpleArray<std::wstring_view> SectionNames() const;

private:
    struct t_section;

    void ParseSource(std::wstring_view text);
    template <class Entry, class... Args>
    Entry& Append(t_entryList& list, std::wstring_view name, std::wstring_view value, Args... arguments);
    std::wstring_view Store(std::wstring_view text);
    t_section* FindSection(std::wstring_view name) const;
    t_section& AppendSection(std::wstring_view name);

    // What was parsed lies in one of them.
    std::wstring source;
    std::unique_ptr<wchar_t[]> sourceMemory;
    std::size_t sourceUnits = 0;
    std::pmr::monotonic_buffer_resource arena;
    t_entryList order;
    t_nameTable sections{&arena};
};

} // namespace n_config
