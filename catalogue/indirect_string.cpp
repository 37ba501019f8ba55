#include "catalogue/indirect_string.h"

#include <windows.h>

#include "base/handles.h"
#include "base/number_text.h"

namespace {

bool ExpandEnvironment(t_errorChain& errors, t_str& expanded, std::wstring_view path)
{
    for (std::size_t at = 0;;) {
        const std::size_t opening = path.find(L'%', at);
        expanded.append(path.substr(at, opening - at));
        if (opening == path.npos) {
            return true;
        }
        const std::size_t closing = path.find(L'%', opening + 1);
        if (closing == path.npos) {
            return errors.Fail(L"百分号不匹配");
        }
        const std::wstring name(path.substr(opening + 1, closing - opening - 1));
        wchar_t value[MAX_PATH];
        const DWORD length = GetEnvironmentVariableW(name.c_str(), value, MAX_PATH);
        if (length == 0 || length >= MAX_PATH) {
            return errors.Fail(L"查找不到env变量:%s", name.c_str());
        }
        expanded.append(value, length);
        at = closing + 1;
    }
}

// Takes the string apart and loads the library that it names.
bool LoadNamedLibrary(t_errorChain& errors, std::wstring_view indirect, t_library& library, t_str& path,
                      std::uint32_t& id)
{
    if (indirect.starts_with(L'@')) {
        indirect.remove_prefix(1);
    }
    const std::size_t comma = indirect.find(L',');
    if (comma == indirect.npos) {
        return errors.Fail(L"未找到逗号");
    }
    const std::int32_t number = ParseDecimalPrefix(indirect.substr(comma + 1));
    id = number < 0 ? 0u - static_cast<std::uint32_t>(number) : static_cast<std::uint32_t>(number);
    if (!ExpandEnvironment(errors, path, indirect.substr(0, comma))) {
        return false;
    }
    library.Reset(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    return library || errors.Fail(L"加载dll失败:%s", path.c_str());
}

} // namespace

bool LoadIndirectString(t_errorChain& errors, t_str& text, std::wstring_view indirect)
{
    text.clear();
    t_library library;
    t_str path;
    std::uint32_t id = 0;
    if (!LoadNamedLibrary(errors, indirect, library, path, id)) {
        return errors.Fail(L"查询dll的字符串资源失败:解析位置失败:%s", std::wstring(indirect).c_str());
    }
    wchar_t buffer[MAX_PATH];
    const int length = LoadStringW(library.Get(), id, buffer, MAX_PATH);
    if (length <= 0) {
        errors.Fail(L"读取dll里的字符串失败");
        return errors.Fail(L"查询dll的字符串资源失败:dll:%s, id:%d", path.c_str(), id);
    }
    text.assign(buffer, static_cast<std::size_t>(length));
    return true;
}
