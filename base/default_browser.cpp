#include "base/default_browser.h"

#include <vector>

#include "base/reg.h"

namespace {

constexpr wchar_t kUserChoiceKey[] =
    L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\http\\UserChoice";
constexpr wchar_t kMachineBrowsersKey[] = L"SOFTWARE\\Clients\\StartMenuInternet";
constexpr DWORD kMaxCommandUnits = 2048;

bool IsFile(const t_path& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// A name from the registry that is to be one component of a key's path.
bool IsKeyName(const t_str& name)
{
    return !name.empty() && name.size() < MAX_PATH && name.find(L'\\') == t_str::npos;
}

bool ExpandEnvironment(t_str& text)
{
    std::vector<wchar_t> expanded(kMaxCommandUnits);
    const DWORD length = ExpandEnvironmentStringsW(text.c_str(), expanded.data(), kMaxCommandUnits);
    if (length == 0 || length > kMaxCommandUnits) {
        return false;
    }
    text = expanded.data();
    return true;
}

// Reads the command of a class, or of a program that has registered itself, below a key.
bool ReadCommand(t_errorChain& errors, HKEY root, const t_path& classKey, t_shellCommand& command)
{
    t_reg key(root);
    t_str text;
    if (!key.Open(errors, JoinPath(classKey, L"shell\\open\\command").c_str(), t_regAccess::read) ||
        !(key.GetDefaultExpandString(errors, text) ? ExpandEnvironment(text)
                                                   : key.ReadString(errors, text, kMaxCommandUnits, nullptr))) {
        return false;
    }
    return SplitShellCommand(text, &IsFile, command) || errors.Fail(L"无法识别的浏览器命令：%s", text.c_str());
}

bool ReadName(t_errorChain& errors, HKEY root, const wchar_t* subKey, const wchar_t* valueName, t_str& name)
{
    t_reg key(root);
    return key.Open(errors, subKey, t_regAccess::read) && key.ReadString(errors, name, MAX_PATH, valueName) &&
           (IsKeyName(name) || errors.Fail(L"无法识别的浏览器名称：%s", name.c_str()));
}

bool ReadFrom(t_errorChain& errors, t_browserSource source, t_shellCommand& command)
{
    t_str name;
    switch (source) {
    case t_browserSource::userChoice:
        return ReadName(errors, HKEY_CURRENT_USER, kUserChoiceKey, L"ProgId", name) &&
               ReadCommand(errors, HKEY_CLASSES_ROOT, t_path(name), command);
    case t_browserSource::httpClass:
        return ReadCommand(errors, HKEY_CLASSES_ROOT, L"http", command);
    default:
        return ReadName(errors, HKEY_LOCAL_MACHINE, kMachineBrowsersKey, nullptr, name) &&
               ReadCommand(errors, HKEY_LOCAL_MACHINE, JoinPath(kMachineBrowsersKey, name), command);
    }
}

} // namespace

bool FindDefaultBrowser(t_errorChain& errors, t_defaultBrowser& browser)
{
    for (const t_browserSource source :
         {t_browserSource::userChoice, t_browserSource::httpClass, t_browserSource::machine}) {
        if (ReadFrom(errors, source, browser.command)) {
            browser.source = source;
            return true;
        }
    }
    return errors.Fail(L"找不到默认浏览器");
}
