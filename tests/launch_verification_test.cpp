#include "launch/module_verification.h"

// The order matters: each of these stands on those above.
#include <wincrypt.h>
#include <wintrust.h>

#include "base/ascii_case.h"
#include "base/system_function.h"
#include "launch/maker_identity.h"
#include "tests/signed_modules/signed_modules.h"
#include "tests/windows_test.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// The real path of a file that is accepted, or else the entries of the refusal.
std::wstring Verdict(const std::wstring& path)
{
    t_errorChain errors;
    t_heldFile file;
    const bool accepted = VerifyModule(errors, path.c_str(), file);
    EXPECT_EQ(accepted, !errors.HasFailed());
    return accepted ? std::wstring(file.Path()) : Entries(errors);
}

std::wstring Write(const std::wstring& name, const std::string& content)
{
    std::ofstream((L"\\\\?\\" + SignedModule(name)).c_str(), std::ios::binary) << content;
    return SignedModule(name);
}

using t_finalPathCall = DWORD(WINAPI*)(HANDLE, LPWSTR, DWORD, DWORD);
const auto kFinalPathCall = FindSystemFunction<t_finalPathCall>(L"kernel32.dll", "GetFinalPathNameByHandleW");

// Of a file with several names (hard links) the system gives any: for a file of the system directory the other one.
DWORD WINAPI FindStorePath(HANDLE file, LPWSTR path, DWORD size, DWORD flags)
{
    const DWORD length = kFinalPathCall(file, path, size, flags);
    return std::wstring_view(path, length).ends_with(L"inside.exe")
               ? static_cast<DWORD>((L"\\\\?\\" + SignedModule(L"store.exe")).copy(path, size))
               : length;
}

// Before Vista no call tells the path of an open file.
const t_lookupPatch::t_answers kLater,
    kLong = {{"GetFinalPathNameByHandleW",
              reinterpret_cast<void*>(+[](HANDLE, LPWSTR, DWORD, DWORD) { return SetLastError(5), DWORD{1000}; })}},
    kBeforeVista = {{"GetFinalPathNameByHandleW", nullptr}},
    kStorePaths = {{"GetFinalPathNameByHandleW", reinterpret_cast<void*>(&FindStorePath)}};

TEST(VerifyModule, CodeSignatureDecidesOutsideTheSystemDirectory)
{
    SKIP_WITHOUT_TRUST_SCOPE();
    {
        const t_trustScope ofUser(false); // who may trust whom he likes, but what runs elevated is not his
        EXPECT_THAT(Verdict(SignedModule(L"maker.exe")), StartsWith(FormatStr(L"系统错误%d|", CERT_E_UNTRUSTEDROOT)));
    }
    const t_trustScope trust;
    EXPECT_EQ(Verdict(SignedModule(L"maker.exe")), SignedModule(L"maker.exe"));
    const std::pair<const wchar_t*, LONG> kRefused[] = {{L"unsigned.exe", TRUST_E_NOSIGNATURE},
                                                        {L"tampered.exe", TRUST_E_BAD_DIGEST},
                                                        {L"expired.exe", CERT_E_EXPIRED},
                                                        {L"unit.exe", TRUST_E_NO_SIGNER_CERT}};
    for (const auto& [name, status] : kRefused) {
        EXPECT_EQ(Verdict(SignedModule(name)), FormatStr(L"系统错误%d|模块校验失败:", status) + SignedModule(name) +
                                                   L" 没有有效的代码签名,且不在摘要清单中");
    }
    EXPECT_THAT(Verdict(SignedModule(L"other.exe")), HasSubstr(L"“Tarvo Test Maker Ltd”"));
    EXPECT_THAT(Verdict(SignedModule(L"case.exe")), HasSubstr(L"“Tarvo test Maker”"));
    EXPECT_THAT(Verdict(SignedModule(L"unlisted.exe")), HasSubstr(L"“Tarvo Test Maker”的证书不是"));
    EXPECT_TRUE((t_makerIdentity{L"Name", {}, {}}.IsSigner({L"Name"})));
    EXPECT_THAT(Verdict(SignedModule(L"unit_first.exe")), HasSubstr(L"“Somebody else”"));
    t_lookupPatch system{{{"WinVerifyTrust", nullptr}}};
    EXPECT_THAT(Verdict(SignedModule(L"maker.exe")), StartsWith(FormatStr(L"系统错误%d|", TRUST_E_PROVIDER_UNKNOWN)));
    static int unreadable[16] = {}; // a catalogue that is found and then cannot be read
    system.answers = {{"CryptCATAdminEnumCatalogFromHash", reinterpret_cast<void*>(+[] { return &unreadable; })}};
    EXPECT_THAT(Verdict(SignedModule(L"unsigned.exe")), StartsWith(FormatStr(L"系统错误%d|", TRUST_E_NOSIGNATURE)));
}

// The list holds two digests that RFC 1321 publishes and, around the size of one piece, what md5sum says.
TEST(VerifyModule, ListedDigestCountsUnderItsName)
{
    for (int i = 0; const std::string& content :
                    {std::string(), std::string("abc"), std::string(131072, 'x'), std::string(131073, 'x')}) {
        const std::wstring path = Write(FormatStr(L"listed %d.dat", i++), content);
        EXPECT_EQ(Verdict(path), path);
    }
    EXPECT_THAT(Verdict(Write(L"listed 2.dat", "abc")), EndsWith(L"且摘要与清单不符"));
    EXPECT_THAT(Verdict(Write(L"unlisted.dat", "abc")), EndsWith(L"且不在摘要清单中"));
}

TEST(VerifyModule, SystemDirectoryIsKnownByWhateverName)
{
    const std::wstring system = SignedModule(L"system"), inside = system + L"\\inside.exe";
    if (!RunsUnderWine() && GetFileAttributesW(SignedModule(L"link").c_str()) == INVALID_FILE_ATTRIBUTES) {
        GTEST_SKIP() << "no symbolic links here: XP has none, and only an administrator makes them";
    }
    REPLACE(directory, GetSystemDirectoryW, [&](LPWSTR text, UINT size) {
        return lstrcpynW(text, system.c_str(), static_cast<int>(size)) != nullptr ? lstrlenW(text) : 0u;
    });
    const auto shortNameOf = [](const std::wstring& path) {
        wchar_t name[MAX_PATH];
        return std::wstring(name, GetShortPathNameW(path.c_str(), name, MAX_PATH));
    };
    const std::wstring store = SignedModule(L"store.exe"), outside = SignedModule(L"inside.exe");
    for (const std::wstring& name : {store, outside}) {
        DeleteFileW(name.c_str());
        ASSERT_TRUE(CreateHardLinkW(name.c_str(), inside.c_str(), nullptr));
    }
    const std::wstring overLink = SignedModule(L"link\\inside.exe"), listed = Write(L"listed 1.dat", "abc");
    const std::wstring kAccepted[] = {inside, L"\\\\?\\" + inside, system + L"/folder\\.././inside.exe",
                                      shortNameOf(inside), inside.substr(0, 2) + FoldCase(inside.substr(2))};
    const std::wstring dotted = Write(L"listed 1.dat.", "abc"); // another file behind "\\?\" than without
    for (const auto* const answers : {&kLater, &kBeforeVista, &kStorePaths}) {
        const t_lookupPatch lookup{*answers};
        for (const std::wstring& path : kAccepted) {
            EXPECT_EQ(Verdict(path), inside) << path;
        }
        EXPECT_EQ(Verdict(shortNameOf(listed)), listed);
        EXPECT_THAT(Verdict(outside), HasSubstr((answers == &kStorePaths ? store : outside) + L" "));
        EXPECT_THAT(Verdict(overLink), StartsWith(answers == &kBeforeVista ? L"系统错误1920|" : inside));
        for (const std::wstring& path : std::initializer_list<std::wstring>{
                 system + L"\\folder\\below.exe", system + L"\\..\\unsigned.exe", store, system + L"\\missing.exe",
                 system, L"", L"\\\\.\\" + inside, L"\\\\?\\GLOBALROOT\\??\\" + inside, L"\\\\?\\inside.exe",
                 inside.substr(2), L"C:inside.exe", L"inside.exe", L"\\\\?\\" + dotted}) {
            EXPECT_THAT(Verdict(path), HasSubstr(L"模块校验失败:")) << path;
        }
    }
    {
        REPLACE(full, GetFullPathNameW, [](auto...) { return SetLastError(5), DWORD{MAX_PATH}; });
        for (const auto* const answers : {&kLong, &kBeforeVista}) {
            const t_lookupPatch lookup{*answers};
            EXPECT_THAT(Verdict(outside), StartsWith(L"系统错误206|"));
        }
    }
    // A link opened as such is a file of its own, which Wine's links are not.
    REPLACE(open, CreateFileW,
            [&](auto path, auto access, auto share, auto security, auto creation, DWORD flags, auto model) {
                const bool asLink = (flags & FILE_FLAG_OPEN_REPARSE_POINT) != 0;
                return open.Original(asLink ? store.c_str() : path, access, share, security, creation, flags, model);
            });
    EXPECT_EQ(Verdict(inside), inside);
    EXPECT_EQ(open.calls, 4) << "file and folder twice each, to look at what the look before opened";
    EXPECT_THAT(Verdict(system + L"\\link.exe"), HasSubstr(L"\\signed\\unsigned.exe "));
    EXPECT_THAT(Verdict(inside + L"::$DATA"), EndsWith(L"数据流"));

    // A disk or server whose files claim to be the same as those of the system.
    REPLACE(forged, GetFileInformationByHandle, [](HANDLE, auto* information) { return *information = {}, TRUE; });
    EXPECT_NE(Verdict(SignedModule(L"unsigned.exe")), SignedModule(L"unsigned.exe"));
}

// Who may write already could do so after the check.
TEST(VerifyModule, FileThatSomebodyMayChangeIsRefused)
{
    const std::wstring path = Write(L"listed 1.dat", "abc");
    t_handle writer =
        MakeFileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(Verdict(path), L"系统错误32|模块校验失败:无法打开 " + path);
    const t_handle mapping(CreateFileMappingW(writer.Get(), nullptr, PAGE_READWRITE, 0, 0, nullptr));
    writer.Reset();
    EXPECT_EQ(Verdict(path), L"系统错误32|模块校验失败:无法打开 " + path);
}

} // namespace
