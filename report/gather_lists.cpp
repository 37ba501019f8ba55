#include <algorithm>
#include <map>

#include "base/guid_text.h"
#include "base/number_text.h"
#include "report/described_errors.h"
#include "report/gather.h"
#include "report/layout_key.h"
#include "report/registry_values.h"

namespace n_report {

namespace {

// The logon desktop's hive and those of the system accounts.
constexpr const wchar_t* kSystemHives[] = {L".DEFAULT", L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"};

// The identifier in a text of eight hexadecimal digits; 0 in any other.
std::uint32_t ParseKlid(std::wstring_view text)
{
    std::uint32_t klid = 0;
    return text.size() == 8 && ParseHexDigits(text, klid) ? klid : 0;
}

void NameEntry(t_entry& entry)
{
    t_layoutKey key;
    entry.known = entry.klid != 0 && ReadLayoutKey(t_layoutKeys(), entry.klid, key);
    entry.imeFile = key.imeFile;
    entry.name = key.name;
}

class t_hiveReader
{
public:
    t_hiveReader(HKEY rootToRead, const t_layouts& layoutsToName, t_hive& hiveToFill)
        : root(rootToRead), layouts(layoutsToName), hive(hiveToFill)
    {
    }

    void Read()
    {
        Preload();
        SortOrder();
        Hidden();
    }

private:
    t_keyHandle Open(HKEY parent, const t_str& path) { return OpenToRead(parent, path, path, hive.unseen); }

    t_list<t_rawValue> Values(const wchar_t* path)
    {
        const t_keyHandle key = Open(root, path);
        return key ? ReadValues(key.Get(), path, hive.unseen) : t_list<t_rawValue>();
    }

    // An identifier may stand for another layout of the same language, by which several are told apart.
    void ReadSubstitutes()
    {
        for (const t_rawValue& value : Values(L"Keyboard Layout\\Substitutes")) {
            if (const std::uint32_t klid = ParseKlid(value.name); klid != 0) {
                substitutes[klid] = ParseKlid(value.Text().text);
            }
        }
    }

    void Preload()
    {
        ReadSubstitutes();
        for (const t_rawValue& value : Values(L"Keyboard Layout\\Preload")) {
            t_entry entry;
            const t_storedText stored = ReadPreloadText(value.name, value.type, value.data, entry.klid);
            entry.key = value.name;
            entry.stored = stored.text;
            entry.odd = stored.odd;
            if (const auto substitute = substitutes.find(entry.klid); substitute != substitutes.end()) {
                entry.klid = substitute->second;
            }
            NameEntry(entry);
            hive.preload.push_back(std::move(entry));
        }
        // The system enumerates values by no order that means anything; the list's is that of the numbers.
        std::stable_sort(hive.preload.begin(), hive.preload.end(), [](const t_entry& a, const t_entry& b) {
            return ParseUnsignedDecimalPrefix(a.key) < ParseUnsignedDecimalPrefix(b.key);
        });
    }

    void SortOrder()
    {
        const t_keyHandle language = Open(root, L"SoftWare\\Microsoft\\CTF\\SortOrder\\AssemblyItem\\0x00000804");
        if (!language) {
            return;
        }
        for (const t_str& category : ReadSubKeys(language.Get(), L"SortOrder", hive.unseen)) {
            const t_keyHandle items = Open(language.Get(), category);
            if (!items) {
                continue;
            }
            for (const t_str& name : ReadSubKeys(items.Get(), category, hive.unseen)) {
                if (const t_keyHandle item = Open(items.Get(), name)) {
                    hive.sortOrder.push_back(SortedItem(item.Get(), name));
                }
            }
        }
    }

    t_entry SortedItem(HKEY item, const t_str& name) const
    {
        t_entry entry;
        entry.key = name;
        t_str identifiers[2];
        const wchar_t* const names[] = {L"CLSID", L"Profile"};
        for (std::size_t i = 0; i < std::size(names); ++i) {
            t_rawValue value;
            if (ReadValue(item, names[i], value)) {
                const t_storedText stored = value.Text();
                identifiers[i] = stored.text;
                if (!stored.odd.empty()) {
                    entry.odd << (entry.odd.empty() ? L"" : L", ") << L"\"" << names[i] << L"\": " << stored.odd;
                }
            }
        }
        if (t_rawValue value; ReadValue(item, L"KeyboardLayout", value)) {
            if (value.type == REG_DWORD && value.data.size() == sizeof(entry.klid)) {
                std::copy(value.data.begin(), value.data.end(), reinterpret_cast<std::uint8_t*>(&entry.klid));
            } else {
                entry.odd << (entry.odd.empty() ? L"" : L", ") << L"\"KeyboardLayout\": no number of 32 bits";
            }
        }
        t_guid service, profile;
        if (ParseGuid(identifiers[0], service) && ParseGuid(identifiers[1], profile) && !IsNullGuid(service)) {
            entry.stored = FormatGuid(service) + L" " + FormatGuid(profile);
            NameService(entry, FormatGuid(service), FormatGuid(profile));
        } else {
            entry.stored = FormatStr(L"%08X", entry.klid);
            NameEntry(entry);
        }
        return entry;
    }

    void NameService(t_entry& entry, const t_str& service, const t_str& profile) const
    {
        for (const t_layout& layout : layouts.records) {
            if (layout.service == service && layout.profile == profile) {
                entry.known = true;
                entry.name = layout.name;
                entry.imeFile = layout.imeFile;
            }
        }
    }

    void Hidden()
    {
        for (const t_rawValue& value : Values(L"SoftWare\\Microsoft\\CTF\\HiddenDummyLayouts")) {
            const t_storedText stored = value.Text();
            t_entry entry;
            entry.key = value.name;
            entry.stored = stored.text;
            entry.odd = stored.odd;
            // A layout is the name of one value and the text of another.
            entry.klid = ParseKlid(stored.text) != 0 ? ParseKlid(stored.text) : ParseKlid(value.name);
            NameEntry(entry);
            hive.hidden.push_back(std::move(entry));
        }
    }

    HKEY root;
    const t_layouts& layouts;
    t_hive& hive;
    std::map<std::uint32_t, std::uint32_t> substitutes;
};

// Whether a hive is a link to another one, as that of the system's account is.
bool IsLink(const wchar_t* name)
{
    t_keyHandle key;
    t_rawValue target;
    return RegOpenKeyExW(HKEY_USERS, name, REG_OPTION_OPEN_LINK, KEY_QUERY_VALUE, key.Put()) == ERROR_SUCCESS &&
           ReadValue(key.Get(), L"SymbolicLinkValue", target) && target.type == REG_LINK;
}

t_hive ReadHive(HKEY root, const t_str& name, const t_layouts& layouts)
{
    t_hive hive;
    hive.name = name;
    t_hiveReader(root, layouts, hive).Read();
    return hive;
}

// The hive of the user who is logged on, or what stands in for it.
t_hive ReadUserHive(const t_layouts& layouts)
{
    t_errorChain errors;
    t_session session;
    t_texts unseen;
    t_keyHandle key;
    if (!ReadCurrentSession(errors, session)) {
        unseen.push_back(DescribeErrors(errors));
    } else if (!session.userSid.empty()) {
        key = OpenToRead(HKEY_USERS, session.userSid, session.userSid, unseen);
    }
    t_hive hive = key ? ReadHive(key.Get(), session.userSid, layouts)
                      : ReadHive(HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", layouts);
    hive.loggedOn = true;
    hive.unseen.insert(hive.unseen.begin(), unseen.begin(), unseen.end());
    return hive;
}

} // namespace

t_lists GatherLists(const t_layouts& layouts)
{
    t_lists lists;
    lists.hives.push_back(ReadUserHive(layouts));
    for (const wchar_t* const name : kSystemHives) {
        t_hive hive;
        hive.name = name;
        if (IsLink(name)) {
            hive.unseen.push_back(L"is a link to another hive");
        } else if (const t_keyHandle key = OpenToRead(HKEY_USERS, name, name, hive.unseen)) {
            hive = ReadHive(key.Get(), name, layouts);
        } else if (hive.unseen.empty()) {
            continue; // there is none
        }
        lists.hives.push_back(std::move(hive));
    }
    t_keyHandle loaded;
    const LSTATUS result = RegOpenKeyExW(HKEY_USERS, L"default_user", 0, KEY_QUERY_VALUE, loaded.Put());
    lists.defaultUserLoaded = result == ERROR_SUCCESS || result == ERROR_ACCESS_DENIED;
    return lists;
}

} // namespace n_report
