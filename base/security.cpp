#include "base/security.h"

#include <aclapi.h>
#include <sddl.h>

#include <memory>

#include "base/handles.h"
#include "base/os_version.h"
#include "base/privilege.h"

namespace {

class t_openSecurity
{
public:
    //   rights  what everyone gets, in the letters of the descriptor language
    explicit t_openSecurity(const wchar_t* rights)
    {
        t_str text = L"D:";
        text.AppendFormat(L"(A;;%s;;;WD)", rights);
        if (IsWin8OrLater()) {
            // Everyone leaves out sandboxed application packages, which have identifiers of their own since Windows 8:
            // one for all, one for the less privileged ones.
            text.AppendFormat(L"(A;;%s;;;S-1-15-2-1)(A;;%s;;;S-1-15-2-2)", rights, rights);
        }
        if (IsVistaOrLater()) {
            text << L"S:(ML;;NW;;;LW)";
        }
        if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, descriptor.Put(),
                                                                  nullptr)) {
            return;
        }
        attributes.lpSecurityDescriptor = descriptor.Get();
        BOOL present = FALSE, defaulted = FALSE;
        if (!GetSecurityDescriptorDacl(descriptor.Get(), &present, &accessList, &defaulted) || !present) {
            accessList = nullptr;
        }
        if (!GetSecurityDescriptorSacl(descriptor.Get(), &present, &label, &defaulted) || !present) {
            label = nullptr;
        }
    }

    SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    ACL* accessList = nullptr;
    ACL* label = nullptr;

private:
    t_localMemory descriptor;
};

t_openSecurity& ObjectSecurity()
{
    static t_openSecurity security(L"GA");
    return security;
}

const t_openSecurity& FileSecurity()
{
    static const t_openSecurity security(L"FRFW");
    return security;
}

// The token's user, with the identifier inside the same allocation. Null on failure.
std::unique_ptr<BYTE[]> ReadTokenUser()
{
    t_handle token;
    DWORD size = 0;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put())) {
        return nullptr;
    }
    GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size);
    auto user = std::make_unique<BYTE[]>(size);
    return size != 0 && GetTokenInformation(token.Get(), TokenUser, user.get(), size, &size) ? std::move(user)
                                                                                             : nullptr;
}

// Adds an entry for the user to the access list that the object has, so that nobody else loses a right.
bool AddFullAccess(wchar_t* objectName, SE_OBJECT_TYPE type, PSID user)
{
    ACL* present = nullptr;
    t_localMemory descriptor;
    if (GetNamedSecurityInfoW(objectName, type, DACL_SECURITY_INFORMATION, nullptr, nullptr, &present, nullptr,
                              descriptor.Put()) != ERROR_SUCCESS) {
        return false;
    }
    if (present == nullptr) {
        return true; // no list at all: everyone has full access already
    }
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS; // drops an entry that denies
    access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_USER;
    access.Trustee.ptstrName = static_cast<wchar_t*>(user);
    ACL* merged = nullptr;
    if (SetEntriesInAclW(1, &access, present, &merged) != ERROR_SUCCESS) {
        return false;
    }
    const t_localMemory owner(merged);
    return SetNamedSecurityInfoW(objectName, type, DACL_SECURITY_INFORMATION, nullptr, nullptr, merged, nullptr) ==
           ERROR_SUCCESS;
}

} // namespace

SECURITY_ATTRIBUTES* OpenSecurityAttributes()
{
    return ObjectSecurity().attributes.lpSecurityDescriptor != nullptr ? &ObjectSecurity().attributes : nullptr;
}

ACL* OpenAccessList()
{
    return FileSecurity().accessList;
}

ACL* LowMandatoryLabel()
{
    return FileSecurity().label;
}

bool GrantCurrentUserAccess(t_str objectName, SE_OBJECT_TYPE type)
{
    const std::unique_ptr<BYTE[]> buffer = ReadTokenUser();
    if (buffer == nullptr) {
        return false;
    }
    const PSID user = reinterpret_cast<const TOKEN_USER*>(buffer.get())->User.Sid;
    if (AddFullAccess(objectName.data(), type, user)) {
        return true;
    }
    // An owner may always read and change the list. Taking ownership needs a privilege that administrators hold
    // disabled.
    SetPrivilege(L"SeTakeOwnershipPrivilege", true);
    return SetNamedSecurityInfoW(objectName.data(), type, OWNER_SECURITY_INFORMATION, user, nullptr, nullptr,
                                 nullptr) == ERROR_SUCCESS &&
           AddFullAccess(objectName.data(), type, user);
}
