#include "imereg/keyboard_layout.h"

#include <imm.h>

#include <algorithm>
#include <cstdint>

#include "base/ascii_case.h"
#include "base/path.h"
#include "base/system_directory.h"
#include "base/trace.h"
#include "imereg/layout_handle.h"
#include "imereg/layout_keys.h"
#include "imereg/preload.h"
#include "imereg/use_catalogue.h"
#include "imereg/user_hives.h"

namespace {

constexpr DWORD kLanguageMask = 0x0000FFFF;

constexpr wchar_t kNoSystemDirectory[] = L"取系统目录失败";

using t_globalMemory = ImmUnique<HGLOBAL, &GlobalFree>;

// The full path of the classic IME file. Returns 0 or a status code.
int BuildImePath(t_path& path)
{
    const UINT length = ReadSystemDirectory(path);
    if (length == 0) {
        n_trace::Trace(kNoSystemDirectory, L"GetSystemDirectory() returns 0, GetLastError = %d", GetLastError());
        return kSystemDirectoryUnknown;
    }
    if (length >= MAX_PATH - 1) {
        n_trace::Trace(kNoSystemDirectory, L"GetSystemDirectory buffer overflow");
        return kSystemDirectoryTooLong;
    }
    if (length + 1 + ARRAYSIZE(kClassicImeFile) - 1 >= MAX_PATH) {
        n_trace::Trace(L"构造IME文件路径失败", L"buffer overflow: %s%s", path.c_str(), kClassicImeFile);
        return kImePathTooLong;
    }
    path << L"\\" << kClassicImeFile;
    return 0;
}

// The KLID of the first catalogued layout of an IME file, or 0.
std::uint32_t FindCatalogued(std::wstring_view imeFile, DWORD mask, DWORD value)
{
    t_hkl found;
    UseCatalogue([&](t_hklManager_InstallWrap& catalogue, t_errorChain& errors) {
        return catalogue.GetHKLByName(errors, found, imeFile, mask, value);
    });
    return found.klid;
}

// Has the catalogue write the layout's key. Returns its KLID, or 0.
std::uint32_t RegisterDirectly(const t_path& imePath, const wchar_t* layoutText)
{
    std::uint32_t klid = 0;
    UseCatalogue([&](t_hklManager_InstallWrap& catalogue, t_errorChain& errors) {
        return catalogue.CreateImeLayoutKey(errors, klid, imePath.c_str(), layoutText);
    });
    return klid;
}

// Finds the layout's KLID, or makes a layout. Returns 0 or the system's error code.
int ProvideLayout(const t_path& imePath, const wchar_t* layoutText, std::uint32_t& klid)
{
    klid = FindCatalogued(kClassicImeFile, kChineseImeMask, kChineseImeValue);
    if (klid != 0) {
        UpdateLayoutText(klid, layoutText);
        return 0;
    }

    SetLastError(ERROR_SUCCESS);
    klid = KlidOf(ImmInstallIMEW(imePath.c_str(), layoutText));
    if (klid != 0) {
        return 0;
    }
    // Taken at once: the look-ups below make system calls of their own.
    const DWORD installError = GetLastError();
    klid = FindCatalogued(FileNamePart(imePath), kLanguageMask, kChinesePrc);
    if (klid != 0) {
        return 0;
    }
    if (installError != ERROR_SUCCESS) {
        n_trace::Trace(L"安装错误", L"ImmInstallIME() returns NULL, GetLastError() = %d, Filename = %s", installError,
                       imePath.c_str());
    }
    klid = RegisterDirectly(imePath, layoutText);
    return klid != 0 ? 0 : static_cast<int>(installError);
}

// Calls change(hive) for the hive of the user who is logged on, or for the installer's own when nobody is.
template <class Change>
void ForInteractiveUser(Change change)
{
    const t_keyHandle hive = OpenInteractiveUserHive();
    change(hive ? hive.Get() : HKEY_CURRENT_USER);
}

} // namespace

int InstallClassicLayout(int, const wchar_t* layoutText)
{
    t_path imePath;
    if (const int failed = BuildImePath(imePath); failed != 0) {
        return failed;
    }
    std::uint32_t klid = 0;
    const int status = ProvideLayout(imePath, layoutText, klid);
    if (klid == 0) {
        return status;
    }
    ForInteractiveUser([klid](HKEY hive) { AddToPreload(klid, hive, L"HKEY_CURRENT_USER", true); });
    AddToDefaultUserHive(klid);
    RemoveFromSystemAccountHives(klid);
    return 0;
}

int RemoveImeLayout(const wchar_t* imeFile)
{
    HKL layout = FindLoadedLayoutByImeFile(imeFile);
    if (layout == nullptr) {
        layout = HandleOf(FindLayoutKlidByImeFile(imeFile));
    }
    if (layout == nullptr) {
        return kLayoutNotFound;
    }
    const int status = UnloadKeyboardLayout(layout) ? 0 : static_cast<int>(GetLastError());
    const std::uint32_t klid = KlidOf(layout);
    ForInteractiveUser([klid](HKEY hive) { RemoveFromPreload(klid, hive); });
    DeleteLayoutKey(klid);
    return status;
}

HKL FindLoadedLayoutByImeFile(const wchar_t* imeFile)
{
    const int count = GetKeyboardLayoutList(0, nullptr);
    const t_globalMemory memory(GlobalAlloc(GPTR, static_cast<std::size_t>(std::max(count, 0)) * sizeof(HKL)));
    auto* const layouts = static_cast<HKL*>(memory.Get());
    if (layouts == nullptr) {
        return nullptr;
    }
    // A layout may have come or gone between the two calls.
    const int listed = std::min(count, GetKeyboardLayoutList(count, layouts));
    for (int i = 0; i < listed; ++i) {
        wchar_t name[32 + 1] = {};
        ImmGetIMEFileNameW(layouts[i], name, 32);
        if (EqualIgnoringCase(name, imeFile)) {
            return layouts[i];
        }
    }
    return nullptr;
}
