#pragma once

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/catalogue_model.h"
#include "tests/random_runs.h"
#include "tests/scratch_registry.h"

// A part of a registry as plain data, for the models to read and to change: keys and values in the order in which the
// system lists them.
struct t_storedValue
{
    std::wstring name;
    DWORD type = REG_NONE;
    std::vector<BYTE> data;

    // The text of the data's first units, whatever the type, up to its first terminator; half a unit is filled up.
    std::wstring Text(std::size_t units) const
    {
        std::wstring text((data.size() + 1) / 2, L'\0');
        std::copy(data.begin(), data.end(), reinterpret_cast<BYTE*>(text.data()));
        return text.substr(0, units).c_str();
    }
};

// The item of a list that has a name, letter case ignored, or null.
auto* Named(auto& items, const std::wstring& name)
{
    const auto found = std::find_if(items.begin(), items.end(), [&name](const auto& item) {
        return n_model::Fold(item.name) == n_model::Fold(name);
    });
    return found == items.end() ? nullptr : &*found;
}

// The same, made when it is missing. New names are sorted in.
auto& MakeNamed(auto& items, const std::wstring& name)
{
    if (auto* const known = Named(items, name)) {
        return *known;
    }
    const auto behind = std::find_if(items.begin(), items.end(), [&name](const auto& item) {
        return n_model::Fold(item.name) > n_model::Fold(name);
    });
    return *items.insert(behind, {name, {}, {}});
}

struct t_storedKey
{
    std::wstring name;
    std::vector<t_storedKey> keys;
    std::vector<t_storedValue> values;

    // What stands at a path, or null; a value's name is the path's last component.
    const t_storedKey* Key(const std::wstring& path) const
    {
        const std::size_t end = std::min(path.find(L'\\'), path.size());
        const t_storedKey* const key = path.empty() ? this : Named(keys, path.substr(0, end));
        return key == nullptr || end == path.size() ? key : key->Key(path.substr(end + 1));
    }
    t_storedKey* Key(const std::wstring& path) { return const_cast<t_storedKey*>(std::as_const(*this).Key(path)); }
    const t_storedValue* Value(const std::wstring& valueName) const { return Named(values, valueName); }

    static inline int writes = 0; // of values, so that what is written again as it stands counts as well

    t_storedKey& Make(const std::wstring& keyName) { return MakeNamed(keys, keyName); }
    void Set(const std::wstring& valueName, DWORD type, const void* data, std::size_t bytes)
    {
        ++writes;
        t_storedValue& value = MakeNamed(values, valueName);
        value.type = type;
        value.data.assign(static_cast<const BYTE*>(data), static_cast<const BYTE*>(data) + bytes);
    }
    void SetText(const std::wstring& valueName, const std::wstring& text, bool terminated)
    {
        Set(valueName, REG_SZ, text.c_str(), (text.size() + (terminated && !text.ends_with(L'\0'))) * 2);
    }
    static void Erase(auto& items, const std::wstring& itemName)
    {
        std::erase_if(items, [&](const auto& item) { return n_model::Fold(item.name) == n_model::Fold(itemName); });
    }

    // Everything under the key as text, one line a key ("[path]") or value ("name=type:data"), sorted by name. Texts
    // (type 1 and 2) print as they are stored, with "\\0" for a terminator; other data prints as hexadecimal bytes.
    std::wstring Dump(const std::wstring& path = L"") const;
};

// Reads everything under an open key.
t_storedKey ReadTree(HKEY root);

// Writes a text as any program may have written it: mostly as it should be, else of another type, without a terminator,
// with half a unit, with a terminator inside, or as long as readers take it at most, or longer.
inline void WriteRandomText(t_random& random, HKEY root, const std::wstring& path, const wchar_t* value,
                            std::wstring text, DWORD type = REG_SZ)
{
    if (random.OneIn(12)) {
        text.resize(random.Of({3u, 30u, 258u, 260u}) + random.Below(3), L'x');
    } else if (random.OneIn(12)) {
        text.insert(random.Below(text.size() + 1), 1, L'\0');
    }
    const std::size_t missing = random.OneIn(4) ? random.Below(4) : 0, whole = text.size() * 2 + 2;
    text += missing >= 2 ? L'X' : L'\0'; // the system would take a terminator that follows
    WriteRaw(root, path, value, random.OneIn(8) ? random.Of<DWORD>({0, REG_EXPAND_SZ, REG_BINARY, REG_DWORD}) : type,
             text.data(), static_cast<DWORD>(whole - std::min(missing, whole)));
}
