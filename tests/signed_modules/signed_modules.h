#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "base/module_path.h"
#include "tests/import_patch.h"
#include "tests/real_windows.h"
#include "tests/scratch_registry.h"

// Full path of a file in the folder of the signed modules, where tests may write their own too.
inline std::wstring SignedModule(const std::wstring& name)
{
    t_path path;
    ReadModulePath(nullptr, path);
    path.CutLastComponent();
    return path + L"\\signed_modules\\signed\\" + name;
}

// Windows asks the person at the screen before it adds to the user's root certificates.
#define SKIP_WITHOUT_TRUST_SCOPE()                                                                                     \
    if (!RunsUnderWine()) {                                                                                            \
        GTEST_SKIP() << "trusting the test's authority would ask a question on Windows";                               \
    }

// Makes the throw-away authority a trusted one for the life of a test. The current user's root certificates lie in the
// scratch registry; the machine's are left alone, and the product is given the user's in their place.
class t_trustScope
{
public:
    //   ofMachine  whether the machine trusts it too, and not only the user
    explicit t_trustScope(bool ofMachine = true)
        : lookup("GetProcAddress", [this, ofMachine](HMODULE module, LPCSTR name) {
              return ofMachine && std::string_view(name) == "CertOpenStore"
                         ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&OpenMachineRoots))
                         : lookup.Original(module, name);
          })
    {
        std::ifstream file(SignedModule(L"trusted.der").c_str(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        EXPECT_TRUE(CertAddEncodedCertificateToSystemStoreW(L"Root", reinterpret_cast<const BYTE*>(bytes.data()),
                                                            static_cast<DWORD>(bytes.size())));
    }

private:
    static HCERTSTORE WINAPI OpenMachineRoots(LPCSTR provider, DWORD encoding, HCRYPTPROV_LEGACY cryptProvider,
                                              DWORD flags, const void* name)
    {
        EXPECT_EQ(flags & CERT_SYSTEM_STORE_LOCATION_MASK, CERT_SYSTEM_STORE_LOCAL_MACHINE);
        const DWORD ofUser = (flags & ~CERT_SYSTEM_STORE_LOCATION_MASK) | CERT_SYSTEM_STORE_CURRENT_USER;
        return CertOpenStore(provider, encoding, cryptProvider, ofUser, name);
    }

    t_scratchRegistry registry{HKEY_CURRENT_USER};
    ImmImportPatch<decltype(&GetProcAddress), 1> lookup;
};
