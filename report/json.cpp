#include "report/json.h"

#include <nlohmann/json.hpp>

#include "report/utf8.h"

namespace n_report {

namespace {

using t_json = nlohmann::ordered_json;

std::string Text(const t_str& text)
{
    return ToUtf8(text);
}

// What is empty, because it is not there or not known, is null.
t_json TextOrNull(const t_str& text)
{
    return text.empty() ? t_json() : t_json(ToUtf8(text));
}

// Identifiers as the registry writes them.
std::string Hex(std::uint64_t number, int digits = 8)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (int i = 0; i < digits || number != 0; ++i, number >>= 4) {
        text.insert(text.begin(), kDigits[number & 0xF]);
    }
    return text;
}

template <class T, class Render>
t_json Array(const t_list<T>& list, Render render)
{
    t_json array = t_json::array();
    for (const T& element : list) {
        array.push_back(render(element));
    }
    return array;
}

t_json Texts(const t_texts& texts)
{
    return Array(texts, &Text);
}

t_json Pending(const t_pendingOperations& operations)
{
    return Array(operations, [](const t_pendingOperation& operation) {
        return t_json{{"source", Text(operation.source)},
                      {"target", TextOrNull(operation.target)},
                      {"replaces", operation.replaces}};
    });
}

t_json File(const t_file& file)
{
    return t_json{{"name", Text(file.name)},
                  {"path", Text(file.path)},
                  {"present", file.present},
                  {"bytes", file.present ? t_json(file.bytes) : t_json()},
                  {"version", TextOrNull(file.version)},
                  {"genuine", file.genuine},
                  {"verification", TextOrNull(file.verification)}};
}

t_json Place(const t_place& place)
{
    return t_json{{"path", TextOrNull(place.path)}, {"source", TextOrNull(place.source)}};
}

t_json System(const t_system& system)
{
    return t_json{{"version",
                   {{"kernel32", TextOrNull(system.fileVersion)},
                    {"kernel", TextOrNull(system.kernelVersion)},
                    {"documented", TextOrNull(system.documentedVersion)}}},
                  {"windows8OrLater", system.windows8OrLater},
                  {"elevated", system.elevated},
                  {"integrity", TextOrNull(system.integrity)},
                  {"session", system.session},
                  {"user", TextOrNull(system.user)},
                  {"codePage", system.codePage},
                  {"safeMode", system.safeMode},
                  {"browser",
                   {{"path", TextOrNull(system.browser)},
                    {"arguments", TextOrNull(system.browserArguments)},
                    {"source", TextOrNull(system.browserSource)}}},
                  {"hooked", Texts(system.hooked)},
                  {"unseen", Texts(system.unseen)}};
}

t_json Product(const t_product& product)
{
    t_json switches = t_json::object();
    for (const t_switch& item : product.switches) {
        switches[Text(item.name)] = item.value ? t_json(*item.value) : t_json();
    }
    return t_json{{"version", TextOrNull(product.version)},
                  {"build", TextOrNull(product.build)},
                  {"installPath", Place(product.installPath)},
                  {"dataPath", Place(product.dataPath)},
                  {"userPath", Place(product.userPath)},
                  {"env", {{"file", TextOrNull(product.envFile)}, {"userPath", TextOrNull(product.envUserPath)}}},
                  {"switches", switches},
                  {"config",
                   {{"file", TextOrNull(product.configFile)},
                    {"settings", Array(product.settings,
                                       [](const t_setting& setting) {
                                           return t_json{{"section", Text(setting.section)},
                                                         {"key", Text(setting.key)},
                                                         {"value", Text(setting.value)},
                                                         {"default", Text(setting.initial)}};
                                       })}}},
                  {"files", Array(product.files, &File)},
                  {"pending", Pending(product.pending)},
                  {"unseen", Texts(product.unseen)}};
}

t_json Module(const t_module& module)
{
    t_json json = File(module.file);
    json["loadedBy"] = Array(module.holders, [](const t_program& program) {
        return t_json{{"name", Text(program.name)}, {"processId", program.processId}};
    });
    json["pending"] = Pending(module.pending);
    json["unseen"] = Texts(module.unseen);
    return json;
}

t_json Layout(const t_layout& layout)
{
    const bool isService = !layout.service.empty();
    return t_json{{"klid", Hex(layout.klid)},
                  {"handle", Hex(layout.handle)},
                  {"language", Hex(layout.langId, 4)},
                  {"name", TextOrNull(layout.name)},
                  {"imeFile", TextOrNull(layout.imeFile)},
                  {"service", TextOrNull(layout.service)},
                  {"profile", TextOrNull(layout.profile)},
                  {"server", TextOrNull(layout.server)},
                  {"serverMissing", isService ? t_json(layout.serverMissing) : t_json()},
                  {"odd", Texts(layout.odd)}};
}

t_json Entries(const t_list<t_entry>& entries)
{
    return Array(entries, [](const t_entry& entry) {
        return t_json{{"key", Text(entry.key)},
                      {"stored", Text(entry.stored)},
                      {"klid", entry.klid != 0 ? t_json(Hex(entry.klid)) : t_json()},
                      {"known", entry.known},
                      {"name", TextOrNull(entry.name)},
                      {"odd", TextOrNull(entry.odd)}};
    });
}

t_json Hive(const t_hive& hive)
{
    return t_json{{"name", Text(hive.name)},          {"loggedOn", hive.loggedOn},
                  {"preload", Entries(hive.preload)}, {"sortOrder", Entries(hive.sortOrder)},
                  {"hidden", Entries(hive.hidden)},   {"unseen", Texts(hive.unseen)}};
}

t_json Messages(const t_messages& messages)
{
    return t_json{{"unread", Array(messages.unread,
                                   [](const t_postedError& entry) {
                                       return t_json{{"text", Text(entry.text)}, {"flag", entry.flag}};
                                   })},
                  {"logs", Array(messages.logs,
                                 [](const t_log& log) {
                                     return t_json{{"path", Text(log.path)}, {"lines", Texts(log.lines)}};
                                 })},
                  {"unseen", Texts(messages.unseen)}};
}

} // namespace

std::string RenderJson(const t_report& report)
{
    const t_json json{
        {"schema", 1},
        {"system", System(report.system)},
        {"product", Product(report.product)},
        {"modules", Array(report.modules, &Module)},
        {"layouts", {{"records", Array(report.layouts.records, &Layout)}, {"unseen", Texts(report.layouts.unseen)}}},
        {"lists", {{"hives", Array(report.lists.hives, &Hive)}, {"defaultUserLoaded", report.lists.defaultUserLoaded}}},
        {"messages", Messages(report.messages)},
        {"findings", Array(report.findings, [](const t_finding& finding) {
             return t_json{{"code", Text(finding.code)}, {"what", Text(finding.what)}, {"mend", Text(finding.mend)}};
         })}};
    return json.dump(2) + "\n";
}

} // namespace n_report
