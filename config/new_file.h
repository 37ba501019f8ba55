#pragma once

#include <string_view>

#include "base/open_file.h"
#include "base/path.h"

namespace n_config {

// A file that was not there before, under a name of its own ("xxxxxxxx.tmp"). It is deleted again unless it takes
// another file's name or is kept. Functions return a system error code, ERROR_SUCCESS when they did their work.
class t_newFile
{
public:
    t_newFile() = default;
    t_newFile(const t_newFile&) = delete;
    t_newFile& operator=(const t_newFile&) = delete;
    ~t_newFile();

    // Creates the file empty, never touching one that exists. Behind it: CreateFileW.
    //   folder  with the separator at its end; empty for the current folder
    [[nodiscard]] DWORD Create(std::wstring_view folder);

    // Gives the file the access list of another one. Where there is none, or this file's may not be changed, the list
    // inherited from the folder stays. Behind it: GetFileSecurityW, SetKernelObjectSecurity.
    //   path  not null
    void CopyAccessList(const wchar_t* path);

    // Writes the content through to the disk and closes the file.
    [[nodiscard]] DWORD Write(std::string_view bytes);

    // Takes another file's name in one step; that file is gone then. Behind it: MoveFileExW.
    //   path  not null
    [[nodiscard]] DWORD TakeName(const wchar_t* path);

    // Leaves the file where it is and returns its path.
    ::t_path Keep() noexcept;

private:
    ::t_path path;
    t_openFile file;
    bool exists = false;
};

} // namespace n_config
