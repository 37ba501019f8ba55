#include "diag/error_chain.h"

t_str& t_errorChain::NewEntry()
{
    if (!keepsEntries) {
        notKept.clear();
        return notKept;
    }
    last = entries.emplace_after(last);
    return *last;
}

void t_errorChain::Clear()
{
    entries.clear();
    last = entries.before_begin();
    failed = false;
}
