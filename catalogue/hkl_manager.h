#pragma once

#include <cstdint>
#include <set>
#include <string_view>

#include "base/critical_section.h"
#include "base/str.h"
#include "catalogue/hkl.h"
#include "catalogue/ime_file_maps.h"
#include "diag/error_chain.h"

// The catalogue of installed keyboard layouts and text-service profiles. The product uses the one instance of the
// process, ImmSingleton<t_hklManager_InstallWrap>::Instance().
//
// The machine's registry is read once, when the list is first needed, and served from memory then: what is registered
// later in the same process is not seen, and a failed reading is not tried again.
class t_hklManager_InstallWrap
{
public:
    static constexpr char kSingletonName[] = "t_hklManager_InstallWrap";

    // Finds the layout or profile of an IME file. A file that was registered before is found at once and whatever its
    // identifier; else the first record of the list wins that is a profile, or whose klid masked with mask is value,
    // and whose IME file has the name.
    //   out          receives the record; unchanged on failure
    //   imeFileName  file name without directory; letter case is ignored
    // On failure appends "GetHKLByName失败" or "GetHKLByName失败:未找到". Messages about records that were looked at on
    // the way stay in the chain, on success too.
    bool GetHKLByName(t_errorChain& errors, t_hkl& out, std::wstring_view imeFileName, std::uint32_t mask,
                      std::uint32_t value);

    // Copies the list of all records, in the order of the registry's enumeration.
    //   out  receives the list; unchanged on failure
    // On failure appends "生成缓存失败" when the list was read just now, "获取缓存失败" when that had failed before.
    bool GetLayoutList(t_errorChain& errors, t_hklList& out);

    // Finds the IME file name of a record: of a profile among the registered ones (else "not Get ime file name by
    // guid"), of a layout in its registry key (GetImeFileNameByKlid).
    //   name  receives the name; empty on failure
    bool GetImeFileName(t_errorChain& errors, t_str& name, const t_hkl& record) const;

    // Enters a file name and its record; see t_imeFileMaps::RegisterImeFile.
    void RegisterImeFile(std::wstring_view imeFileName, const t_hkl& record);

    // Makes the key of a new IME layout; see the function of this name in keyboard_layouts.h.
    bool CreateImeLayoutKey(t_errorChain& errors, std::uint32_t& klid, const wchar_t* imeFilePath,
                            const wchar_t* layoutText) const;

    // Takes a layout off the list of layouts that the text-services framework hides from the current user.
    // Returns false, with what the registry said, when there is no such list or it cannot be written. Behind it:
    // "SoftWare\Microsoft\CTF\HiddenDummyLayouts" of the current user.
    bool UnhideLayout(t_errorChain& errors, const t_hkl& record) const;

private:
    struct t_layoutCache
    {
        bool built = false; // set by the first attempt, successful or not
        bool valid = false; // set when that attempt succeeded
        t_hklList records;
        t_csAutoInit lock{L"Local\\cs_hklsCache", 10};
    };

    bool BuildLayoutList(t_errorChain& errors, t_hklList& list);
    bool GetImeFileNameByGuid(t_errorChain& errors, t_str& name, const t_hkl& record) const;

    t_imeFileMaps imeFiles;
    t_layoutCache layoutCache;
    std::set<std::uint64_t> handleSets[2]; // for other programs of the product; nothing here fills them
};
