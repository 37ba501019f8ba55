#include "config/config_text.h"

#include <algorithm>
#include <utility>

namespace n_config {

struct t_configText::t_section : t_entry
{
    explicit t_section(std::pmr::memory_resource* arena) : keys(arena) {}

    // A key that the section has already keeps its first entry in the table.
    void EnterKey(t_entry& entry) { keys.try_emplace(t_hashedName(entry.Name()), &entry); }

    // The entry of a key, or null.
    t_entry* FindKey(std::wstring_view key);

    t_entryList order;
    t_nameTable keys;
    bool entered = false; // whether the keys are in the table
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

constexpr bool IsWhiteSpace(wchar_t unit)
{
    return unit == L' ' || unit == L'\t' || unit == L'\r';
}

} // namespace

std::wstring_view TrimWhiteSpace(std::wstring_view text)
{
    while (!text.empty() && IsWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

t_entry* t_configText::t_section::FindKey(std::wstring_view key)
{
    if (!entered) {
        for (t_entry* entry = order.first; entry != nullptr; entry = entry->next) {
            if (!entry->IsComment()) {
                EnterKey(*entry);
            }
        }
        entered = true;
    }
    return FindEntry(keys, key);
}

void t_configText::Parse(std::wstring parsed)
{
    Clear();
    source = std::move(parsed);
    ParseSource(source);
}

void t_configText::Parse(std::unique_ptr<wchar_t[]> memory, std::wstring_view text)
{
    Clear();
    sourceMemory = std::move(memory);
    ParseSource(text);
}

void t_configText::ParseSource(std::wstring_view text)
{
    sourceUnits = text.size();
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
                t_section* const known = FindSection(name);
                current = known != nullptr ? known : &AppendSection(name);
            }
        } else if (const std::size_t equals = line.find(L'='); current != nullptr && equals != line.npos) {
            if (const std::wstring_view key = TrimWhiteSpace(line.substr(0, equals)); !key.empty()) {
                Append<t_entry>(current->order, key, TrimWhiteSpace(line.substr(equals + 1)));
            }
        }
    }
}

std::wstring t_configText::Render(std::wstring_view mark) const
{
    std::wstring out(mark);
    // What is not foreseen here, such as line ends in values, lets the text grow by doubling.
    out.reserve(mark.size() + sourceUnits + sourceUnits / 64);
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
    std::wstring().swap(source);
    sourceMemory.reset();
    sourceUnits = 0;
}

std::optional<std::wstring_view> t_configText::FindValue(std::wstring_view section, std::wstring_view key) const
{
    t_section* const found = FindSection(section);
    const t_entry* const entry = found != nullptr ? found->FindKey(key) : nullptr;
    return entry != nullptr ? std::optional(entry->Value()) : std::nullopt;
}

void t_configText::SetValue(std::wstring_view section, std::wstring_view key, std::wstring_view value)
{
    t_section* const known = FindSection(section);
    t_section& opened = known != nullptr ? *known : AppendSection(Store(section));
    if (t_entry* const entry = opened.FindKey(key)) {
        entry->value = Store(value).data();
        entry->valueLength = static_cast<std::uint32_t>(value.size());
    } else {
        const std::wstring_view name = Store(key);
        opened.EnterKey(Append<t_entry>(opened.order, name, Store(value)));
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

// Carves an entry from the arena and puts it at the end of a list. It is never destroyed: what it owns lies in the
// arena too. The texts must live as long.
template <class Entry, class... Args>
Entry& t_configText::Append(t_entryList& list, std::wstring_view name, std::wstring_view value, Args... arguments)
{
    Entry& entry = *new (arena.allocate(sizeof(Entry), alignof(Entry))) Entry{arguments...};
    entry.name = name.data();
    entry.value = value.data();
    entry.nameLength = static_cast<std::uint32_t>(name.size());
    entry.valueLength = static_cast<std::uint32_t>(value.size());
    (list.last != nullptr ? list.last->next : list.first) = &entry;
    list.last = &entry;
    return entry;
}

// A copy of a text in the arena.
std::wstring_view t_configText::Store(std::wstring_view text)
{
    wchar_t* const copy = static_cast<wchar_t*>(arena.allocate(text.size() * sizeof(wchar_t), alignof(wchar_t)));
    text.copy(copy, text.size());
    return {copy, text.size()};
}

t_configText::t_section* t_configText::FindSection(std::wstring_view name) const
{
    return static_cast<t_section*>(FindEntry(sections, name));
}

t_configText::t_section& t_configText::AppendSection(std::wstring_view name)
{
    t_section& section = Append<t_section>(order, name, {}, &arena);
    sections.try_emplace(t_hashedName(section.Name()), &section);
    return section;
}

} // namespace n_config
