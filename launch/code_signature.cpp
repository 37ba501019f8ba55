#include "launch/code_signature.h"

#include <wincrypt.h>
#include <wintrust.h>
// These two stand on the one above.
#include <mscat.h>
#include <softpub.h>

#include <algorithm>
#include <span>

#include "base/system_directory.h"

namespace {

template <class Function>
bool Find(const t_library& library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library.Get(), name)));
    return function != nullptr;
}

// The trust functions of the system. They are looked up and not imported, so that the libraries are loaded only when a
// signature is to be checked.
struct t_trustFunctions
{
    t_library wintrust = LoadSystemLibrary(L"wintrust.dll");
    t_library crypt32 = LoadSystemLibrary(L"crypt32.dll");
    decltype(&WinVerifyTrust) verifyTrust = nullptr;
    decltype(&WTHelperProvDataFromStateData) dataFromState = nullptr;
    decltype(&WTHelperGetProvSignerFromChain) signerFromData = nullptr;
    decltype(&CertGetNameStringW) getNameString = nullptr;
    decltype(&CertOpenStore) openStore = nullptr;
    decltype(&CertEnumCertificatesInStore) findNext = nullptr;
    decltype(&CertCloseStore) closeStore = nullptr;

    bool FindAll()
    {
        return wintrust && crypt32 && Find(wintrust, "WinVerifyTrust", verifyTrust) &&
               Find(wintrust, "WTHelperProvDataFromStateData", dataFromState) &&
               Find(wintrust, "WTHelperGetProvSignerFromChain", signerFromData) &&
               Find(crypt32, "CertGetNameStringW", getNameString) && Find(crypt32, "CertOpenStore", openStore) &&
               Find(crypt32, "CertEnumCertificatesInStore", findNext) && Find(crypt32, "CertCloseStore", closeStore);
    }
};

std::span<const BYTE> Content(PCCERT_CONTEXT certificate)
{
    return {certificate->pbCertEncoded, certificate->cbCertEncoded};
}

// Whether a certificate is a root that the machine trusts, be it by itself, by a policy, or because the system fetched
// it: the store covers all three. Whole certificates are compared: what a search goes by, the issuer with a number, or
// the hash that a store keeps beside a certificate, can be made up in a store of the user's.
bool IsMachineRoot(const t_trustFunctions& functions, PCCERT_CONTEXT certificate)
{
    const HCERTSTORE store = functions.openStore(
        CERT_STORE_PROV_SYSTEM_W, 0, 0,
        CERT_SYSTEM_STORE_LOCAL_MACHINE | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG, L"Root");
    if (store == nullptr) {
        return false;
    }
    bool found = false;
    // Each call gives the certificate before back, so the walk goes to the end.
    for (PCCERT_CONTEXT root = nullptr; (root = functions.findNext(store, root)) != nullptr;) {
        found = found || std::ranges::equal(Content(root), Content(certificate));
    }
    functions.closeStore(store, 0);
    return found;
}

// One check, whose state the system keeps until it is closed.
class t_trustCheck
{
public:
    t_trustCheck(const t_trustFunctions& trustFunctions, const WINTRUST_DATA& subject)
        : functions(trustFunctions), request(subject)
    {
        request.cbStruct = sizeof(request);
        request.dwUIChoice = WTD_UI_NONE;
        request.fdwRevocationChecks = WTD_REVOKE_NONE;
        request.dwProvFlags = WTD_REVOCATION_CHECK_NONE | WTD_CACHE_ONLY_URL_RETRIEVAL;
        status = Call(WTD_STATEACTION_VERIFY);
    }
    t_trustCheck(const t_trustCheck&) = delete;
    t_trustCheck& operator=(const t_trustCheck&) = delete;
    ~t_trustCheck() { Call(WTD_STATEACTION_CLOSE); }

    // Status of the check; ERROR_SUCCESS only with the signer's name read.
    LONG ReadSigner(t_codeSigner& signer) const
    {
        if (status != ERROR_SUCCESS) {
            return status;
        }
        CRYPT_PROVIDER_DATA* const data = functions.dataFromState(request.hWVTStateData);
        const CRYPT_PROVIDER_SGNR* const first =
            data != nullptr ? functions.signerFromData(data, 0, FALSE, 0) : nullptr;
        if (first == nullptr || first->csCertChain == 0) {
            return TRUST_E_NO_SIGNER_CERT;
        }
        // The check takes the user's roots for trusted too, and every user may add to his own.
        if (!IsMachineRoot(functions, first->pasCertChain[first->csCertChain - 1].pCert)) {
            return CERT_E_UNTRUSTEDROOT;
        }
        const PCCERT_CONTEXT certificate = first->pasCertChain[0].pCert;
        // The display name would be another part of the subject, such as the organization's unit, where there is no
        // common name; who issues certificates need not have checked that one.
        char commonName[] = szOID_COMMON_NAME;
        const DWORD size = functions.getNameString(certificate, CERT_NAME_ATTR_TYPE, 0, commonName, nullptr, 0);
        signer.name.resize(size);
        functions.getNameString(certificate, CERT_NAME_ATTR_TYPE, 0, commonName, signer.name.data(), size);
        // The size counts the terminator; a name with a null inside it stays longer than its first half.
        signer.name.resize(size > 0 ? size - 1 : 0);
        signer.digest = ComputeSha256(Content(certificate));
        return signer.name.empty() ? TRUST_E_NO_SIGNER_CERT : ERROR_SUCCESS;
    }

private:
    LONG Call(DWORD stateAction)
    {
        GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
        request.dwStateAction = stateAction;
        return functions.verifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &request);
    }

    const t_trustFunctions& functions;
    WINTRUST_DATA request;
    LONG status;
};

// The catalogue functions of the system. The two that compute digests newer than SHA-1 came with Windows 8.
struct t_catalogueFunctions
{
    decltype(&CryptCATAdminAcquireContext) acquire = nullptr;
    decltype(&CryptCATAdminAcquireContext2) acquireForAlgorithm = nullptr;
    decltype(&CryptCATAdminCalcHashFromFileHandle) computeHash = nullptr;
    decltype(&CryptCATAdminCalcHashFromFileHandle2) computeHashFor = nullptr;
    decltype(&CryptCATAdminEnumCatalogFromHash) find = nullptr;
    decltype(&CryptCATCatalogInfoFromContext) readInfo = nullptr;
    decltype(&CryptCATAdminReleaseCatalogContext) releaseCatalogue = nullptr;
    decltype(&CryptCATAdminReleaseContext) release = nullptr;

    bool FindAll(const t_library& wintrust)
    {
        if (!Find(wintrust, "CryptCATAdminAcquireContext2", acquireForAlgorithm) ||
            !Find(wintrust, "CryptCATAdminCalcHashFromFileHandle2", computeHashFor)) {
            acquireForAlgorithm = nullptr;
        }
        return Find(wintrust, "CryptCATAdminAcquireContext", acquire) &&
               Find(wintrust, "CryptCATAdminCalcHashFromFileHandle", computeHash) &&
               Find(wintrust, "CryptCATAdminEnumCatalogFromHash", find) &&
               Find(wintrust, "CryptCATCatalogInfoFromContext", readInfo) &&
               Find(wintrust, "CryptCATAdminReleaseCatalogContext", releaseCatalogue) &&
               Find(wintrust, "CryptCATAdminReleaseContext", release);
    }
};

// A search of the system's catalogues, which list digests of files and are signed in the files' place.
class t_catalogueSearch
{
public:
    //   algorithm  name of the digest algorithm; null for SHA-1, the only one before Windows 8
    t_catalogueSearch(const t_catalogueFunctions& catalogueFunctions, HANDLE file, const wchar_t* algorithm)
        : functions(catalogueFunctions)
    {
        const GUID subsystem = DRIVER_ACTION_VERIFY;
        const bool ready =
            algorithm != nullptr
                ? functions.acquireForAlgorithm(&admin, &subsystem, algorithm, nullptr, 0) &&
                      functions.computeHashFor(admin, file, &hashBytes, hash, 0)
                : functions.acquire(&admin, &subsystem, 0) && functions.computeHash(file, &hashBytes, hash, 0);
        if (ready) {
            catalogue = functions.find(admin, hash, hashBytes, 0, nullptr);
        }
    }
    t_catalogueSearch(const t_catalogueSearch&) = delete;
    t_catalogueSearch& operator=(const t_catalogueSearch&) = delete;
    ~t_catalogueSearch()
    {
        if (catalogue != nullptr) {
            functions.releaseCatalogue(admin, catalogue, 0);
        }
        if (admin != nullptr) {
            functions.release(admin, 0);
        }
    }

    // Checks the catalogue that was found; TRUST_E_NOSIGNATURE when none was.
    LONG ReadSigner(const t_trustFunctions& trustFunctions, const t_heldFile& file, t_codeSigner& signer)
    {
        CATALOG_INFO info{};
        info.cbStruct = sizeof(info);
        if (catalogue == nullptr || !functions.readInfo(catalogue, &info, 0)) {
            return TRUST_E_NOSIGNATURE;
        }
        t_str memberTag;
        for (DWORD index = 0; index < hashBytes; ++index) {
            memberTag.AppendFormat(L"%02X", hash[index]);
        }
        // Windows 8 added one field, which tells the algorithm; older systems go by the size and leave it alone.
        struct t_catalogueMember
        {
            WINTRUST_CATALOG_INFO member;
            HCATADMIN admin;
        } subject{};
        static_assert(sizeof(subject) == sizeof(WINTRUST_CATALOG_INFO) + sizeof(HCATADMIN));
        subject.member.cbStruct = sizeof(subject);
        subject.member.pcwszCatalogFilePath = info.wszCatalogFile;
        subject.member.pcwszMemberTag = memberTag.c_str();
        subject.member.pcwszMemberFilePath = file.Path().c_str();
        subject.member.hMemberFile = file.File().Handle();
        subject.member.pbCalculatedFileHash = hash;
        subject.member.cbCalculatedFileHash = hashBytes;
        subject.admin = admin;
        WINTRUST_DATA request{};
        request.dwUnionChoice = WTD_CHOICE_CATALOG;
        request.pCatalog = &subject.member;
        return t_trustCheck(trustFunctions, request).ReadSigner(signer);
    }

private:
    const t_catalogueFunctions& functions;
    HCATADMIN admin = nullptr;
    HCATINFO catalogue = nullptr;
    BYTE hash[64]{};
    DWORD hashBytes = sizeof(hash);
};

LONG ReadOwnSigner(const t_trustFunctions& functions, const t_heldFile& file, t_codeSigner& signer)
{
    WINTRUST_FILE_INFO subject{};
    subject.cbStruct = sizeof(subject);
    subject.pcwszFilePath = file.Path().c_str();
    subject.hFile = file.File().Handle();
    WINTRUST_DATA request{};
    request.dwUnionChoice = WTD_CHOICE_FILE;
    request.pFile = &subject;
    return t_trustCheck(functions, request).ReadSigner(signer);
}

LONG ReadCatalogueSigner(const t_trustFunctions& trustFunctions, const t_heldFile& file, t_codeSigner& signer)
{
    t_catalogueFunctions functions;
    if (!functions.FindAll(trustFunctions.wintrust)) {
        return TRUST_E_NOSIGNATURE;
    }
    LONG status = TRUST_E_NOSIGNATURE;
    if (functions.acquireForAlgorithm != nullptr) {
        status = t_catalogueSearch(functions, file.File().Handle(), L"SHA256").ReadSigner(trustFunctions, file, signer);
    }
    if (status == TRUST_E_NOSIGNATURE) {
        status = t_catalogueSearch(functions, file.File().Handle(), nullptr).ReadSigner(trustFunctions, file, signer);
    }
    return status;
}

} // namespace

LONG ReadCodeSigner(const t_heldFile& file, t_codeSigner& signer)
{
    signer.name.clear();
    t_trustFunctions functions;
    if (!functions.FindAll()) {
        return TRUST_E_PROVIDER_UNKNOWN;
    }
    const LONG status = ReadOwnSigner(functions, file, signer);
    const bool unsignedItself =
        status == TRUST_E_NOSIGNATURE || status == TRUST_E_SUBJECT_FORM_UNKNOWN || status == TRUST_E_PROVIDER_UNKNOWN;
    return unsignedItself ? ReadCatalogueSigner(functions, file, signer) : status;
}
