#pragma once

#include <windows.h>

#include <accctrl.h>

#include "base/handles.h"
#include "base/str.h"

// Full access of the current user to a named object, for as long as this object lives: then the object, if it is still
// there, gets its access list and its owner back.
class t_accessRepair
{
public:
    t_accessRepair() = default;
    t_accessRepair(const t_accessRepair&) = delete;
    t_accessRepair& operator=(const t_accessRepair&) = delete;

    // The owner stays replaced where the old one was not readable before, or where the system does not let the current
    // user name him.
    ~t_accessRepair();

    // Gives the access, to that object alone and to nothing below it, taking the ownership when nothing less will do.
    // Does nothing when it was given before.
    //   objectName  in the form that the security functions take, such as "CURRENT_USER\Software\X" for a registry key
    // Returns whether the current user has full access. Behind it: GetNamedSecurityInfoW, SetNamedSecurityInfoW.
    bool Grant(t_str objectName, SE_OBJECT_TYPE objectType);

private:
    bool ReadFormer(SECURITY_INFORMATION what);
    bool AddFullAccess(PSID user);
    bool Set(SECURITY_INFORMATION what, PSID newOwner, ACL* newList);

    t_str name;
    SE_OBJECT_TYPE type = SE_UNKNOWN_OBJECT_TYPE;
    bool ownerTaken = false;
    bool listChanged = false;
    t_localMemory former; // holds what the next two mean
    PSID formerOwner = nullptr;
    ACL* formerList = nullptr;
};
