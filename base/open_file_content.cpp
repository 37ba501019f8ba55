#include <algorithm>
#include <utility>

#include "base/open_file.h"

// Apart from opening and reading piece by piece: a program that does no more links no more.

namespace {

bool FailWith(DWORD code)
{
    SetLastError(code);
    return false;
}

} // namespace

bool t_openFile::ReadSize(std::uint64_t& size) const
{
    LARGE_INTEGER number{};
    const bool known = GetFileSizeEx(file.Get(), &number);
    size = static_cast<std::uint64_t>(number.QuadPart);
    return known;
}

bool t_openFile::ReadAll(t_fileContent& content, std::size_t maxBytes) const
{
    std::uint64_t size = 0;
    if (!ReadSize(size)) {
        return false;
    }
    if (size > maxBytes) {
        return FailWith(ERROR_FILE_TOO_LARGE);
    }
    content = {}; // first of all: what an attempt before has read and the new memory would be too much together
    t_fileContent read(static_cast<std::size_t>(size) + 1); // one more, to see whether the file goes on
    std::size_t count = 0;
    if (!Read(read.Data(), read.size, count)) {
        return false;
    }
    read.size = static_cast<std::size_t>(size);
    content = std::move(read);
    return count == content.size || FailWith(ERROR_SHARING_VIOLATION);
}

bool t_openFile::Write(const void* data, std::size_t bytes) const
{
    return WriteToHandle(file.Get(), data, bytes);
}

bool t_openFile::Resize(std::uint64_t size) const
{
    return Seek(size) && SetEndOfFile(file.Get());
}

bool t_openFile::Flush() const
{
    return FlushFileBuffers(file.Get());
}

bool WriteToHandle(HANDLE file, const void* data, std::size_t bytes)
{
    DWORD moved = 0;
    for (std::size_t done = 0; done < bytes; done += moved) {
        const auto chunk = static_cast<DWORD>(std::min(bytes - done, t_openFile::kMaxTransferBytes));
        if (!WriteFile(file, static_cast<const char*>(data) + done, chunk, &moved, nullptr)) {
            return false;
        }
        if (moved == 0) {
            return FailWith(ERROR_DISK_FULL);
        }
    }
    return true;
}
