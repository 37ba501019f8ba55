#include "report/file_facts.h"

#include <windows.h>

#include "base/file_version.h"
#include "launch/module_verification.h"
#include "report/described_errors.h"

namespace n_report {

namespace {

void Verify(const t_path& path, t_file& file)
{
    t_errorChain errors;
    t_heldFile held;
    file.genuine = VerifyModule(errors, path.c_str(), held);
    file.verification = file.genuine ? t_str(L"accepted") : DescribeErrors(errors);
}

// Of a module in the system directory, where every file would be accepted.
void VerifyMaker(const t_path& path, t_file& file)
{
    t_errorChain errors;
    t_heldFile held;
    file.genuine = held.Open(errors, path.c_str()) && IsMakersFile(errors, held);
    file.verification = file.genuine ? t_str(L"accepted") : DescribeErrors(errors);
}

} // namespace

t_file ReadFile(const t_path& path)
{
    t_file file;
    file.name = t_str(std::wstring(FileNamePart(path)));
    file.path = path;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    file.present = GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) &&
                   (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    if (file.present) {
        file.bytes = static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
        VS_FIXEDFILEINFO info{};
        if (ReadFileVersion(path.c_str(), info)) {
            file.version = FormatStr(L"%u.%u.%u.%u", HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS),
                                     HIWORD(info.dwFileVersionLS), LOWORD(info.dwFileVersionLS));
        }
    }
    return file;
}

t_file ReadVerifiedFile(const t_path& path)
{
    t_file file = ReadFile(path);
    if (file.present) {
        Verify(path, file);
    }
    return file;
}

t_file ReadSignedFile(const t_path& path)
{
    t_file file = ReadFile(path);
    if (file.present) {
        VerifyMaker(path, file);
    }
    return file;
}

} // namespace n_report
