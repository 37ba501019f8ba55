#include "base/file_version.h"

#include <memory>
#include <new>

bool ReadFileVersion(const wchar_t* path, VS_FIXEDFILEINFO& info)
{
    const DWORD size = GetFileVersionInfoSizeW(path, nullptr);
    if (size == 0) {
        return false;
    }
    const std::unique_ptr<BYTE[]> resource(new (std::nothrow) BYTE[size]);
    if (resource == nullptr || !GetFileVersionInfoW(path, 0, size, resource.get())) {
        return false;
    }
    void* fixedPart = nullptr;
    UINT fixedSize = 0;
    if (!VerQueryValueW(resource.get(), L"\\", &fixedPart, &fixedSize) || fixedSize < sizeof(info)) {
        return false;
    }
    info = *static_cast<const VS_FIXEDFILEINFO*>(fixedPart);
    return true;
}
