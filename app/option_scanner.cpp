#include "app/option_scanner.h"

#include <atomic>
#include <cwchar>
#include <numeric>
#include <string_view>

namespace {

// A leading '+' holds for the rest of the scan, even when the caller passes the bare letters on later calls. A hint
// between calls and no guard of other data, hence relaxed.
std::atomic<bool> inOrderRemembered = false;

bool AtEnd(const t_optionState& state)
{
    return state.arguments == nullptr || state.nextIndex >= state.argumentCount;
}

const wchar_t* NextArgument(const t_optionState& state)
{
    const wchar_t* const argument = state.arguments[state.nextIndex];
    return argument != nullptr ? argument : L"";
}

// Exchanges two neighbouring groups of arguments in place, keeping the order inside each.
void ExchangeGroups(wchar_t** group, std::int32_t firstLength, std::int32_t secondLength)
{
    const std::int32_t cycles = std::gcd(firstLength, secondLength);
    for (std::int32_t start = 0; start < cycles; ++start) {
        wchar_t* const carried = group[start];
        std::int32_t hole = start;
        for (;;) {
            const std::int32_t source = hole < secondLength ? hole + firstLength : hole - secondLength;
            if (source == start) {
                break;
            }
            group[hole] = group[source];
            hole = source;
        }
        group[hole] = carried;
    }
}

// Moves the pending run of non-options behind the options found after it, so that it ends before the next index.
void MoveSkippedBehindOptions(t_optionState& state)
{
    const std::int32_t optionsFound = state.nextIndex - 1 - state.lastSkipped;
    ExchangeGroups(state.arguments + state.firstSkipped, state.lastSkipped - state.firstSkipped + 1, optionsFound);
    state.firstSkipped += optionsFound;
    state.lastSkipped += optionsFound;
}

void SkipNonOption(t_optionState& state)
{
    if (state.firstSkipped == -1) {
        state.firstSkipped = state.nextIndex;
    } else {
        MoveSkippedBehindOptions(state);
    }
    state.lastSkipped = state.nextIndex++;
}

void ForgetSkipped(t_optionState& state)
{
    state.firstSkipped = -1;
    state.lastSkipped = -1;
}

std::int32_t EndScan(t_optionState& state)
{
    if (state.firstSkipped != -1) {
        MoveSkippedBehindOptions(state);
        state.nextIndex = state.firstSkipped;
        ForgetSkipped(state);
    }
    return kOptionsEnd;
}

std::int32_t MissingArgument(const wchar_t* options)
{
    return *options == L':' ? kMissingArgument : kBadOption;
}

// Takes the next argument, whatever it looks like, as the text that belongs to the result.
void TakeNextArgument(t_optionState& state)
{
    state.optionArgument = NextArgument(state);
    ++state.nextIndex;
}

// The entry the name stands for, or null when it is unknown or ambiguous. Table order matters: a name that two entries
// before its exact match begin with is ambiguous.
const t_longOption* FindLongOption(const t_longOption* table, std::wstring_view name)
{
    const t_longOption* abbreviated = nullptr;
    for (const t_longOption* entry = table; entry->name != nullptr; ++entry) {
        const std::wstring_view candidate = entry->name;
        if (!candidate.starts_with(name)) {
            continue;
        }
        if (candidate.size() == name.size()) {
            return entry;
        }
        if (abbreviated != nullptr) {
            return nullptr;
        }
        abbreviated = entry;
    }
    return abbreviated;
}

// Scans "name" or "name=text", which ends the argument at the next index.
std::int32_t ScanLongOption(t_optionState& state, const wchar_t* options, const wchar_t* text)
{
    ++state.nextIndex;
    const std::size_t nameLength = std::wcscspn(text, L"=");
    const wchar_t* const inlineArgument = text[nameLength] == L'=' ? text + nameLength + 1 : nullptr;
    const t_longOption* const entry = FindLongOption(state.longOptions, std::wstring_view(text, nameLength));
    if (entry == nullptr) {
        state.optionLetter = 0;
        return kBadOption;
    }
    state.optionLetter = entry->value;
    if (inlineArgument != nullptr) {
        if (entry->argumentKind == kNoArgument) {
            return kBadOption;
        }
        state.optionArgument = inlineArgument;
    } else if (entry->argumentKind == kRequiredArgument) {
        if (AtEnd(state)) {
            return MissingArgument(options);
        }
        TakeNextArgument(state);
    }
    if (state.longIndex != nullptr) {
        *state.longIndex = static_cast<std::int32_t>(entry - state.longOptions);
    }
    if (entry->flag == nullptr) {
        return entry->value;
    }
    *entry->flag = entry->value;
    return kFlagStored;
}

// Scans the letter at the position, which is not empty.
std::int32_t ScanShortOption(t_optionState& state, const wchar_t* options)
{
    const wchar_t letter = *state.position++;
    const wchar_t* const rest = state.position;
    const bool clusterEnded = *rest == L'\0';
    if (clusterEnded) {
        ++state.nextIndex;
    }
    state.optionLetter = letter;
    const wchar_t* const known = letter == L':' ? nullptr : std::wcschr(options, letter);
    if (known == nullptr) {
        return letter == L'-' ? kOptionsEnd : kBadOption;
    }
    const bool longEscape = letter == L'W' && known[1] == L';' && state.longOptions != nullptr;
    if (known[1] != L':' && !longEscape) {
        return letter;
    }
    state.position = L"";
    const bool missing = clusterEnded && AtEnd(state);
    if (longEscape) {
        return missing ? MissingArgument(options)
                       : ScanLongOption(state, options, clusterEnded ? NextArgument(state) : rest);
    }
    if (!clusterEnded) {
        state.optionArgument = rest;
        ++state.nextIndex;
    } else if (known[2] != L':') {
        if (missing) {
            return MissingArgument(options);
        }
        TakeNextArgument(state);
    }
    return letter;
}

} // namespace

std::int32_t GetOptionNext(t_optionState& state)
{
    const wchar_t* options = state.optionString != nullptr ? state.optionString : L"";
    const bool returnsNonOptions = *options == L'-';
    bool inOrder = *options == L'+';
    if (returnsNonOptions || inOrder) {
        ++options;
    }

    const bool startsScan = state.nextIndex <= 0;
    if (startsScan || inOrder) {
        inOrderRemembered.store(inOrder, std::memory_order_relaxed);
    } else {
        inOrder = inOrderRemembered.load(std::memory_order_relaxed);
    }
    if (startsScan) {
        state.nextIndex = 1;
        state.resetFlag = 1;
    }
    if (state.resetFlag != 0) {
        state.resetFlag = 0;
        state.position = L"";
        ForgetSkipped(state);
    }

    state.optionArgument = nullptr;
    if (state.position != nullptr && *state.position != L'\0') {
        return ScanShortOption(state, options);
    }
    while (!AtEnd(state)) {
        const wchar_t* const argument = NextArgument(state);
        if (argument[0] != L'-' || argument[1] == L'\0') {
            if (returnsNonOptions) {
                TakeNextArgument(state);
                return kNonOption;
            }
            if (inOrder) {
                return kOptionsEnd;
            }
            SkipNonOption(state);
            continue;
        }
        if (argument[1] == L'-') {
            if (argument[2] == L'\0') {
                ++state.nextIndex;
                break;
            }
            if (state.longOptions != nullptr) {
                return ScanLongOption(state, options, argument + 2);
            }
        }
        state.position = argument + 1;
        return ScanShortOption(state, options);
    }
    return EndScan(state);
}
