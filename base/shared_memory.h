#pragma once

#include <windows.h>

#include <cstdint>

#include "base/handles.h"
#include "diag/error_chain.h"

// A named block of memory that the processes of one session share, zeroed when the first of them makes it and gone with
// the last. Before it stands a header of 12 bytes, by which a block of another program, version or size is refused.
class t_sharedMemory
{
public:
    static constexpr std::uint32_t kHeaderBytes = 12;

    // Opens the block, or makes it open to every user and integrity. All processes must hold one lock meanwhile, so
    // that nobody finds a header half written. Anybody may have written to the block: its content is not to be trusted.
    //   name   not null
    //   bytes  size of the block behind its header
    // On failure leaves the object as it was and appends the system error and the name, or, when the block is not what
    // it should be, "共享内存格式不符：" with the name. Behind it: OpenFileMappingW, CreateFileMappingW, MapViewOfFile.
    [[nodiscard]] bool Open(t_errorChain& errors, const wchar_t* name, std::uint32_t bytes);

    // The block behind its header, aligned to four bytes; null before Open.
    void* Data() const { return view ? static_cast<BYTE*>(view.Get()) + kHeaderBytes : nullptr; }

private:
    using t_view = ImmUnique<void*, &UnmapViewOfFile>;

    t_handle mapping; // kept: the block has its name only while someone has a handle
    t_view view;
};
