#pragma once

#include <windows.h>

#include <cstdint>

#include "base/file_content.h"
#include "base/handles.h"

// The owner of an open file, or of a folder that is opened like one. Its functions return false and set the last error
// on failure: what a failure means, and the text for it, is known to the caller. Sizes and positions are in bytes.
class t_openFile
{
public:
    // Network redirectors before Vista refuse to move more than 64 MB in one call.
    static constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 20;

    t_openFile() = default;

    // Opens or creates a file; without success the object is empty and the last error tells why.
    //   path     not null
    //   access, share, disposition, flags
    //            as the system call takes them
    //   wished   rights asked for beyond the access, and done without where they are denied
    // Behind it: CreateFileW.
    t_openFile(const wchar_t* path, DWORD access, DWORD share, DWORD disposition, DWORD flags,
               DWORD wished = 0) noexcept;

    explicit operator bool() const { return static_cast<bool>(file); }
    HANDLE Handle() const { return file.Get(); }
    void Close() { file.Reset(); }

    // Behind it: GetFileSizeEx.
    [[nodiscard]] bool ReadSize(std::uint64_t& size) const;

    // Reads from the position on until the buffer is full or the file ends. Behind it: ReadFile.
    //   count  receives the number of bytes read
    [[nodiscard]] bool Read(void* buffer, std::size_t bytes, std::size_t& count) const;

    // Reads the whole of a file that was just opened. Memory that cannot be had raises std::bad_alloc.
    //   content   receives the bytes
    //   maxBytes  a larger file gives ERROR_FILE_TOO_LARGE
    // Somebody who changes the file's length meanwhile gives ERROR_SHARING_VIOLATION.
    [[nodiscard]] bool ReadAll(t_fileContent& content, std::size_t maxBytes) const;

    // Writes all bytes at the position. Behind it: WriteFile.
    [[nodiscard]] bool Write(const void* data, std::size_t bytes) const;

    // Sets the position, from the file's beginning. Behind it: SetFilePointerEx.
    [[nodiscard]] bool Seek(std::uint64_t position) const;

    // Cuts or extends the file, and leaves the position at its end. Behind it: SetEndOfFile.
    [[nodiscard]] bool Resize(std::uint64_t size) const;

    // Has everything written to the disk. Behind it: FlushFileBuffers.
    [[nodiscard]] bool Flush() const;

private:
    t_handle file;
};

// t_openFile::Write for a handle that belongs to somebody else, such as a standard stream.
[[nodiscard]] bool WriteToHandle(HANDLE file, const void* data, std::size_t bytes);
