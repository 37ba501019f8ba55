#include "base/registry_link.h"

#include <memory>

#include "base/ascii_case.h"
#include "base/str.h"

// Exported by every Windows, and declared for drivers only.
extern "C" __declspec(dllimport) LONG NTAPI
    NtQueryKey(HKEY key, int kind, void* information, ULONG length, ULONG* neededLength);

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
    const auto name = std::make_unique_for_overwrite<t_keyName>();
    ULONG size = 0;
    if (NtQueryKey(key, kKeyNameInformation, name.get(), sizeof(*name), &size) != 0) {
        return {};
    }
    return t_str(name->text, name->bytes / sizeof(wchar_t));
}

bool IsPredefined(HKEY key)
{
    return HandleToLong(key) < 0;
}

// Whether an open key lies where the path from the root leads when nothing is a link.
//   path  null or empty for the root itself
LSTATUS CheckPlace(HKEY opened, HKEY root, const wchar_t* path)
{
    // A predefined key has no name. Creating with an empty name gives a handle that has; opening gives the same again.
    t_keyHandle start;
    if (IsPredefined(root)) {
        const LSTATUS result =
            RegCreateKeyExW(root, L"", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ, nullptr, start.Put(), nullptr);
        if (result != ERROR_SUCCESS) {
            return result;
        }
    }
    t_str expected = NameOf(start ? start.Get() : root);
    if (expected.empty()) {
        return ERROR_CANT_RESOLVE_FILENAME;
    }
    if (path != nullptr && *path != L'\0') {
        expected << L"\\" << path;
    }
    return EqualIgnoringCase(NameOf(opened), expected) ? ERROR_SUCCESS : ERROR_CANT_RESOLVE_FILENAME;
}

} // namespace

LSTATUS OpenUnlinkedKey(HKEY root, const wchar_t* path, REGSAM access, t_keyHandle& key)
{
    // The open key itself is asked where it lies: what is found out so no longer changes, as a look before opening may.
    t_keyHandle opened;
    LSTATUS result = RegOpenKeyExW(root, path, 0, access, opened.Put());
    if (result == ERROR_SUCCESS) {
        result = CheckPlace(opened.Get(), root, path);
    }
    if (result == ERROR_SUCCESS) {
        key = std::move(opened);
    }
    return result;
}

LSTATUS CreateUnlinkedKey(HKEY parent, const wchar_t* name, t_keyHandle& key)
{
    DWORD disposition = 0;
    const auto create = [&](DWORD options, t_keyHandle& created) {
        return RegCreateKeyExW(parent, name, 0, nullptr, options, KEY_ALL_ACCESS, nullptr, created.Put(), &disposition);
    };
    // The option opens a link of that name itself, where nothing is made through it. It is documented for opening only:
    // should a system refuse or ignore it here, a list that was just deleted must be made anew all the same, and a link
    // that is planted in that moment makes an empty key where it leads. No value is written there.
    t_keyHandle created;
    LSTATUS result = create(REG_OPTION_OPEN_LINK, created);
    if (result == ERROR_INVALID_PARAMETER) {
        result = create(REG_OPTION_NON_VOLATILE, created);
    }
    if (result != ERROR_SUCCESS) {
        return result;
    }
    // A new key in its place is no link, and is not opened again: were that to fail, the list that was deleted for it
    // would be lost. What was there before may be a link, opened as one or followed.
    if (disposition == REG_CREATED_NEW_KEY && CheckPlace(created.Get(), parent, name) == ERROR_SUCCESS) {
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
