#pragma once

#include "tests/catalogue_registry_model.h"
#include "tests/preload_model.h"

namespace n_model {

// What each action makes of a machine that is plain data: the steps of every action, written down in their order.
class t_machine
{
public:
    // What t_simulatedMachine stands on, read from it.
    t_storedKey machine, users, classes;
    std::wstring userSid;
    std::vector<std::uint32_t> loaded;
    bool vista = false, windows8 = false;
    std::wstring steps; // asked of the input-method manager and of regsvr32

    void Run(const std::wstring& option)
    {
        const auto text =
            option == L"--install" && vista ? L"中文(简体) - 塔沃拼音输入法" : L"中文 (简体) - 塔沃拼音输入法";
        if (option == L"--debug") {
            if (const std::uint32_t klid = FindLoaded(L"TarvoPY.ime"); klid != 0) {
                RemoveFromPreload(*users.Key(L"own"), klid);
            }
        } else if (option == L"--uninstall") {
            if (windows8) {
                RemoveIme(L"TarvoTSF.ime");
                RunRegsvr32(L"/s /u ");
            }
            RemoveIme(L"TarvoPY.ime");
        } else if (windows8) {
            RemoveIme(L"TarvoPY.ime");
            RunRegsvr32(L"/s ");
        } else {
            InstallClassic(text);
        }
    }

private:
    t_storedKey* Layout(std::uint32_t klid) { return machine.Key(kLayouts + FormatStr(L"\\%08x", klid)); }

    std::uint32_t FindLoaded(const std::wstring& file)
    {
        for (const std::uint32_t klid : loaded) {
            if (Fold(ReadText(Layout(klid), L"Ime File", 260).value_or(L"").substr(0, 32)) == Fold(file)) {
                return klid;
            }
        }
        return 0;
    }

    // The layouts of the language among the first 250, with their files of at most 400 bytes.
    std::vector<std::pair<std::uint32_t, std::wstring>> ChineseFiles()
    {
        std::vector<std::pair<std::uint32_t, std::wstring>> files;
        const std::vector<t_storedKey>& keys = machine.Key(kLayouts)->keys;
        for (std::size_t i = 0; i < std::min<std::size_t>(keys.size(), 250); ++i) {
            const std::uint32_t klid = Hex(keys[i].name);
            const auto file = ReadText(Layout(klid), L"Ime File", 200);
            if ((klid & 0xFFFF) == 0x0804 && file) {
                files.emplace_back(klid, Fold(*file));
            }
        }
        return files;
    }

    void RemoveIme(const std::wstring& file)
    {
        std::uint32_t klid = FindLoaded(file);
        for (const auto& [candidate, candidateFile] : ChineseFiles()) {
            klid = klid == 0 && candidateFile == Fold(file) ? candidate : klid;
        }
        if (klid == 0) {
            return;
        }
        steps += FormatStr(L"unload %I64x; ", static_cast<std::int64_t>(static_cast<std::int32_t>(klid)));
        std::erase(loaded, klid);
        RemoveFromPreload(*users.Key(userSid), klid);
        t_storedKey::Erase(machine.Key(kLayouts)->keys, FormatStr(L"%08X", klid));
    }

    // The classic layout as the catalogue of this process finds it, taken off the hidden ones if wanted.
    std::uint32_t FindCatalogued(bool unhide)
    {
        const t_storedKey none;
        t_catalogue catalogue{machine, *users.Key(L"own"), none, classes};
        t_errorChain errors;
        t_hkl found;
        if (catalogue.GetHKLByName(errors, found, L"TarvoPY.ime", 0xF000FFFF, 0xE0000804) && unhide) {
            catalogue.UnhideLayout(errors, found);
        }
        return found.klid;
    }

    void RunRegsvr32(const std::wstring& switches)
    {
        steps += switches + L"TarvoTSF.ime; ";
        const std::wstring service = L"{7C2B4E10-5D3A-4F86-9B1C-2E60A4D7F305}";
        if (switches == L"/s ") {
            machine.Make(L"SoftWare").Make(L"Microsoft").Make(L"CTF").Make(L"TIP").Make(service);
        } else if (t_storedKey* const services = machine.Key(kTip)) {
            t_storedKey::Erase(services->keys, service);
        }
        FindCatalogued(true);
    }

    void InstallClassic(const std::wstring& text)
    {
        std::uint32_t klid = FindCatalogued(false);
        if (klid == 0) {
            klid = 0xE0200804;
            while (Layout(klid) != nullptr) {
                klid += 0x10000;
            }
            t_storedKey& made = machine.Key(kLayouts)->Make(FormatStr(L"%08X", klid));
            made.SetText(L"Ime File", L"TarvoPY.ime", true);
            made.SetText(L"Layout Text", text, true);
            loaded.push_back(klid);
            steps += L"install " + text + L"; ";
        } else if (const auto stored = ReadText(Layout(klid), L"layout text", 260); stored && *stored != text) {
            Layout(klid)->SetText(L"layout text", text, true);
        }
        AddToPreload(*users.Key(userSid), klid, vista);
        t_storedKey& profile = *users.Key(L"file of the default profile");
        AddToPreload(profile, klid, vista);
        for (const auto& [companion, file] : ChineseFiles()) {
            if (file.starts_with(L"imsc")) {
                AddToPreload(profile, companion, vista);
            }
        }
        for (const wchar_t* const account : {L".DEFAULT", L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"}) {
            RemoveFromPreload(*users.Key(account), klid);
        }
    }
};

} // namespace n_model
