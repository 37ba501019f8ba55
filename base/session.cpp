#include "base/session.h"

#include <windows.h>

#include <sddl.h>
#include <wtsapi32.h>

#include <memory>

#include "base/handles.h"
#include "diag/system_error.h"

namespace {

void FreeSessionText(wchar_t* text)
{
    WTSFreeMemory(text);
}

using t_sessionText = ImmUnique<wchar_t*, &FreeSessionText>;

bool ReadSessionText(WTS_INFO_CLASS kind, t_str& text)
{
    t_sessionText buffer;
    DWORD bytes = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, WTS_CURRENT_SESSION, kind, buffer.Put(), &bytes)) {
        return false;
    }
    text = buffer ? buffer.Get() : L"";
    return true;
}

// The security identifier of a user as text. A name may also be that of a group, a domain or the machine, which have no
// hive. Sets the last error on failure.
bool ReadUserSid(const t_str& account, t_str& sidText)
{
    wchar_t domain[1024];
    DWORD domainLength = ARRAYSIZE(domain);
    DWORD size = 0;
    SID_NAME_USE use{};
    LookupAccountNameW(nullptr, account.c_str(), nullptr, &size, domain, &domainLength, &use);
    if (size == 0) {
        return false;
    }
    const auto sid = std::make_unique<BYTE[]>(size);
    domainLength = ARRAYSIZE(domain);
    wchar_t* text = nullptr;
    if (!LookupAccountNameW(nullptr, account.c_str(), sid.get(), &size, domain, &domainLength, &use)) {
        return false;
    }
    if (use != SidTypeUser) {
        SetLastError(ERROR_NONE_MAPPED);
        return false;
    }
    if (!ConvertSidToStringSidW(sid.get(), &text)) {
        return false;
    }
    const t_localMemory owner(text);
    sidText = text;
    return true;
}

// Reads fixed or variable information of this process's token.
template <class Information>
bool ReadToken(TOKEN_INFORMATION_CLASS kind, Information& information, DWORD bytes = sizeof(Information))
{
    t_handle token;
    return OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()) &&
           GetTokenInformation(token.Get(), kind, &information, bytes, &bytes);
}

bool IsAdministrator()
{
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID group = nullptr;
    if (!AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                  &group)) {
        return false;
    }
    BOOL member = FALSE;
    CheckTokenMembership(nullptr, group, &member);
    FreeSid(group);
    return member != FALSE;
}

} // namespace

bool ReadCurrentSession(t_errorChain& errors, t_session& session)
{
    constexpr wchar_t kFailed[] = L"无法读取会话用户";
    session = {};
    t_str name, domain;
    if (!ReadSessionText(WTSUserName, name)) {
        return FailWithSystemError(errors, GetLastError(), kFailed);
    }
    if (name.empty()) {
        return true;
    }
    ReadSessionText(WTSDomainName, domain);
    const auto lookUp = [&session](const t_str& account) {
        session.user = account;
        return ReadUserSid(account, session.userSid);
    };
    // A bare name means a local account of that name first, so the domain's comes before it.
    return (!domain.empty() && lookUp(FormatStr(L"%s\\%s", domain.c_str(), name.c_str()))) || lookUp(name) ||
           FailWithSystemError(errors, GetLastError(), kFailed);
}

std::uint32_t CurrentSessionId()
{
    DWORD id = 0;
    return ProcessIdToSessionId(GetCurrentProcessId(), &id) ? id : 0;
}

bool IsProcessElevated()
{
    TOKEN_ELEVATION elevation{};
    return ReadToken(TokenElevation, elevation) ? elevation.TokenIsElevated != 0 : IsAdministrator();
}

bool ReadIntegrityLevel(std::uint32_t& level)
{
    union {
        TOKEN_MANDATORY_LABEL label;
        BYTE room[sizeof(TOKEN_MANDATORY_LABEL) + SECURITY_MAX_SID_SIZE];
    } information{};
    if (!ReadToken(TokenIntegrityLevel, information)) {
        return false;
    }
    const PSID sid = information.label.Label.Sid;
    level = *GetSidSubAuthority(sid, static_cast<DWORD>(*GetSidSubAuthorityCount(sid) - 1));
    return true;
}
