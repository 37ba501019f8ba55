#include "base/reg.h"

#include <memory>

#include "base/access_repair.h"
#include "base/registry_link.h"
#include "base/registry_text.h"
#include "diag/system_error.h"

namespace {

constexpr wchar_t kOpenFailed[] = L"打开注册表项失败：";
constexpr wchar_t kCreateFailed[] = L"创建注册表项失败：";
constexpr wchar_t kReadFailed[] = L"读注册表失败：";
constexpr wchar_t kTypeMismatch[] = L"注册表键值类型不匹配：";
constexpr wchar_t kWriteFailed[] = L"设置注册表键值失败：";
constexpr wchar_t kDeleteKeyFailed[] = L"删除注册表项失败：";
constexpr wchar_t kDeleteMissingKey[] = L"删除注册表项失败, 子键不存在：";
constexpr wchar_t kDeleteValueFailed[] = L"删除注册表键值失败：";
constexpr wchar_t kCountKeysFailed[] = L"获取注册表子键数失败：";
constexpr wchar_t kCountValuesFailed[] = L"获取注册表值数失败：";
constexpr wchar_t kEnumKeysFailed[] = L"遍历注册表键值失败：";
constexpr wchar_t kEnumValuesFailed[] = L"遍历注册表值失败：";
constexpr wchar_t kBadArgument[] = L"非法参数";

constexpr wchar_t kPendingRenames[] = L"PendingFileRenameOperations";

constexpr REGSAM kRead32 = KEY_READ | KEY_WOW64_32KEY;
constexpr REGSAM kWrite32 = KEY_ALL_ACCESS | KEY_WOW64_32KEY;

constexpr std::size_t kNameUnits = 1025;
constexpr DWORD kNameBufferLength = 1023;

bool IsEmpty(const wchar_t* text)
{
    return text == nullptr || *text == L'\0';
}

const wchar_t* OrEmpty(const wchar_t* text)
{
    return text == nullptr ? L"" : text;
}

LSTATUS CreateKey(HKEY root, const wchar_t* subKey, DWORD options, REGSAM access, HKEY* key, DWORD* disposition)
{
    return RegCreateKeyExW(root, subKey, 0, nullptr, options, access, nullptr, key, disposition);
}

} // namespace

t_reg::t_reg(HKEY predefinedRoot)
{
    if (predefinedRoot == HKEY_CLASSES_ROOT) {
        path = L"CLASSES_ROOT";
    } else if (predefinedRoot == HKEY_CURRENT_USER) {
        path = L"CURRENT_USER";
    } else if (predefinedRoot == HKEY_LOCAL_MACHINE) {
        path = L"MACHINE";
    } else {
        return;
    }
    root = predefinedRoot;
}

t_reg::t_reg(const t_reg& parent) : root(parent.handle.Get()), path(parent.path) {}

bool t_reg::Fail(t_errorChain& errors, LSTATUS code, const wchar_t* text) const
{
    return FailWithSystemError(errors, static_cast<DWORD>(code), L"%s%s", text, path.c_str());
}

bool t_reg::Open(t_errorChain& errors, const wchar_t* subKey, t_regAccess access)
{
    Close();
    const auto has = [access](t_regAccess choice) { return (access | choice) == access; };
    const REGSAM mask = static_cast<REGSAM>(has(t_regAccess::write) ? KEY_ALL_ACCESS : KEY_READ) |
                        (has(t_regAccess::view32) ? KEY_WOW64_32KEY : 0u);
    if (IsEmpty(subKey)) {
        // An empty name, not a null one, is what the system documents for a new handle to the root.
        const LSTATUS result = CreateKey(root, L"", REG_OPTION_NON_VOLATILE, mask, handle.Put(), nullptr);
        return result == ERROR_SUCCESS || Fail(errors, result, kCreateFailed);
    }
    path << L"\\" << subKey;
    const bool create = has(t_regAccess::create);
    LSTATUS result = ERROR_SUCCESS;
    if (create) {
        result = CreateKey(root, subKey, REG_OPTION_NON_VOLATILE, mask, handle.Put(), nullptr);
    } else if (has(t_regAccess::unlinked)) {
        result = OpenUnlinkedKey(root, subKey, mask, handle);
    } else {
        result = RegOpenKeyExW(root, subKey, 0, mask, handle.Put());
    }
    return result == ERROR_SUCCESS || Fail(errors, result, create ? kCreateFailed : kOpenFailed);
}

bool t_reg::Open(t_errorChain& errors, const wchar_t* subKey, bool forWrite, bool createIfMissing, bool view32)
{
    const auto when = [](bool chosen, t_regAccess access) { return chosen ? access : t_regAccess::read; };
    return Open(errors, subKey,
                when(forWrite, t_regAccess::write) | when(createIfMissing, t_regAccess::create) |
                    when(view32, t_regAccess::view32));
}

bool t_reg::Create(t_errorChain& errors, const wchar_t* subKey, unsigned flags, bool* createdNew)
{
    path << L"\\" << OrEmpty(subKey);
    t_keyHandle created;
    DWORD disposition = 0;
    const LSTATUS result =
        CreateKey(root, subKey, (flags & kCreateVolatile) != 0 ? REG_OPTION_VOLATILE : REG_OPTION_NON_VOLATILE,
                  (flags & kCreateWritable) != 0 ? kWrite32 : kRead32, created.Put(), &disposition);
    if (result != ERROR_SUCCESS) {
        return FailWithSystemError(errors, static_cast<DWORD>(result), L"%s%s\\%s", kCreateFailed, path.c_str(),
                                   OrEmpty(subKey));
    }
    handle = std::move(created);
    if (createdNew != nullptr) {
        *createdNew = disposition == REG_CREATED_NEW_KEY;
    }
    return true;
}

bool t_reg::QueryValue(t_errorChain& errors, void* buffer, DWORD& size, const wchar_t* valueName,
                       DWORD expectedType) const
{
    const wchar_t* const separator = IsEmpty(valueName) ? L"" : L"\\";
    DWORD type = REG_NONE;
    DWORD stored = size;
    const LSTATUS result =
        RegQueryValueExW(handle.Get(), valueName, nullptr, &type, static_cast<BYTE*>(buffer), &stored);
    // A value of another type is that first of all, also when it is too long for the buffer.
    const bool typeKnown = result == ERROR_SUCCESS || result == ERROR_MORE_DATA;
    if (typeKnown && type != expectedType) {
        if (!IsEmpty(valueName)) {
            AddSystemError(errors, ERROR_SUCCESS);
        }
        return errors.Fail(L"%s%s%s%s", kTypeMismatch, path.c_str(), separator, OrEmpty(valueName));
    }
    if (result != ERROR_SUCCESS) {
        return FailWithSystemError(errors, static_cast<DWORD>(result), L"%s%s%s%s", kReadFailed, path.c_str(),
                                   separator, OrEmpty(valueName));
    }
    size = stored;
    return true;
}

bool t_reg::SetValue(t_errorChain& errors, const void* data, DWORD byteCount, const wchar_t* valueName, DWORD type)
{
    return WriteStatus(
        errors, RegSetValueExW(handle.Get(), valueName, 0, type, static_cast<const BYTE*>(data), byteCount), valueName);
}

bool t_reg::WriteStatus(t_errorChain& errors, LSTATUS result, const wchar_t* valueName) const
{
    return result == ERROR_SUCCESS || FailWithSystemError(errors, static_cast<DWORD>(result), L"%s%s\\<<%s>>",
                                                          kWriteFailed, path.c_str(), OrEmpty(valueName));
}

namespace {

template <class Integer>
bool ReadInteger(const t_reg& key, t_errorChain& errors, Integer& value, const wchar_t* valueName, DWORD type)
{
    Integer read = 0;
    DWORD size = sizeof(read);
    if (!key.QueryValue(errors, &read, size, valueName, type)) {
        return false;
    }
    value = read;
    return true;
}

} // namespace

bool t_reg::ReadInt(t_errorChain& errors, std::int32_t& value, const wchar_t* valueName) const
{
    return ReadInteger(*this, errors, value, valueName, REG_DWORD);
}

bool t_reg::ReadInt(t_errorChain& errors, std::uint32_t& value, const wchar_t* valueName) const
{
    return ReadInteger(*this, errors, value, valueName, REG_DWORD);
}

bool t_reg::ReadInt(t_errorChain& errors, std::int64_t& value, const wchar_t* valueName) const
{
    return ReadInteger(*this, errors, value, valueName, REG_QWORD);
}

bool t_reg::WriteInt(t_errorChain& errors, std::int32_t value, const wchar_t* valueName)
{
    return SetValue(errors, &value, sizeof(value), valueName, REG_DWORD);
}

bool t_reg::WriteInt(t_errorChain& errors, std::uint32_t value, const wchar_t* valueName)
{
    return SetValue(errors, &value, sizeof(value), valueName, REG_DWORD);
}

bool t_reg::WriteInt(t_errorChain& errors, std::int64_t value, const wchar_t* valueName)
{
    return SetValue(errors, &value, sizeof(value), valueName, REG_QWORD);
}

bool t_reg::ReadStringOfType(t_errorChain& errors, t_str& text, DWORD maxCharacters, const wchar_t* valueName,
                             DWORD type) const
{
    // One unit more than is asked for, left 0: a stored text need not end in a terminator, nor hold whole units.
    const auto buffer = std::make_unique<wchar_t[]>(maxCharacters + std::size_t{1});
    DWORD size = maxCharacters * DWORD{sizeof(wchar_t)};
    if (!QueryValue(errors, buffer.get(), size, valueName, type)) {
        return false;
    }
    buffer[size / sizeof(wchar_t)] = L'\0';
    text.assign(buffer.get());
    return true;
}

bool t_reg::ReadString(t_errorChain& errors, t_str& text, DWORD maxCharacters, const wchar_t* valueName) const
{
    return ReadStringOfType(errors, text, maxCharacters, valueName, REG_SZ);
}

bool t_reg::WriteString(t_errorChain& errors, std::wstring_view text, const wchar_t* valueName)
{
    // The product's strings go by their stored size, which is that of the characters: ReadString needs no terminator.
    return WriteStatus(errors, WriteUnterminatedText(handle.Get(), valueName, text), valueName);
}

bool t_reg::GetDefaultExpandString(t_errorChain& errors, t_str& text) const
{
    return ReadStringOfType(errors, text, MAX_PATH, nullptr, REG_EXPAND_SZ);
}

bool t_reg::GetPendingRenames(t_errorChain& errors, void* buffer, DWORD& size) const
{
    return QueryValue(errors, buffer, size, kPendingRenames, REG_MULTI_SZ);
}

bool t_reg::SetPendingRenames(t_errorChain& errors, const void* data, DWORD byteCount)
{
    return SetValue(errors, data, byteCount, kPendingRenames, REG_MULTI_SZ);
}

bool t_reg::GetSubKeyCount(t_errorChain& errors, DWORD& count) const
{
    const LSTATUS result = RegQueryInfoKeyW(handle.Get(), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr);
    return result == ERROR_SUCCESS || Fail(errors, result, kCountKeysFailed);
}

bool t_reg::GetValueCount(t_errorChain& errors, DWORD& count) const
{
    const LSTATUS result = RegQueryInfoKeyW(handle.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                                            nullptr, nullptr, nullptr, nullptr);
    return result == ERROR_SUCCESS || Fail(errors, result, kCountValuesFailed);
}

bool t_reg::EnumKey(t_errorChain& errors, t_str& name, DWORD index) const
{
    wchar_t buffer[kNameUnits] = {};
    const LSTATUS result = RegEnumKeyW(handle.Get(), index, buffer, kNameBufferLength);
    if (result != ERROR_SUCCESS) {
        return Fail(errors, result, kEnumKeysFailed);
    }
    name.assign(buffer);
    return true;
}

bool t_reg::EnumValue(t_errorChain& errors, t_str& name, DWORD& type, DWORD index) const
{
    wchar_t buffer[kNameUnits] = {};
    DWORD length = kNameBufferLength;
    DWORD storedType = REG_NONE;
    const LSTATUS result = RegEnumValueW(handle.Get(), index, buffer, &length, nullptr, &storedType, nullptr, nullptr);
    if (result != ERROR_SUCCESS) {
        return Fail(errors, result, kEnumValuesFailed);
    }
    name.assign(buffer, length);
    type = storedType;
    return true;
}

bool t_reg::SubKeyExists(t_errorChain& errors, const wchar_t* subKey, bool* exists) const
{
    if (exists == nullptr) {
        return errors.Fail(kBadArgument);
    }
    t_keyHandle probe;
    const LSTATUS result = RegOpenKeyExW(handle.Get(), subKey, 0, kRead32, probe.Put());
    if (result != ERROR_SUCCESS && result != ERROR_FILE_NOT_FOUND) {
        return Fail(errors, result, kOpenFailed);
    }
    *exists = result == ERROR_SUCCESS;
    return true;
}

bool t_reg::DeleteKey(t_errorChain& errors, bool mustExist, const wchar_t* subKey)
{
    t_accessRepair repair;
    return DeleteKey(errors, mustExist, subKey, repair);
}

bool t_reg::DeleteKey(t_errorChain& errors, bool mustExist, const wchar_t* subKey, t_accessRepair& repair)
{
    SetLastError(ERROR_SUCCESS);
    LSTATUS result = RegDeleteKeyW(handle.Get(), OrEmpty(subKey));
    if (result == ERROR_FILE_NOT_FOUND && !mustExist) {
        return true;
    }
    t_keyHandle target;
    // The repair goes by name: what a link leads to must not be given away.
    if (result == ERROR_ACCESS_DENIED && OpenUnlinkedKey(handle.Get(), OrEmpty(subKey), READ_CONTROL | KEY_WOW64_32KEY,
                                                         target) != ERROR_CANT_RESOLVE_FILENAME) {
        target.Reset();
        repair.Grant(FormatStr(L"%s\\%s", path.c_str(), OrEmpty(subKey)), SE_REGISTRY_KEY);
        result = RegDeleteKeyW(handle.Get(), OrEmpty(subKey));
    }
    return result == ERROR_SUCCESS || Fail(errors, result, kDeleteKeyFailed);
}

bool t_reg::DeleteTree(t_errorChain& errors, bool mustExist, const wchar_t* subKey)
{
    t_keyHandle probe;
    const LSTATUS probed = OpenUnlinkedKey(handle.Get(), subKey, kRead32, probe);
    probe.Reset();
    if (probed == ERROR_FILE_NOT_FOUND) {
        return !mustExist || FailWithSystemError(errors, ERROR_FILE_NOT_FOUND, L"%s%s\\%s", kDeleteMissingKey,
                                                 path.c_str(), OrEmpty(subKey));
    }
    if (probed != ERROR_SUCCESS) {
        return Fail(errors, probed, kOpenFailed);
    }
    t_accessRepair repair; // what the first attempt needs lasts until the key is empty
    if (DeleteKey(errors, mustExist, subKey, repair)) {
        return true;
    }

    t_reg child(*this);
    if (!child.Open(errors, subKey, t_regAccess::write | t_regAccess::view32 | t_regAccess::unlinked)) {
        return false;
    }
    DWORD count = 0;
    if (!child.GetSubKeyCount(errors, count)) {
        errors.Clear();
        count = 0;
    }
    // Each pass removes the first child, so the next one moves to index 0.
    for (; count > 0; --count) {
        t_str name;
        if (!child.EnumKey(errors, name, 0)) {
            return false;
        }
        // A key made through the system's native interface may have a name that begins with a null character. It would
        // stand for the child itself, without end.
        if (name.empty()) {
            return child.Fail(errors, ERROR_INVALID_NAME, kEnumKeysFailed);
        }
        if (!child.DeleteTree(errors, mustExist, name.c_str())) {
            return false;
        }
    }
    child.Close();
    return DeleteKey(errors, mustExist, subKey, repair);
}

bool t_reg::DeleteValue(t_errorChain& errors, const wchar_t* valueName)
{
    SetLastError(ERROR_SUCCESS);
    const LSTATUS result = RegDeleteValueW(handle.Get(), valueName);
    return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND ||
           FailWithSystemError(errors, static_cast<DWORD>(result), L"%s%s\\<<%s>>", kDeleteValueFailed, path.c_str(),
                               OrEmpty(valueName));
}
