#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <fstream>
#include <iterator>

#include "base/module_path.h"
#include "tests/scratch_registry.h"

// Full path of a file in the folder of the signed modules, where tests may write their own too.
inline std::wstring SignedModule(const std::wstring& name)
{
    t_path path;
    ReadModulePath(nullptr, path);
    path.CutLastComponent();
    return path + L"\\signed_modules\\signed\\" + name;
}

// Makes the throw-away authority a trusted one for the life of a test: the current user's root certificates lie in the
// scratch registry.
class t_trustScope
{
public:
    t_trustScope()
    {
        std::ifstream file(SignedModule(L"trusted.der").c_str(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        const HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"Root");
        CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(bytes.data()),
                                         static_cast<DWORD>(bytes.size()), CERT_STORE_ADD_ALWAYS, nullptr);
        CertCloseStore(store, 0);
    }

private:
    t_scratchRegistry registry{HKEY_CURRENT_USER};
};
