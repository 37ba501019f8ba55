#include "base/pending_list.h"

#include "base/ascii_case.h"

namespace {

constexpr std::wstring_view kNativePrefix = L"\\??\\";
constexpr std::wstring_view kNativeNetwork = L"UNC\\";

// Cuts the first text off the list. Returns it without its terminator.
std::wstring_view TakeText(std::wstring_view& stored)
{
    const std::wstring_view text = stored.substr(0, stored.find(L'\0'));
    stored.remove_prefix(text.size() < stored.size() ? text.size() + 1 : text.size());
    return text;
}

// The plain path of a stored one: the system names files by their native paths, and newer systems write "*" and a
// number before those of their own operations.
t_path PlainPath(std::wstring_view stored)
{
    if (stored.starts_with(L'*')) {
        const std::size_t end = stored.find_first_not_of(L"0123456789", 1);
        stored.remove_prefix(end == stored.npos ? stored.size() : end);
    }
    t_path path;
    if (stored.starts_with(kNativePrefix)) {
        stored.remove_prefix(kNativePrefix.size());
        if (EqualIgnoringCase(stored.substr(0, kNativeNetwork.size()), kNativeNetwork)) {
            stored.remove_prefix(kNativeNetwork.size());
            path = L"\\\\";
        }
    }
    path.append(stored);
    return path;
}

t_pendingOperation MakeOperation(std::wstring_view source, std::wstring_view target)
{
    t_pendingOperation operation;
    operation.source = PlainPath(source);
    operation.replaces = target.starts_with(L'!');
    operation.target = PlainPath(target.substr(operation.replaces ? 1 : 0));
    return operation;
}

// Calls visit(source, target) with the stored texts of every pair.
template <class Visit>
void ForEachPair(std::wstring_view stored, Visit visit)
{
    while (!stored.empty()) {
        const std::wstring_view source = TakeText(stored);
        if (source.empty() && stored.empty()) {
            return; // the list's own terminator
        }
        visit(source, TakeText(stored));
    }
}

bool IsAtOrBelow(std::wstring_view path, std::wstring_view folder)
{
    return EqualIgnoringCase(path.substr(0, folder.size()), folder) &&
           (path.size() == folder.size() || path[folder.size()] == L'\\');
}

} // namespace

t_pendingOperations ReadPendingList(std::wstring_view stored)
{
    t_pendingOperations operations;
    ForEachPair(stored, [&](std::wstring_view source, std::wstring_view target) {
        if (!source.empty()) {
            operations.push_back(MakeOperation(source, target));
        }
    });
    return operations;
}

bool ConcernsPath(const t_pendingOperation& operation, std::wstring_view path)
{
    return IsAtOrBelow(operation.source, path) || IsAtOrBelow(operation.target, path);
}

std::wstring RemoveFromPendingList(std::wstring_view stored, std::wstring_view path, std::size_t& removed)
{
    removed = 0;
    std::wstring rest;
    ForEachPair(stored, [&](std::wstring_view source, std::wstring_view target) {
        if (!source.empty() && ConcernsPath(MakeOperation(source, target), path)) {
            ++removed;
            return;
        }
        rest.append(source).append(1, L'\0').append(target).append(1, L'\0');
    });
    return rest.empty() ? rest : rest.append(1, L'\0');
}
