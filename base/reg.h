#pragma once

#include <windows.h>

#include <cstdint>

#include "base/handles.h"
#include "diag/error_chain.h"

class t_accessRepair;

// How t_reg::Open opens a key; any of these, combined.
enum class t_regAccess : unsigned
{
    read = 0,
    write = 1,    // all access instead of reading
    create = 2,   // creates the sub-key when it does not exist
    view32 = 4,   // works in the 32-bit registry view
    unlinked = 8, // fails where a symbolic link leads elsewhere; not together with create
};

constexpr t_regAccess operator|(t_regAccess a, t_regAccess b)
{
    return static_cast<t_regAccess>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

// One open registry key, with a readable path beside the handle: the object-name form of the security functions, such
// as "MACHINE\Software\X", used in messages and to repair a key's permissions when a delete is refused.
//
// Every operation that takes an error chain returns false on failure after appending the system error and a description
// with the path; the object stays usable: closed after a failed Open, unchanged after any other failure (but for the
// path, which grows by every name that was tried). Value names may be null or empty for the key's unnamed value.
class t_reg
{
public:
    // A closed key below one of HKEY_CLASSES_ROOT, HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE. Any other root gives an
    // object that opens nothing: what lies elsewhere is reached from an open parent.
    explicit t_reg(HKEY predefinedRoot);

    // A closed key below an open one.
    //   parent  must stay open while this object opens keys
    explicit t_reg(const t_reg& parent);

    t_reg& operator=(const t_reg&) = delete;
    virtual ~t_reg() = default;

    // Closes the key that is open, then opens a sub-key of the root. The name is added to the path, which is never
    // reset.
    //   subKey  null or empty gives a new handle to the root itself
    // Behind it: RegOpenKeyExW, RegCreateKeyExW.
    bool Open(t_errorChain& errors, const wchar_t* subKey, t_regAccess access);

    // The same with each choice as a flag of its own, as other programs of the product call it.
    bool Open(t_errorChain& errors, const wchar_t* subKey, bool forWrite, bool createIfMissing, bool view32);

    static constexpr unsigned kCreateWritable = 1; // all access instead of reading
    static constexpr unsigned kCreateVolatile = 2; // the key is gone after a restart

    // Creates or opens a sub-key of the root in the 32-bit view.
    //   subKey      not null
    //   flags       any of the two above
    //   createdNew  receives whether the key did not exist before; may be null
    // Behind it: RegCreateKeyExW.
    bool Create(t_errorChain& errors, const wchar_t* subKey, unsigned flags, bool* createdNew);

    // Reads a value.
    //   buffer  receives the stored bytes as they are, strings possibly without a terminator; null asks
    //           for the size only
    //   size    in: bytes that the buffer holds; out: bytes stored, unchanged on failure
    // Fails also when the stored type is not the expected one. Behind it: RegQueryValueExW.
    bool QueryValue(t_errorChain& errors, void* buffer, DWORD& size, const wchar_t* valueName,
                    DWORD expectedType) const;

    // Writes a value.
    //   data  byteCount bytes; may be null when byteCount is 0
    // Behind it: RegSetValueExW.
    bool SetValue(t_errorChain& errors, const void* data, DWORD byteCount, const wchar_t* valueName, DWORD type);

    // Typed reads and writes: REG_DWORD, REG_QWORD and REG_SZ. Outputs are unchanged on failure.
    bool ReadInt(t_errorChain& errors, std::int32_t& value, const wchar_t* valueName) const;
    bool ReadInt(t_errorChain& errors, std::uint32_t& value, const wchar_t* valueName) const;
    bool ReadInt(t_errorChain& errors, std::int64_t& value, const wchar_t* valueName) const;
    bool WriteInt(t_errorChain& errors, std::int32_t value, const wchar_t* valueName);
    bool WriteInt(t_errorChain& errors, std::uint32_t value, const wchar_t* valueName);
    bool WriteInt(t_errorChain& errors, std::int64_t value, const wchar_t* valueName);

    //   text           receives the stored text up to its first terminator or its end
    //   maxCharacters  longest value that is read, its terminator included; a longer one fails
    bool ReadString(t_errorChain& errors, t_str& text, DWORD maxCharacters, const wchar_t* valueName) const;
    // Stores the characters without a terminator.
    bool WriteString(t_errorChain& errors, std::wstring_view text, const wchar_t* valueName);

    // Reads the key's unnamed value, of type REG_EXPAND_SZ and at most 260 characters, without expanding it.
    bool GetDefaultExpandString(t_errorChain& errors, t_str& text) const;

    // The value "PendingFileRenameOperations" (REG_MULTI_SZ) of this key: file operations queued until restart.
    bool GetPendingRenames(t_errorChain& errors, void* buffer, DWORD& size) const;
    bool SetPendingRenames(t_errorChain& errors, const void* data, DWORD byteCount);

    // Behind both: RegQueryInfoKeyW.
    bool GetSubKeyCount(t_errorChain& errors, DWORD& count) const;
    bool GetValueCount(t_errorChain& errors, DWORD& count) const;

    // The name of the sub-key, or the name and type of the value, at an index. Names of up to 1,022 characters are
    // read. Behind them: RegEnumKeyW, RegEnumValueW.
    bool EnumKey(t_errorChain& errors, t_str& name, DWORD index) const;
    bool EnumValue(t_errorChain& errors, t_str& name, DWORD& type, DWORD index) const;

    // Whether a sub-key exists in the 32-bit view.
    //   exists  receives the answer; null fails with "非法参数"
    bool SubKeyExists(t_errorChain& errors, const wchar_t* subKey, bool* exists) const;

    // Deletes a sub-key that has no sub-keys. When access is denied, the current user is given access to that
    // key alone for a second attempt; when that fails too, the key gets its access list and owner back.
    //   subKey     not null and not empty
    //   mustExist  whether a missing sub-key is a failure
    // Behind it: RegDeleteKeyW.
    bool DeleteKey(t_errorChain& errors, bool mustExist, const wchar_t* subKey);

    // Deletes a sub-key of the 32-bit view with everything under it, stopping at the first failure; a symbolic link is
    // one. Access that the current user needs to a key is given until its sub-keys are gone. Messages of a first
    // attempt that was refused because of the sub-keys stay in the chain, on success too; a sub-key whose own sub-keys
    // cannot be counted clears the chain.
    //   subKey  a name below this key that does not cross a branch which differs between the registry views
    // Behind it: RegDeleteKeyW, RegEnumKeyW.
    bool DeleteTree(t_errorChain& errors, bool mustExist, const wchar_t* subKey);

    // Deletes a value; a missing one is no failure. Behind it: RegDeleteValueW.
    bool DeleteValue(t_errorChain& errors, const wchar_t* valueName);

    void Close() { handle.Reset(); }
    HKEY Handle() const { return handle.Get(); }
    const t_str& Path() const { return path; }

private:
    //   repair  keeps the access that a second attempt needed
    bool DeleteKey(t_errorChain& errors, bool mustExist, const wchar_t* subKey, t_accessRepair& repair);

    // The system error and the text followed by the path. Returns false.
    bool Fail(t_errorChain& errors, LSTATUS code, const wchar_t* text) const;
    // Whether a write succeeded; reports it when it did not.
    bool WriteStatus(t_errorChain& errors, LSTATUS result, const wchar_t* valueName) const;
    bool ReadStringOfType(t_errorChain& errors, t_str& text, DWORD maxCharacters, const wchar_t* valueName,
                          DWORD type) const;

    t_keyHandle handle;
    HKEY root = nullptr;
    t_str path;
};
