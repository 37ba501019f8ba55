#include "base/shared_memory.h"

#include "base/security.h"
#include "diag/system_error.h"

namespace {

constexpr DWORD kProtection = SEC_COMMIT | PAGE_READWRITE;
constexpr DWORD kAccess = FILE_MAP_READ | FILE_MAP_WRITE;

struct t_header
{
    std::uint32_t magic;
    std::uint32_t version;
    std::uint32_t size;

    friend bool operator==(const t_header&, const t_header&) = default;
};
static_assert(sizeof(t_header) == t_sharedMemory::kHeaderBytes);

constexpr std::uint32_t kMagic = 0x4D535654; // "TVSM"
constexpr std::uint32_t kVersion = 1;

// A view of memory that another program only reserved would fault when it is touched.
bool IsCommitted(const void* view, std::size_t bytes)
{
    MEMORY_BASIC_INFORMATION region{};
    return VirtualQuery(view, &region, sizeof(region)) == sizeof(region) && region.State == MEM_COMMIT &&
           region.Protect == PAGE_READWRITE && region.RegionSize >= bytes;
}

} // namespace

bool t_sharedMemory::Open(t_errorChain& errors, const wchar_t* name, std::uint32_t bytes)
{
    if (bytes > MAXDWORD - kHeaderBytes) {
        return FailWithSystemError(errors, ERROR_INVALID_PARAMETER, L"创建共享内存失败：%s", name);
    }
    const DWORD total = kHeaderBytes + bytes;
    t_handle opened(OpenFileMappingW(kAccess, FALSE, name));
    if (!opened) {
        opened.Reset(CreateFileMappingW(INVALID_HANDLE_VALUE, OpenSecurityAttributes(), kProtection, 0, total, name));
    }
    if (!opened) {
        return FailWithSystemError(errors, GetLastError(), L"创建共享内存失败：%s", name);
    }
    t_view mapped(MapViewOfFile(opened.Get(), kAccess, 0, 0, total));
    if (!mapped) {
        return FailWithSystemError(errors, GetLastError(), L"映射共享内存失败：%s", name);
    }
    const t_header expected{kMagic, kVersion, bytes};
    if (!IsCommitted(mapped.Get(), total)) {
        return errors.Fail(L"共享内存格式不符：%s", name);
    }
    auto& header = *static_cast<t_header*>(mapped.Get());
    if (header == t_header{}) {
        header = expected;
    } else if (header != expected) {
        return errors.Fail(L"共享内存格式不符：%s", name);
    }
    mapping = std::move(opened);
    view = std::move(mapped);
    return true;
}
