#include "tests/simulated_machine.h"

#include <gtest/gtest.h>

#include <shlwapi.h>

#include "app/dispatcher.h"
#include "base/ascii_case.h"
#include "base/path.h"
#include "base/session.h"
#include "base/singleton.h"
#include "imereg/layout_handle.h"
#include "tests/machine_model.h"

namespace {

const std::wstring kSortOrder = L"\\" + n_model::kSortOrder + L"\\{34745C63}";
const std::wstring kTextService = n_model::kTip + L"\\{7C2B4E10-5D3A-4F86-9B1C-2E60A4D7F305}";
constexpr wchar_t kKept[] = L"kept\\";

// The name of a predefined key in the scratch registry.
std::wstring RootName(HKEY root)
{
    return FormatStr(L"%08x", static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(root)));
}

void AddKey(t_machineState& state, const t_storedKey& key, const std::wstring& path)
{
    for (const t_storedValue& value : key.values) {
        state[path].push_back(FoldCase(value.Text(260)));
    }
    state[path];
    for (const t_storedKey& below : key.keys) {
        AddKey(state, below, path + L"\\" + FoldCase(below.name));
    }
}

} // namespace

std::wstring LayoutPath(std::uint32_t klid)
{
    return n_model::kLayouts + FormatStr(L"\\%08X", klid);
}

t_simulatedMachine::t_simulatedMachine(WORD major, WORD minor) : os(major, minor)
{
    // The session's user is Wine's only one; the hive that the installer runs with is another.
    t_errorChain errors;
    t_session session;
    EXPECT_TRUE(ReadCurrentSession(errors, session));

    AddLayout(0xE0010804, L"IMSCDEMO.IME", false);
    AddLayout(0xE0200804, L"DEMOWB.IME", false);
    const std::vector<const wchar_t*> withProduct = {L"00000804", L"E0210804", L"00000409"};
    const std::pair<std::wstring, std::vector<const wchar_t*>> lists[] = {
        {session.userSid, {L"E0010804", L"00000804", L"e0200804"}},
        {kHiveFile, {L"00000804"}},
        {L"own", {L"00000804", L"E0210804"}},
        {L".DEFAULT", withProduct},
        {L"S-1-5-18", withProduct},
        {L"S-1-5-19", withProduct},
        {L"S-1-5-20", withProduct}};
    for (const auto& [hive, klids] : lists) {
        for (std::size_t i = 0; i < klids.size(); ++i) {
            WriteText(HKEY_USERS, hive + L"\\" + n_model::kPreload, std::to_wstring(i + 1).c_str(), klids[i]);
        }
    }
    const DWORD chinese = 0x0804;
    WriteRaw(HKEY_USERS, session.userSid + kSortOrder + L"\\00000000", L"KeyboardLayout", REG_DWORD, &chinese, 4);
    RegOverridePredefKey(HKEY_CURRENT_USER, MakeKey(HKEY_USERS, L"own").Get());
}

void t_simulatedMachine::AddLayout(std::uint32_t klid, const wchar_t* imeFile, bool isLoaded)
{
    WriteText(HKEY_LOCAL_MACHINE, LayoutPath(klid), L"Ime File", imeFile);
    if (isLoaded) {
        loaded.push_back(HandleOf(klid));
    }
}

void t_simulatedMachine::Keep()
{
    SHDeleteKeyW(HKEY_CLASSES_ROOT, kKept);
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_USERS}) {
        SHCopyKeyW(root, nullptr, MakeKey(HKEY_CLASSES_ROOT, kKept + RootName(root)).Get(), 0);
    }
    keptLoaded = loaded;
    touched.clear();
}

void t_simulatedMachine::Restore()
{
    loadedHive.reset();
    for (const std::wstring& path : std::exchange(touched, {})) {
        const HKEY root = path.starts_with(RootName(HKEY_USERS)) ? HKEY_USERS : HKEY_LOCAL_MACHINE;
        const std::wstring below = path.substr(RootName(root).size() + 1);
        SHDeleteKeyW(root, below.c_str());
        if (const t_keyHandle kept = OpenKey(HKEY_CLASSES_ROOT, kKept + path)) {
            SHCopyKeyW(kept.Get(), nullptr, MakeKey(root, below).Get(), 0);
        }
    }
    loaded = keptLoaded;
    touched.clear(); // of what this wrote
}

void t_simulatedMachine::Run(const wchar_t* option, t_actionMode mode)
{
    RunAction([&] {
        std::wstring program = L"TarvoLayout.exe", text = option;
        wchar_t* arguments[] = {program.data(), text.data()};
        t_errorChain errors;
        EXPECT_TRUE(ParseAndDispatch(errors, arguments, text.empty() ? 1 : 2, &mode));
        EXPECT_TRUE(errors.IsEmpty());
    });
}

void t_simulatedMachine::RunAction(const std::function<void()>& action)
{
    steps.clear();
    action();
    t_singletonRegistry::Process().DestroyAll();
}

void t_simulatedMachine::Touch(HKEY key, const wchar_t* name)
{
    const std::wstring path = FullNameOf(key);
    // Behind the number of this process, where the scratch registry is.
    const std::size_t begin = path.find(L"\\8000000");
    touched.insert(path.substr(begin + 1) + (*name != L'\0' ? L"\\" : L"") + name);
}

HKL t_simulatedMachine::InstallIme(const wchar_t* path, const wchar_t* text)
{
    std::uint32_t klid = 0xE0200804;
    while (OpenKey(HKEY_LOCAL_MACHINE, LayoutPath(klid))) {
        klid += 0x10000;
    }
    AddLayout(klid, std::wstring(FileNamePart(path)).c_str(), true);
    WriteText(HKEY_LOCAL_MACHINE, LayoutPath(klid), L"Layout Text", text);
    steps += std::wstring(L"install ") + text + L"; ";
    return loaded.back();
}

UINT t_simulatedMachine::FileName(HKL layout, wchar_t* buffer, UINT units)
{
    const t_storedKey stored = ReadTree(OpenKey(HKEY_LOCAL_MACHINE, LayoutPath(KlidOf(layout))).Get());
    const t_storedValue* const value = stored.Value(L"Ime File");
    return static_cast<UINT>(((value != nullptr ? value->Text(260) : L"") + L'\0').copy(buffer, units));
}

bool t_simulatedMachine::Unload(HKL layout)
{
    const bool known = std::erase(loaded, layout) != 0;
    steps += FormatStr(L"unload %I64x; ", reinterpret_cast<std::int64_t>(layout));
    return known;
}

bool t_simulatedMachine::Regsvr32(std::wstring_view commandLine)
{
    Touch(HKEY_LOCAL_MACHINE, kTextService.c_str());
    const std::wstring_view parameters = commandLine.substr(commandLine.find(L"/s"));
    const std::wstring switches(parameters.substr(0, parameters.find(L':') - 1));
    steps += switches + std::wstring(FileNamePart(parameters)) + L"; ";
    if (switches == L"/s ") {
        MakeKey(HKEY_LOCAL_MACHINE, kTextService);
    } else {
        SHDeleteKeyW(HKEY_LOCAL_MACHINE, kTextService.c_str());
    }
    return true;
}

t_machineState t_simulatedMachine::State() const
{
    t_machineState state;
    state[loaded.empty() ? L"no layout loaded" : L"layout loaded"];
    AddKey(state, ReadTree(HKEY_LOCAL_MACHINE), L"");
    AddKey(state, ReadTree(HKEY_USERS), L"");
    return state;
}
