#include "report/file_facts.h"

#include <windows.h>

#include "base/ascii_case.h"
#include "base/file_version.h"
#include "launch/module_verification.h"
#include "report/described_errors.h"

namespace n_report {

namespace {

// Why the verification refuses a file. The path that is shown in front of the answer is left out of it; another one,
// where a link leads, stays.
t_str DescribeRefusal(const t_errorChain& errors, const t_path& path, const t_path& realPath)
{
    t_str text = DescribeErrors(errors);
    if (EqualIgnoringCase(path, realPath)) {
        for (const wchar_t* const joint : {L" 的", L" "}) {
            const std::wstring known = L"模块校验失败:" + realPath + joint;
            if (const std::size_t at = text.find(known); at != t_str::npos) {
                text.erase(at, known.size());
                break;
            }
        }
    }
    return text;
}

template <class Verify>
t_file ReadAndVerify(const t_path& path, Verify verify)
{
    t_file file = ReadFile(path);
    if (file.present) {
        t_errorChain errors;
        t_heldFile held;
        file.genuine = verify(errors, held);
        file.verification = file.genuine ? t_str(L"accepted") : DescribeRefusal(errors, path, held.Path());
    }
    return file;
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
    return ReadAndVerify(
        path, [&](t_errorChain& errors, t_heldFile& held) { return VerifyModule(errors, path.c_str(), held); });
}

t_file ReadSignedFile(const t_path& path)
{
    // Of a module in the system directory, where every file would be accepted.
    return ReadAndVerify(path, [&](t_errorChain& errors, t_heldFile& held) {
        return held.Open(errors, path.c_str()) && IsMakersFile(errors, held);
    });
}

} // namespace n_report
