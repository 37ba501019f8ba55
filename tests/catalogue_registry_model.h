#pragma once

#include <map>
#include <optional>

#include "diag/error_chain.h"
#include "tests/registry_tree.h"

// The catalogue over a registry that is plain data, written down like what catalogue_model.h holds.
namespace n_model {

const std::wstring kLayouts = L"SYSTEM\\CurrentControlSet\\Control\\Keyboard Layouts";
const std::wstring kTip = L"SoftWare\\Microsoft\\CTF\\TIP";
const std::wstring kHidden = L"SoftWare\\Microsoft\\CTF\\HiddenDummyLayouts";

// A value's text of at most so many units, of one type or of any.
inline std::optional<std::wstring> ReadText(const t_storedKey* key, const wchar_t* name, std::size_t units,
                                            std::optional<DWORD> type = std::nullopt)
{
    const t_storedValue* const value = key != nullptr ? key->Value(name) : nullptr;
    return value != nullptr && value->type == type.value_or(value->type) && value->data.size() <= units * 2
               ? std::optional(value->Text(value->data.size() / 2))
               : std::nullopt;
}

struct t_catalogue
{
    t_storedKey &machine, &user;
    const t_storedKey &classes32, &classes; // what either view shows of the classes' registrations
    std::map<std::wstring, t_hkl> byName = {};
    static bool Less(const t_hkl& a, const t_hkl& b) { return Compare(a, b) < 0; }
    std::map<t_hkl, std::wstring, decltype(&Less)> byRecord{&Less};
    bool built = false, valid = false;
    t_records cache = {};

    bool GetLayoutList(t_errorChain& errors, t_records& out)
    {
        const wchar_t* const failure = built ? L"获取缓存失败" : L"生成缓存失败";
        valid = built ? valid : Build(errors);
        built = true;
        if (!valid) {
            return errors.Fail(failure);
        }
        out = cache;
        return true;
    }

    bool GetHKLByName(t_errorChain& errors, t_hkl& out, const std::wstring& file, std::uint32_t mask,
                      std::uint32_t value)
    {
        if (const auto known = byName.find(Fold(file)); known != byName.end()) {
            out = known->second;
            return true;
        }
        t_records list;
        if (!GetLayoutList(errors, list)) {
            return errors.Fail(L"GetHKLByName失败");
        }
        for (const t_hkl& record : list) {
            t_str name;
            if ((IsProfile(record) || (record.klid & mask) == value) && GetImeFileName(errors, name, record) &&
                Fold(name) == Fold(file)) {
                out = record;
                return true;
            }
        }
        return errors.Fail(L"GetHKLByName失败:未找到");
    }

    bool GetImeFileName(t_errorChain& errors, t_str& name, const t_hkl& record) const
    {
        name.clear();
        if (!IsProfile(record)) {
            return (record.klid != 0 && ReadImeFile(errors, kLayouts + FormatStr(L"\\%08x", record.klid), name)) ||
                   errors.Fail(L"获取t_hkl文件错误, klid=%u", record.klid);
        }
        for (const auto& [known, file] : byRecord) {
            if (Compare(known, record) == 0) {
                name = file;
                return true;
            }
        }
        return errors.Fail(L"not Get ime file name by guid");
    }

    void RegisterImeFile(const std::wstring& file, const t_hkl& record)
    {
        if (const auto [known, isNew] = byName.try_emplace(Fold(file), record); !isNew) {
            Merge(known->second, record);
        }
        for (auto& [known, name] : byRecord) {
            if (Compare(known, record) == 0) {
                name = file;
                return;
            }
        }
        byRecord.emplace(record, file);
    }

    bool CreateImeLayoutKey(t_errorChain& errors, std::uint32_t& klid, const std::wstring& file, const wchar_t* text)
    {
        t_storedKey* const layouts = machine.Key(kLayouts);
        if (layouts == nullptr) {
            NotOpened(errors, L"MACHINE\\" + kLayouts);
            return errors.Fail(L"安装输入法失败");
        }
        std::uint32_t best = 0xE0000000;
        for (const t_storedKey& key : layouts->keys) {
            const std::uint32_t v = Hex(key.name);
            best = (v & 0xFF000000) == 0xE0000000 ? std::max(best, v) : best;
        }
        klid = ((best & 0xFFFF0000) + 0x00010000) | 0x0804;
        t_storedKey& key = layouts->Make(FormatStr(L"%08X", klid));
        key.SetText(L"Ime File", file.substr(file.rfind(L'\\') + 1), false);
        key.SetText(L"Layout File", L"kbdus.dll", false);
        key.SetText(L"Layout Text", text, false);
        return true;
    }

    bool UnhideLayout(t_errorChain& errors, const t_hkl& record)
    {
        t_storedKey* const hidden = user.Key(kHidden);
        if (hidden == nullptr) {
            return NotOpened(errors, L"CURRENT_USER\\" + kHidden);
        }
        t_storedKey::Erase(hidden->values, L"1");
        t_storedKey::Erase(hidden->values, FormatStr(L"%08x", record.klid));
        return true;
    }

    void SetFromHandle(t_hkl& record, std::uint32_t h) const
    {
        record.hkl = h;
        record.klid = h >> 28 == 0xF   ? FindByLayoutId(h >> 16 & 0x0FFF)
                      : h >> 28 == 0xE ? h
                      : h < 0x10000    ? h & 0xFFFF
                                       : h >> 16;
        if (h >> 28 != 0xF || record.klid != 0) {
            record.langId = static_cast<std::uint16_t>(h);
        }
    }

    bool EnumKeyboardLayouts(t_errorChain& errors, t_records& list)
    {
        const t_storedKey* const layouts = machine.Key(kLayouts);
        if (layouts == nullptr) {
            NotOpened(errors, L"MACHINE\\" + kLayouts);
            return errors.Fail(L"获取安装输入法列表失败");
        }
        for (const t_storedKey& key : layouts->keys) {
            const std::uint32_t v = Hex(key.name);
            const t_hkl record{0, v, static_cast<std::uint16_t>(v), {}, {}};
            Add(list, record);
            if (v >> 28 == 0xE) {
                if (const auto file = ReadText(&key, L"Ime File", 260, REG_SZ)) {
                    RegisterImeFile(*file, record);
                } else {
                    errors.Clear();
                }
            }
        }
        Dedupe(list);
        return true;
    }

    bool EnumTextServiceProfiles(t_errorChain& errors, t_records& list)
    {
        const t_storedKey* const services = machine.Key(kTip);
        if (services == nullptr) {
            return false;
        }
        t_guid skipped;
        ReadGuid(L"{EB030804-6D26-11D3-B0F4-00C04F60B2A1}", skipped);
        for (const t_storedKey& service : services->keys) {
            t_hkl record;
            if (!ReadGuid(service.name, record.clsid) || record.clsid == skipped || IsNull(record.clsid)) {
                continue;
            }
            const t_storedKey* const languages = service.Key(L"LanguageProfile");
            if (languages == nullptr) {
                errors.Clear();
                continue;
            }
            for (const t_storedKey& language : languages->keys) {
                record.langId = static_cast<std::uint16_t>(Hex(language.name));
                for (const t_storedKey& profile : language.keys) {
                    if (ReadGuid(profile.name, record.profileGuid) && !IsNull(record.profileGuid)) {
                        AddProfile(errors, list, profile, record);
                    }
                }
            }
        }
        Dedupe(list);
        return true;
    }

    static bool NotOpened(t_errorChain& errors, const std::wstring& path)
    {
        errors.Fail(L"系统错误2");
        return errors.Fail(L"打开注册表项失败：%s", path.c_str());
    }

    bool ReadImeFile(t_errorChain& errors, const std::wstring& path, t_str& name) const
    {
        const t_storedKey* const key = machine.Key(path);
        if (key == nullptr) {
            return NotOpened(errors, L"MACHINE\\" + path);
        }
        if (const auto text = ReadText(key, L"Ime File", 260, REG_SZ)) {
            name = *text;
            return true;
        }
        const t_storedValue* const value = key->Value(L"Ime File");
        const bool mismatch = value != nullptr && value->type != REG_SZ;
        errors.Fail(value == nullptr ? L"系统错误2" : mismatch ? L"系统错误0" : L"系统错误234");
        return errors.Fail(L"%sMACHINE\\%s\\Ime File", mismatch ? L"注册表键值类型不匹配：" : L"读注册表失败：",
                           path.c_str());
    }

    std::uint32_t FindByLayoutId(std::uint32_t id) const
    {
        const t_storedKey* const layouts = machine.Key(kLayouts);
        for (const t_storedKey& key : layouts != nullptr ? layouts->keys : std::vector<t_storedKey>()) {
            const std::uint32_t v = Hex(key.name);
            const auto text = ReadText(&key, L"Layout Id", 5, REG_SZ);
            if (v >> 28 != 0xE && (v >> 16 & 0xFFF) != 0 && text && Hex(*text) == id) {
                return v;
            }
        }
        return 0;
    }

    bool Build(t_errorChain& errors)
    {
        if (!EnumKeyboardLayouts(errors, cache)) {
            return false;
        }
        if (EnumTextServiceProfiles(errors, cache)) {
            Dedupe(cache);
        } else {
            errors.Clear();
        }
        return true;
    }

    void AddProfile(t_errorChain& errors, t_records& list, const t_storedKey& profile, t_hkl& record)
    {
        if (profile.values.size() < 2) {
            errors.Fail(L"not a valid tsf");
            return;
        }
        if (const auto substitute = ReadText(&profile, L"SubstituteLayout", 260, REG_SZ)) {
            SetFromHandle(record, Hex(*substitute));
        }
        Add(list, record);
        if (const std::wstring server = FindServer(record.clsid); !server.empty()) {
            RegisterImeFile(server.substr(server.rfind(L'\\') + 1), record);
        }
    }

    std::wstring FindServer(const t_guid& clsid) const
    {
        for (const wchar_t* const kind : {L"InProcServer32", L"LocalServer32"}) {
            for (const t_storedKey* const view : {&classes32, &classes}) {
                for (const DWORD type : {REG_SZ, REG_EXPAND_SZ}) {
                    const auto text =
                        ReadText(view->Key(L"CLSID\\" + FormatGuid(clsid) + L"\\" + kind), L"", 260, type);
                    if (text && !text->empty()) {
                        return *text;
                    }
                }
            }
        }
        return L"";
    }
};

} // namespace n_model
