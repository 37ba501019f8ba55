#include "report/findings.h"

#include <algorithm>

#include "base/ascii_case.h"
#include "catalogue/product_ime_file.h"

namespace n_report {

namespace {

constexpr wchar_t kInstall[] = L"Run TarvoLayout.exe --install as an administrator.";
constexpr wchar_t kReinstall[] = L"Install the product again from the maker's setup package.";
constexpr wchar_t kRestart[] = L"Restart Windows.";

bool IsFile(const t_str& path, const wchar_t* name)
{
    return EqualIgnoringCase(FileNamePart(path), name);
}

bool IsProductEntry(const t_entry& entry)
{
    return IsFile(entry.imeFile, kClassicImeFile) || IsFile(entry.imeFile, kTextServiceImeFile);
}

t_str JoinTexts(const t_texts& texts)
{
    t_str joined;
    for (const t_str& text : texts) {
        joined << (joined.empty() ? L"" : L", ") << text;
    }
    return joined;
}

class t_judge
{
public:
    explicit t_judge(const t_report& gathered) : report(gathered)
    {
        for (const t_layout& layout : report.layouts.records) {
            if (IsFile(layout.keyImeFile, kClassicImeFile)) {
                classic.push_back(&layout);
            }
            if (!layout.service.empty() && IsFile(layout.imeFile, kTextServiceImeFile)) {
                service = &layout;
            }
        }
    }

    t_list<t_finding> Judge()
    {
        Registration();
        Modules();
        for (const t_hive& hive : report.lists.hives) {
            Hive(hive);
        }
        System();
        OddValues();
        return std::move(findings);
    }

private:
    template <class... Args>
    void Add(const wchar_t* code, const t_str& mend, const wchar_t* format, Args... arguments)
    {
        findings.push_back({code, FormatStr(format, arguments...), mend});
    }

    bool OnWindows8() const { return report.system.windows8OrLater; }

    const t_module* FindModule(const wchar_t* name) const
    {
        const auto found = std::find_if(report.modules.begin(), report.modules.end(), [name](const t_module& module) {
            return EqualIgnoringCase(module.file.name, name);
        });
        return found == report.modules.end() ? nullptr : &*found;
    }

    // Whether the product should be registered: it is installed, or its module lies ready.
    bool IsExpected(const wchar_t* moduleName) const
    {
        const t_module* const module = FindModule(moduleName);
        return !report.product.version.empty() || (module != nullptr && module->file.present);
    }

    void Registration()
    {
        if (OnWindows8()) {
            for (const t_layout* const layout : classic) {
                Add(L"classic-layout-left", kInstall,
                    L"The classic layout %08X of %s is registered, though this Windows uses the text service.",
                    layout->klid, kClassicImeFile);
            }
            if (service == nullptr && IsExpected(kTextServiceImeFile)) {
                Add(L"text-service-missing", kInstall, L"The text service of %s is not registered.",
                    kTextServiceImeFile);
            }
        } else {
            if (classic.empty() && IsExpected(kClassicImeFile)) {
                Add(L"layout-missing", kInstall, L"No keyboard layout of %s is registered.", kClassicImeFile);
            }
            if (service != nullptr) {
                Add(L"text-service-too-early",
                    FormatStr(L"Run regsvr32.exe /u %s as an administrator.", kTextServiceImeFile),
                    L"The text service of %s is registered, which only Windows 8 and later use.", kTextServiceImeFile);
            }
        }
        if (service != nullptr && service->serverMissing) {
            Add(L"text-service-without-module", kReinstall,
                L"The text service is registered, but its module %s is missing.", service->server.c_str());
        }
    }

    void Modules()
    {
        const wchar_t* const needed = OnWindows8() ? kTextServiceImeFile : kClassicImeFile;
        for (const t_module& module : report.modules) {
            const t_file& file = module.file;
            const bool isRegistered = !OnWindows8() && !classic.empty();
            const bool isReported = OnWindows8() && service != nullptr && service->serverMissing;
            if (!file.present && EqualIgnoringCase(file.name, needed) &&
                (!report.product.version.empty() || isRegistered) && !isReported) {
                Add(L"module-missing", kReinstall, L"The module %s is missing.", file.path.c_str());
            }
            if (file.present && !file.genuine) {
                Add(L"module-unsigned", kReinstall, L"%s is not known as the maker's own: %s", file.path.c_str(),
                    file.verification.c_str());
            }
            if (!module.holders.empty()) {
                t_texts programs;
                for (const t_program& program : module.holders) {
                    programs.push_back(FormatStr(L"%s (%u)", program.name.c_str(), program.processId));
                }
                Add(L"module-in-use", L"End these programs, or restart Windows, before it is replaced or deleted.",
                    L"%s is loaded by %s.", file.path.c_str(), JoinTexts(programs).c_str());
            }
            Pending(module.pending);
        }
        Pending(report.product.pending);
    }

    void Pending(const t_pendingOperations& operations)
    {
        for (const t_pendingOperation& operation : operations) {
            if (operation.target.empty()) {
                Add(L"pending-file-operation", kRestart, L"%s waits for a restart to be deleted.",
                    operation.source.c_str());
            } else {
                Add(L"pending-file-operation", kRestart, L"%s waits for a restart to become %s.",
                    operation.source.c_str(), operation.target.c_str());
            }
        }
    }

    void Hive(const t_hive& hive)
    {
        const wchar_t* const name = hive.name.c_str();
        std::size_t ofProduct = 0;
        for (const t_entry& entry : hive.preload) {
            const t_str deleteIt =
                FormatStr(L"Delete the value \"%s\" of \"Keyboard Layout\\Preload\" in %s%s.", entry.key.c_str(), name,
                          hive.loggedOn ? L", or the language in the language settings" : L"");
            if (entry.klid != 0 && !entry.known) {
                Add(L"preload-without-layout", deleteIt,
                    L"Entry \"%s\" of the preload list of %s names %08X, which is no registered layout.",
                    entry.key.c_str(), name, entry.klid);
            }
            if (!IsProductEntry(entry)) {
                continue;
            }
            ++ofProduct;
            if (!hive.loggedOn) {
                Add(L"product-on-logon-desktop", OnWindows8() ? deleteIt : t_str(kInstall),
                    L"Entry \"%s\" of the preload list of %s, a list of the logon desktop and the system, is the "
                    L"product's layout %08X.",
                    entry.key.c_str(), name, entry.klid);
            }
        }
        if (hive.loggedOn && ofProduct > 1) {
            Add(L"layout-listed-twice",
                L"Run TarvoLayout.exe --debug as the user who is logged on; it takes one entry out.",
                L"The preload list of %s holds %u entries of the product.", name,
                static_cast<std::uint32_t>(ofProduct));
        }
        if (hive.loggedOn && ofProduct == 0 && !OnWindows8() && !classic.empty() && hive.unseen.empty()) {
            Add(L"layout-not-listed", kInstall,
                L"The preload list of %s, who is logged on, lacks the product's layout.", name);
        }
    }

    void System()
    {
        if (report.lists.defaultUserLoaded) {
            Add(L"default-user-loaded",
                L"Run reg.exe unload HKU\\default_user as an administrator, or restart Windows.",
                L"The default profile's hive is still loaded as \"default_user\".");
        }
        for (const t_str& function : report.system.hooked) {
            Add(L"hooked-function",
                L"Find the program that does this, often a security program, and update or remove it.",
                L"The code of %s is not that of its file.", function.c_str());
        }
    }

    void OddValues()
    {
        constexpr wchar_t kRewrite[] = L"Correct the value with the registry editor.";
        for (const t_layout& layout : report.layouts.records) {
            for (const t_str& odd : layout.odd) {
                Add(L"odd-value", kRewrite, L"Layout %08X: %s.", layout.klid, odd.c_str());
            }
        }
        for (const t_hive& hive : report.lists.hives) {
            const std::pair<const wchar_t*, const t_list<t_entry>*> lists[] = {
                {L"preload list", &hive.preload}, {L"sort order", &hive.sortOrder}, {L"hidden layouts", &hive.hidden}};
            for (const auto& [list, entries] : lists) {
                for (const t_entry& entry : *entries) {
                    if (!entry.odd.empty()) {
                        Add(L"odd-value", kRewrite, L"Entry \"%s\" of the %s of %s: %s.", entry.key.c_str(), list,
                            hive.name.c_str(), entry.odd.c_str());
                    }
                }
            }
        }
    }

    const t_report& report;
    t_list<const t_layout*> classic;   // records of layout keys that name the classic module
    const t_layout* service = nullptr; // a record of the product's text service
    t_list<t_finding> findings;
};

} // namespace

t_list<t_finding> Judge(const t_report& report)
{
    return t_judge(report).Judge();
}

} // namespace n_report
