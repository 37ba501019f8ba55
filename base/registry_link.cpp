#include "base/registry_link.h"

#include <memory>

#include "base/ascii_case.h"
#include "base/str.h"
#include "base/system_function.h"

namespace {

// What NtQueryKey gives for its KeyNameInformation.
constexpr int kKeyNameInformation = 3;
struct t_keyName
{
    ULONG bytes;
    wchar_t text[32 * 1024];
};

// The full name of an open key, such as "\REGISTRY\USER\.DEFAULT\Keyboard Layout": where it lies, not how it was
// opened. Empty when it cannot be had.
t_str NameOf(HKEY key)
{
    using t_queryKey = LONG(NTAPI*)(HKEY, int, void*, ULONG, ULONG*);
    static const auto queryKey = FindSystemFunction<t_queryKey>(L"ntdll.dll", "NtQueryKey");
    const auto name = std::make_unique<t_keyName>();
    ULONG size = 0;
    if (queryKey == nullptr || queryKey(key, kKeyNameInformation, name.get(), sizeof(*name), &size) != 0) {
        return {};
    }
    return t_str(name->text, name->bytes / sizeof(wchar_t));
}

} // namespace

LSTATUS OpenUnlinkedKey(HKEY root, const wchar_t* path, REGSAM access, t_keyHandle& key)
{
    // The open key itself is asked where it lies: what is found out so no longer changes, as a look before opening may.
    t_keyHandle opened;
    LSTATUS result = RegOpenKeyExW(root, path, 0, access, opened.Put());
    if (result != ERROR_SUCCESS) {
        return result;
    }
    // A predefined key has no name. Creating with an empty name gives a handle that has; opening gives the same again.
    t_keyHandle start;
    result = RegCreateKeyExW(root, L"", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ, nullptr, start.Put(), nullptr);
    if (result != ERROR_SUCCESS) {
        return result;
    }
    t_str expected = NameOf(start.Get());
    if (expected.empty()) {
        return ERROR_CANT_RESOLVE_FILENAME;
    }
    if (path != nullptr && *path != L'\0') {
        expected << L"\\" << path;
    }
    if (!EqualIgnoringCase(NameOf(opened.Get()), expected)) {
        return ERROR_CANT_RESOLVE_FILENAME;
    }
    key = std::move(opened);
    return ERROR_SUCCESS;
}

LSTATUS CreateUnlinkedKey(HKEY parent, const wchar_t* name, t_keyHandle& key)
{
    DWORD disposition = 0;
    const auto create = [&](DWORD options, t_keyHandle& created) {
        return RegCreateKeyExW(parent, name, 0, nullptr, options, KEY_ALL_ACCESS, nullptr, created.Put(), &disposition);
    };
    // The option opens a link of that name itself, where nothing is made through it; opening what was there again tells
    // the two apart. It is documented for opening only: should a system refuse or ignore it here, a list that was just
    // deleted must be made anew all the same, and a link that is planted in that moment makes an empty key where it
    // leads. No value is written there.
    t_keyHandle created;
    LSTATUS result = create(REG_OPTION_OPEN_LINK, created);
    if (result == ERROR_INVALID_PARAMETER) {
        result = create(REG_OPTION_NON_VOLATILE, created);
    }
    if (result != ERROR_SUCCESS) {
        return result;
    }
    // A new key in its place is no link. It is not opened again: were that to fail, the list that was deleted for it
    // would be lost.
    if (disposition == REG_CREATED_NEW_KEY && EqualIgnoringCase(NameOf(created.Get()), NameOf(parent) + L"\\" + name)) {
        key = std::move(created);
        return ERROR_SUCCESS;
    }
    return OpenUnlinkedKey(parent, name, KEY_ALL_ACCESS, key);
}

LSTATUS DeleteOpenKey(t_keyHandle& key)
{
    const LSTATUS result = RegDeleteKeyW(key.Get(), L"");
    key.Reset();
    return result;
}
