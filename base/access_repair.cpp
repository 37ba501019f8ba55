#include "base/access_repair.h"

#include <aclapi.h>

#include <memory>
#include <utility>

#include "base/privilege.h"

namespace {

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

} // namespace

t_accessRepair::~t_accessRepair()
{
    // The owner first: the access that was given allows both steps, and the second one ends it.
    if (ownerTaken && formerOwner != nullptr) {
        const t_enabledPrivilege anyOwner(L"SeRestorePrivilege");
        Set(OWNER_SECURITY_INFORMATION, formerOwner, nullptr);
    }
    if (listChanged) {
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        DWORD revision = 0;
        GetSecurityDescriptorControl(former.Get(), &control, &revision);
        const bool isProtected = (control & SE_DACL_PROTECTED) != 0;
        Set(DACL_SECURITY_INFORMATION |
                (isProtected ? PROTECTED_DACL_SECURITY_INFORMATION : UNPROTECTED_DACL_SECURITY_INFORMATION),
            nullptr, formerList);
    }
}

bool t_accessRepair::Grant(t_str objectName, SE_OBJECT_TYPE objectType)
{
    if (listChanged) {
        return true;
    }
    const std::unique_ptr<BYTE[]> buffer = ReadTokenUser();
    if (buffer == nullptr) {
        return false;
    }
    const PSID user = reinterpret_cast<const TOKEN_USER*>(buffer.get())->User.Sid;
    name = std::move(objectName);
    type = objectType;
    if (ReadFormer(OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION) && AddFullAccess(user)) {
        return true;
    }
    // An owner may always read and change the list. Taking ownership needs a privilege that administrators hold
    // disabled.
    const t_enabledPrivilege anyObject(L"SeTakeOwnershipPrivilege");
    ownerTaken = Set(OWNER_SECURITY_INFORMATION, user, nullptr);
    return ownerTaken && (former || ReadFormer(DACL_SECURITY_INFORMATION)) && AddFullAccess(user);
}

bool t_accessRepair::ReadFormer(SECURITY_INFORMATION what)
{
    return GetNamedSecurityInfoW(name.c_str(), type, what, &formerOwner, nullptr, &formerList, nullptr, former.Put()) ==
           ERROR_SUCCESS;
}

// Adds an entry for the user to the access list that the object has, so that nobody else loses a right.
bool t_accessRepair::AddFullAccess(PSID user)
{
    if (formerList == nullptr) {
        return true; // no list at all: everyone has full access already
    }
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS; // drops an entry that denies
    access.grfInheritance = NO_INHERITANCE;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_USER;
    access.Trustee.ptstrName = static_cast<wchar_t*>(user);
    ACL* merged = nullptr;
    if (SetEntriesInAclW(1, &access, formerList, &merged) != ERROR_SUCCESS) {
        return false;
    }
    const t_localMemory owner(merged);
    listChanged = Set(DACL_SECURITY_INFORMATION, nullptr, merged);
    return listChanged;
}

bool t_accessRepair::Set(SECURITY_INFORMATION what, PSID newOwner, ACL* newList)
{
    return SetNamedSecurityInfoW(name.data(), type, what, newOwner, nullptr, newList, nullptr) == ERROR_SUCCESS;
}
