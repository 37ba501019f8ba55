#include "config/config_text.h"

#include <algorithm>

namespace n_config {

struct t_configText::t_section : t_entry
{
    explicit t_section(std::pmr::memory_resource* arena) : keys(arena) {}

    t_entryList order;
    t_nameTable keys;
};

namespace {

constexpr wchar_t kLineEnd[] = L"\r\n";

// The entry of that name, or null.
t_entry* FindEntry(const t_nameTable& table, std::wstring_view name)
{
    const auto found = table.find(t_hashedName(name));
    return found != table.end() ? found->second : nullptr;
}

// The name in a line that begins with "["; empty when the line is no header.
std::wstring_view HeaderName(std::wstring_view line)
{
    const std::size_t bracket = line.find(L']');
    return bracket != line.npos ? TrimWhiteSpace(line.substr(1, bracket - 1)) : std::wstring_view();
}

// Appends a text with every lone LF spelled CR LF.
void AppendText(std::wstring& out, std::wstring_view text)
{
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t feed = std::min(text.find(L'\n', begin), text.size());
        out += text.substr(begin, feed - begin);
        if (feed < text.size()) {
            out += feed > 0 && text[feed - 1] == L'\r' ? L"\n" : kLineEnd;
        }
        begin = feed + 1;
    }
}

// Whether a line that begins with this key would be read as something else than a key.
bool NeedsIndent(std::wstring_view key)
{
    return key.front() == L';' || key.front() == L'[' || key.front() == L'\0';
}

void AppendEntry(std::wstring& out, const t_entry& entry)
{
    if (!entry.IsComment()) {
        if (NeedsIndent(entry.Name())) {
            out += L' ';
        }
        AppendText(out, entry.Name());
        out += L'=';
    }
    AppendText(out, entry.Value());
    out += kLineEnd;
}

// The memory that an entry's text takes in the layout that t_entry states.
std::size_t StoredBytes(std::wstring_view name, std::wstring_view value)
{
    return ((name.empty() ? 0 : name.size() + 1) + value.size() + 1) * sizeof(wchar_t);
}

void StoreText(t_entry& entry, void* memory, std::wstring_view name, std::wstring_view value)
{
    wchar_t* const text = static_cast<wchar_t*>(memory);
    wchar_t* end = std::copy(name.begin(), name.end(), text);
    if (!name.empty()) {
        *end++ = L'\0';
    }
    end = std::copy(value.begin(), value.end(), end);
    *end = L'\0';
    entry.text = text;
    entry.nameLength = static_cast<std::uint32_t>(name.size());
    entry.valueLength = static_cast<std::uint32_t>(value.size());
}

} // namespace

std::wstring_view TrimWhiteSpace(std::wstring_view text)
{
    constexpr wchar_t kWhiteSpace[] = L" \t\r";
    text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
    return text.substr(0, text.find_last_not_of(kWhiteSpace) + 1);
}

void t_configText::Parse(std::wstring_view text)
{
    Clear();
    t_section* current = nullptr;
    while (!text.empty()) {
        const std::size_t feed = text.find(L'\n');
        std::wstring_view line = text.substr(0, feed);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (feed != text.npos && line.ends_with(L'\r')) {
            line.remove_suffix(1);
        }
        if (line.empty() || line.front() == L'\0') {
            continue;
        }
        if (line.front() == L';') {
            Append<t_entry>(current != nullptr ? current->order : order, {}, line);
        } else if (line.front() == L'[') {
            if (const std::wstring_view name = HeaderName(line); !name.empty()) {
                current = &OpenSection(name);
            }
        } else if (const std::size_t equals = line.find(L'='); current != nullptr && equals != line.npos) {
            if (const std::wstring_view key = TrimWhiteSpace(line.substr(0, equals)); !key.empty()) {
                AppendKey(*current, key, TrimWhiteSpace(line.substr(equals + 1)));
            }
        }
    }
}

std::wstring t_configText::Render() const
{
    std::wstring out;
    for (const t_entry* entry = order.first; entry != nullptr; entry = entry->next) {
        if (entry->IsComment()) {
            AppendEntry(out, *entry);
            continue;
        }
        if (entry != order.first) {
            out += kLineEnd;
        }
        out += L'[';
        AppendText(out, entry->Name());
        out += L']';
        out += kLineEnd;
        for (const t_entry* line = static_cast<const t_section*>(entry)->order.first; line; line = line->next) {
            AppendEntry(out, *line);
        }
    }
    return out;
}

void t_configText::Clear()
{
    order = {};
    sections.clear(); // while its nodes are there: the next line takes them away
    arena.release();
}

std::optional<std::wstring_view> t_configText::FindValue(std::wstring_view section, std::wstring_view key) const
{
    const t_section* const found = FindSection(section);
    const t_entry* const entry = found != nullptr ? FindEntry(found->keys, key) : nullptr;
    return entry != nullptr ? std::optional(entry->Value()) : std::nullopt;
}

void t_configText::SetValue(std::wstring_view section, std::wstring_view key, std::wstring_view value)
{
    t_section& opened = OpenSection(section);
    if (t_entry* const entry = FindEntry(opened.keys, key)) {
        StoreText(*entry, arena.allocate(StoredBytes(key, value), alignof(wchar_t)), entry->Name(), value);
    } else {
        AppendKey(opened, key, value);
    }
}

itl::ImmSimpleArray<std::wstring_view> t_configText::SectionNames() const
{
    itl::ImmSimpleArray<std::wstring_view> names;
    for (const t_entry* entry = order.first; entry != nullptr; entry = entry->next) {
        if (!entry->IsComment()) {
            names.push_back(entry->Name());
        }
    }
    return names;
}

// Carves an entry with its text from the arena and puts it at the end of a list. It is never destroyed: what it owns
// lies in the arena too.
template <class Entry, class... Args>
Entry& t_configText::Append(t_entryList& list, std::wstring_view name, std::wstring_view value, Args... arguments)
{
    static_assert(sizeof(Entry) % alignof(wchar_t) == 0);
    void* const block = arena.allocate(sizeof(Entry) + StoredBytes(name, value), alignof(Entry));
    Entry& entry = *new (block) Entry{arguments...};
    StoreText(entry, static_cast<char*>(block) + sizeof(Entry), name, value);
    (list.last != nullptr ? list.last->next : list.first) = &entry;
    list.last = &entry;
    return entry;
}

t_configText::t_section* t_configText::FindSection(std::wstring_view name) const
{
    return static_cast<t_section*>(FindEntry(sections, name));
}

// The section of that name, appended when it is missing.
t_configText::t_section& t_configText::OpenSection(std::wstring_view name)
{
    if (t_section* const found = FindSection(name)) {
        return *found;
    }
    t_section& section = Append<t_section>(order, name, {}, &arena);
    sections.try_emplace(t_hashedName(section.Name()), &section);
    return section;
}

// A key that the section has already keeps its first entry in the table.
void t_configText::AppendKey(t_section& section, std::wstring_view key, std::wstring_view value)
{
    t_entry& entry = Append<t_entry>(section.order, key, value);
    section.keys.try_emplace(t_hashedName(entry.Name()), &entry);
}

} // namespace n_config
