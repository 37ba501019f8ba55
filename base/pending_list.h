#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/path.h"
#include "base/simple_array.h"

// The stored form of the file operations that wait for the next restart: texts in pairs of source and target, each with
// its terminator, and one terminator more at the end. An empty target deletes the source, so an empty text does not end
// the list. Whatever stands there, nothing outside it is looked at.

struct t_pendingOperation
{
    t_path source;         // plain path, without what the system puts before it
    t_path target;         // plain path of the new place; empty: the source is deleted
    bool replaces = false; // whether a file in the new place is replaced
};

using t_pendingOperations = itl::ImmSimpleArray<t_pendingOperation>;

// Takes the list apart, in its order. Pairs without a source are left out; a last text without a partner is one that is
// deleted.
//   stored  the value's units with all terminators
t_pendingOperations ReadPendingList(std::wstring_view stored);

// Whether an operation moves, deletes or replaces a file, or one in the folder of that path. Letter case is ignored.
//   path  full path without a trailing backslash; not empty
bool ConcernsPath(const t_pendingOperation& operation, std::wstring_view path);

// The list without the operations that concern a path; the other pairs stay as they are stored.
//   removed  receives the number of operations left out
// Returns an empty text when nothing is left.
std::wstring RemoveFromPendingList(std::wstring_view stored, std::wstring_view path, std::size_t& removed);
