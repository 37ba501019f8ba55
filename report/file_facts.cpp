#include "report/file_facts.h"

#include <windows.h>

#include <algorithm>

#include "base/ascii_case.h"
#include "base/file_version.h"
#include "launch/code_signature.h"
#include "launch/digest.h"
#include "launch/maker_identity.h"
#include "launch/module_verification.h"
#include "report/described_errors.h"

namespace n_report {

namespace {

bool IsListed(const t_heldFile& file)
{
    const auto& list = kMakerIdentity.listedDigests;
    const std::wstring_view name = FileNamePart(file.Path());
    t_md5Digest digest;
    return std::any_of(list.begin(), list.end(),
                       [name](const t_listedDigest& listed) { return EqualIgnoringCase(listed.fileName, name); }) &&
           ComputeMd5(file.Handle(), digest) &&
           std::any_of(list.begin(), list.end(), [&](const t_listedDigest& listed) {
               return EqualIgnoringCase(listed.fileName, name) && listed.digest == digest;
           });
}

void Verify(const t_path& path, t_file& file)
{
    t_errorChain errors;
    t_heldFile held;
    file.genuine = VerifyModule(errors, path.c_str(), held);
    file.verification = file.genuine ? t_str(L"accepted") : DescribeErrors(errors);
}

void ReadSigner(const t_path& path, t_file& file)
{
    t_errorChain errors;
    t_heldFile held;
    if (!held.Open(errors, path.c_str())) {
        file.verification = DescribeErrors(errors);
        return;
    }
    t_str signer;
    const LONG status = ReadCodeSigner(held, signer);
    if (status == ERROR_SUCCESS) {
        file.genuine = signer == kMakerIdentity.name;
        file.verification = FormatStr(L"signed by \"%s\"%s", signer.c_str(), file.genuine ? L"" : L", not the maker");
    } else {
        file.verification = DescribeSystemError(L"no valid signature", static_cast<DWORD>(status));
    }
    if (!file.genuine && IsListed(held)) {
        file.genuine = true;
        file.verification = L"on the maker's list of digests";
    }
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
        ReadSigner(path, file);
    }
    return file;
}

} // namespace n_report
