#include "launch/module_verification.h"

#include <algorithm>

#include "base/ascii_case.h"
#include "diag/system_error.h"
#include "launch/code_signature.h"
#include "launch/maker_identity.h"

bool VerifyModule(t_errorChain& errors, const wchar_t* path, t_heldFile& file)
{
    return file.Open(errors, path) && (file.IsInSystemDirectory() || IsMakersFile(errors, file));
}

bool IsMakersFile(t_errorChain& errors, const t_heldFile& file)
{
    t_codeSigner signer;
    const LONG signature = ReadCodeSigner(file, signer);
    if (signature == ERROR_SUCCESS && kMakerIdentity.IsSigner(signer)) {
        return true;
    }

    const auto hasName = [name = FileNamePart(file.Path())](const t_listedDigest& listed) {
        return EqualIgnoringCase(listed.fileName, name);
    };
    const auto& list = kMakerIdentity.listedDigests;
    const bool nameIsListed = std::any_of(list.begin(), list.end(), hasName);
    if (nameIsListed) {
        t_md5Digest digest;
        if (!ComputeMd5(file.File(), digest)) {
            return FailWithSystemError(errors, GetLastError(), L"模块校验失败:无法读取 %s", file.Path().c_str());
        }
        if (std::any_of(list.begin(), list.end(),
                        [&](const t_listedDigest& listed) { return hasName(listed) && listed.digest == digest; })) {
            return true;
        }
    }

    const wchar_t* const listResult = nameIsListed ? L"摘要与清单不符" : L"不在摘要清单中";
    if (signature != ERROR_SUCCESS) {
        return FailWithSystemError(errors, static_cast<DWORD>(signature), L"模块校验失败:%s 没有有效的代码签名,且%s",
                                   file.Path().c_str(), listResult);
    }
    return errors.Fail(L"模块校验失败:%s 的签名者“%s”%s,且%s", file.Path().c_str(), signer.name.c_str(),
                       signer.name == kMakerIdentity.name ? L"的证书不是制作者的" : L"不是制作者", listResult);
}
