#include "report/registry_values.h"

#include <memory>

#include "report/described_errors.h"

namespace n_report {

namespace {

constexpr DWORD kMaxNameUnits = 16384; // the system's limit of value names, with the terminator
constexpr DWORD kMaxDataBytes = 65536;

void AddTooMany(const t_str& label, t_texts& unseen)
{
    unseen.push_back(FormatStr(L"%s: more than %u entries", label.c_str(), kMaxEntries));
}

} // namespace

t_keyHandle OpenToRead(HKEY root, const t_str& path, const t_str& label, t_texts& unseen, REGSAM access)
{
    t_keyHandle key;
    const LSTATUS result = RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | access, key.Put());
    if (result != ERROR_SUCCESS && result != ERROR_FILE_NOT_FOUND) {
        unseen.push_back(DescribeSystemError(label, static_cast<DWORD>(result)));
    }
    return key;
}

bool ReadValue(HKEY key, const wchar_t* name, t_rawValue& value)
{
    const auto data = std::make_unique_for_overwrite<std::uint8_t[]>(kMaxDataBytes);
    DWORD bytes = kMaxDataBytes;
    if (RegQueryValueExW(key, name, nullptr, &value.type, data.get(), &bytes) != ERROR_SUCCESS) {
        return false;
    }
    value.name = name;
    value.data.assign(data.get(), data.get() + bytes);
    return true;
}

t_list<t_rawValue> ReadValues(HKEY key, const t_str& label, t_texts& unseen)
{
    t_list<t_rawValue> values;
    std::vector<wchar_t> name(kMaxNameUnits);
    std::vector<std::uint8_t> data(kMaxDataBytes);
    for (DWORD index = 0;; ++index) {
        t_rawValue value;
        DWORD length = kMaxNameUnits;
        DWORD bytes = kMaxDataBytes;
        const LSTATUS result =
            RegEnumValueW(key, index, name.data(), &length, nullptr, &value.type, data.data(), &bytes);
        if (result == ERROR_NO_MORE_ITEMS) {
            return values;
        }
        if (index == kMaxEntries) {
            AddTooMany(label, unseen);
            return values;
        }
        if (result != ERROR_SUCCESS) {
            unseen.push_back(
                DescribeSystemError(FormatStr(L"%s, value %u", label.c_str(), index), static_cast<DWORD>(result)));
            // Longer data than any value of these keys has; another failure would come again for ever.
            if (result != ERROR_MORE_DATA) {
                return values;
            }
            continue;
        }
        value.name.assign(name.data(), length);
        value.data.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(bytes));
        values.push_back(std::move(value));
    }
}

t_texts ReadSubKeys(HKEY key, const t_str& label, t_texts& unseen)
{
    t_texts names;
    wchar_t name[256]; // the system's limit of key names is 255 units
    for (DWORD index = 0; RegEnumKeyW(key, index, name, ARRAYSIZE(name)) == ERROR_SUCCESS; ++index) {
        if (index == kMaxEntries) {
            AddTooMany(label, unseen);
            break;
        }
        names.emplace_back(name);
    }
    return names;
}

} // namespace n_report
