#pragma once

#include <forward_list>

#include "base/str.h"

// The caller-owned chain of error entries, oldest first, that every fallible operation appends to.
class t_errorChain
{
public:
    t_errorChain() = default;

    // A chain for failures that are expected or tolerated: it keeps no entries, and none of their texts is made.
    //   t_errorChain tolerated(t_errorChain::kDiscarding);
    struct t_discarding
    {
    };
    static constexpr t_discarding kDiscarding{};
    explicit t_errorChain(t_discarding) : keepsEntries(false) {}

    t_errorChain(const t_errorChain&) = delete;
    t_errorChain& operator=(const t_errorChain&) = delete;

    // Appends an empty entry and returns it for the caller to write into; it stays valid until Clear. One that is not
    // kept stays valid until the next.
    t_str& NewEntry();

    // Whether it is worth while to make an entry's text.
    bool KeepsEntries() const { return keepsEntries; }

    // Sets the failed flag, appends an entry with the formatted text and returns false, so that a failing operation can
    // end with its result. The format follows the rules of t_str::AppendFormat.
    template <class... Args>
    bool Fail(const wchar_t* format, Args... arguments)
    {
        failed = true;
        if (keepsEntries) {
            NewEntry().AppendFormat(format, arguments...);
        }
        return false;
    }

    // Drops every entry and clears the failed flag.
    void Clear();

    bool IsEmpty() const { return entries.empty(); }
    const std::forward_list<t_str>& Entries() const { return entries; }

    // The failed flag: set by Fail, cleared when the chain is joined or shown.
    bool HasFailed() const { return failed; }
    void ClearFailed() { failed = false; }

private:
    std::forward_list<t_str> entries;
    std::forward_list<t_str>::iterator last = entries.before_begin();
    t_str notKept;
    bool keepsEntries = true;
    bool failed = false;
};
