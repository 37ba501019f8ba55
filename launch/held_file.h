#pragma once

#include "base/open_file.h"
#include "base/path.h"
#include "diag/error_chain.h"

// A file that is held open so that it stays what it was when it was checked: while this object lives, nobody can write,
// rename or delete it, nor move a folder above it.
class t_heldFile
{
public:
    // Opens a file for reading and finds out where it really lies.
    //   path  full path on a drive or of a network share, also behind "\\?\"; not null. Links are followed, except
    //         before Vista, where a path that leads over one fails
    // Fails on any other form of path, one that names a stream of a file, a file that somebody may be writing to, and
    // one whose real path is longer than 259 characters. Behind it: CreateFileW, GetFinalPathNameByHandleW.
    [[nodiscard]] bool Open(t_errorChain& errors, const wchar_t* path);

    // Open for reading; its position is anywhere.
    const t_openFile& File() const { return file; }

    // The real path: no links, no short names, no "..", in the plain form "C:\…" or "\\server\…". It was found to lead
    // to the very file that is held. Of a file with several names (hard links) it is any, but one that was opened by a
    // name of the system directory keeps that name.
    const t_path& Path() const { return realPath; }

    // Whether the folder of the real path is the system directory itself.
    bool IsInSystemDirectory() const;

private:
    t_openFile file;
    t_path realPath;
    bool openedInSystemDirectory = false;
};
