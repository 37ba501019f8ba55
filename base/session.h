#pragma once

#include <cstdint>

#include "base/str.h"
#include "diag/error_chain.h"

// The session that this process runs in and the user who is logged on to it, who need not be the one that the process
// runs as.
struct t_session
{
    t_str user;    // "DOMAIN\name", or the name alone; empty while nobody is logged on
    t_str userSid; // the user's security identifier as text, which names the hive; empty when it is not known
};

// Reads the session.
// On failure appends the system error and "无法读取会话用户", and leaves what could not be had empty. Nobody being
// logged on is no failure. Behind it: WTSQuerySessionInformationW, LookupAccountNameW, ConvertSidToStringSidW.
bool ReadCurrentSession(t_errorChain& errors, t_session& session);

// The session's number; 0 when it cannot be had. Behind it: ProcessIdToSessionId.
std::uint32_t CurrentSessionId();

// Whether this process has an administrator's rights: it is elevated or, before Vista, its user is an administrator.
bool IsProcessElevated();

// Reads the integrity level of this process, such as 0x2000 for medium.
// Returns false before Vista, which has none. Behind it: GetTokenInformation.
bool ReadIntegrityLevel(std::uint32_t& level);
