#include "report/text.h"

namespace n_report {

namespace {

const wchar_t* YesNo(bool yes)
{
    return yes ? L"yes" : L"no";
}

const wchar_t* OrNone(const t_str& text)
{
    return text.empty() ? L"none" : text.c_str();
}

const wchar_t* OrUnknown(const t_str& text)
{
    return text.empty() ? L"unknown" : text.c_str();
}

class t_textWriter
{
public:
    explicit t_textWriter(const t_report& reportToRender) : report(reportToRender) {}

    t_str Render()
    {
        System();
        Product();
        Modules();
        Layouts();
        Lists();
        Messages();
        Findings();
        return std::move(out);
    }

private:
    void Line(std::size_t depth, const t_str& text)
    {
        out.append(std::size_t{2} * depth, L' ');
        for (const wchar_t unit : text) {
            const bool isControl = unit < L' ' || (unit >= 0x7F && unit < 0xA0);
            out += isControl ? wchar_t{0xFFFD} : unit;
        }
        out += L'\n';
    }

    template <class... Args>
    void Line(std::size_t depth, const wchar_t* format, Args... arguments)
    {
        Line(depth, FormatStr(format, arguments...));
    }

    void Title(const t_str& text)
    {
        out << (out.empty() ? L"" : L"\n");
        Line(0, text);
    }

    void Unseen(std::size_t depth, const t_texts& texts)
    {
        for (const t_str& text : texts) {
            Line(depth, L"Not seen: %s", text.c_str());
        }
    }

    void Pending(std::size_t depth, const t_pendingOperations& operations)
    {
        for (const t_pendingOperation& operation : operations) {
            if (operation.target.empty()) {
                Line(depth, L"After a restart: %s is deleted", operation.source.c_str());
            } else {
                Line(depth, L"After a restart: %s becomes %s%s", operation.source.c_str(), operation.target.c_str(),
                     operation.replaces ? L", which it replaces" : L"");
            }
        }
    }

    void File(std::size_t depth, const t_file& file)
    {
        if (!file.present) {
            Line(depth, L"%s: missing", file.path.c_str());
            return;
        }
        Line(depth, L"%s: %I64d bytes, version %s, %s", file.path.c_str(), static_cast<std::int64_t>(file.bytes),
             OrNone(file.version), file.verification.c_str());
    }

    void System()
    {
        const t_system& system = report.system;
        Title(L"System");
        Line(1, L"Windows, by kernel32.dll: %s", OrUnknown(system.fileVersion));
        Line(1, L"Windows, by the kernel's call: %s", OrUnknown(system.kernelVersion));
        Line(1, L"Windows, by the documented call: %s", OrUnknown(system.documentedVersion));
        Line(1, L"Input method used: %s", system.windows8OrLater ? L"text service" : L"classic");
        Line(1, L"Elevated: %s", YesNo(system.elevated));
        Line(1, L"Integrity: %s", OrNone(system.integrity));
        Line(1, L"Session: %u", system.session);
        Line(1, L"Logged-on user: %s", OrNone(system.user));
        Line(1, L"Code page: %u", system.codePage);
        Line(1, L"Safe mode: %s", YesNo(system.safeMode));
        if (system.browser.empty()) {
            Line(1, L"Default browser: none");
        } else {
            Line(1, L"Default browser: %s, arguments: %s (from %s)", system.browser.c_str(),
                 OrNone(system.browserArguments), system.browserSource.c_str());
        }
        for (const t_str& function : system.hooked) {
            Line(1, L"Hooked: %s", function.c_str());
        }
        Unseen(1, system.unseen);
    }

    void Place(const wchar_t* label, const t_place& place)
    {
        if (place.path.empty()) {
            Line(1, L"%s: unknown", label);
        } else {
            Line(1, L"%s: %s (from %s)", label, place.path.c_str(), place.source.c_str());
        }
    }

    void Product()
    {
        const t_product& product = report.product;
        Title(L"Product");
        Line(1, L"Version: %s", OrNone(product.version));
        Line(1, L"Build: %s", OrUnknown(product.build));
        Place(L"Install path", product.installPath);
        Place(L"Data path", product.dataPath);
        Place(L"User path", product.userPath);
        Line(1, L"env.ini: %s", OrNone(product.envFile));
        if (!product.envUserPath.empty()) {
            Line(2, L"[user] path=%s", product.envUserPath.c_str());
        }
        for (const t_switch& item : product.switches) {
            Line(1, item.value ? FormatStr(L"%s: %u", item.name.c_str(), *item.value)
                               : FormatStr(L"%s: not set", item.name.c_str()));
        }
        Line(1, L"runtime.ini: %s", OrNone(product.configFile));
        for (const t_setting& setting : product.settings) {
            Line(2, L"[%s] %s=%s (default: %s)", setting.section.c_str(), setting.key.c_str(), setting.value.c_str(),
                 setting.initial.c_str());
        }
        for (const t_file& file : product.files) {
            File(1, file);
        }
        Pending(1, product.pending);
        Unseen(1, product.unseen);
    }

    void Modules()
    {
        Title(L"Modules");
        for (const t_module& module : report.modules) {
            File(1, module.file);
            for (const t_program& holder : module.holders) {
                Line(2, L"Loaded by %s (%u)", holder.name.c_str(), holder.processId);
            }
            Pending(2, module.pending);
            Unseen(2, module.unseen);
        }
    }

    void Layouts()
    {
        Title(FormatStr(L"Layouts: %u", static_cast<std::uint32_t>(report.layouts.records.size())));
        for (const t_layout& layout : report.layouts.records) {
            Line(1, L"%08X handle %08I64X language %04X %s%s%s", layout.klid, layout.handle, layout.langId,
                 layout.name.empty() ? L"(no name)" : layout.name.c_str(), layout.imeFile.empty() ? L"" : L", ",
                 layout.imeFile.c_str());
            if (!layout.service.empty()) {
                Line(2, L"Text service %s, profile %s", layout.service.c_str(), layout.profile.c_str());
                Line(2, L"Server: %s%s", OrNone(layout.server), layout.serverMissing ? L", missing" : L"");
            }
            for (const t_str& odd : layout.odd) {
                Line(2, L"Odd: %s", odd.c_str());
            }
        }
        Unseen(1, report.layouts.unseen);
    }

    void Entries(const wchar_t* title, const t_list<t_entry>& entries)
    {
        if (entries.empty()) {
            return;
        }
        Line(2, L"%s:", title);
        for (const t_entry& entry : entries) {
            t_str line = FormatStr(L"%s: %s", entry.key.c_str(), entry.stored.c_str());
            if (entry.known) {
                line << L" " << (entry.name.empty() ? L"(no name)" : entry.name);
            } else {
                line << L" (no layout stands behind it)";
            }
            if (!entry.odd.empty()) {
                line << L"; odd: " << entry.odd;
            }
            Line(3, line);
        }
    }

    void Lists()
    {
        Title(L"Lists");
        for (const t_hive& hive : report.lists.hives) {
            Line(1, L"%s%s", hive.name.c_str(), hive.loggedOn ? L" (the user who is logged on)" : L"");
            Entries(L"Preload list", hive.preload);
            Entries(L"Sort order", hive.sortOrder);
            Entries(L"Hidden layouts", hive.hidden);
            Unseen(2, hive.unseen);
        }
        Line(1, L"\"default_user\" loaded: %s", YesNo(report.lists.defaultUserLoaded));
    }

    void Messages()
    {
        Title(L"Messages");
        Line(1, L"Unread in the shared error list: %u", static_cast<std::uint32_t>(report.messages.unread.size()));
        for (const t_postedError& entry : report.messages.unread) {
            Line(2, L"%s%s", entry.flag ? L"(flagged) " : L"", entry.text.c_str());
        }
        for (const t_log& log : report.messages.logs) {
            Line(1, L"%s", log.path.c_str());
            for (const t_str& line : log.lines) {
                Line(2, line);
            }
        }
        Unseen(1, report.messages.unseen);
    }

    void Findings()
    {
        Title(FormatStr(L"Findings: %u", static_cast<std::uint32_t>(report.findings.size())));
        for (const t_finding& finding : report.findings) {
            Line(1, L"%s: %s", finding.code, finding.what.c_str());
            Line(2, finding.mend);
        }
    }

    const t_report& report;
    t_str out;
};

} // namespace

t_str RenderText(const t_report& report)
{
    return t_textWriter(report).Render();
}

} // namespace n_report
