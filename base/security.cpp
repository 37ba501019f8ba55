#include "base/security.h"

#include <sddl.h>

#include "base/handles.h"
#include "base/os_version.h"
#include "base/str.h"

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
