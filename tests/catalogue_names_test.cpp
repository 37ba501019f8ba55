#include <sstream>

#include "base/module_path.h"
#include "base/singleton.h"
#include "catalogue/indirect_string.h"
#include "catalogue/product_ime_file.h"
#include "tests/random_runs.h"
#include "tests/windows_test.h"

// Pieces of indirect strings in any order, against the steps written down. This program itself holds the string 5000.
TEST(IndirectString, RandomTextsGiveWhatTheModelGives)
{
    t_path program;
    ASSERT_TRUE(ReadModulePath(nullptr, program));
    const std::map<std::wstring, std::wstring> variables = {{L"TARVO_HEAD", program.substr(0, 8)},
                                                            {L"TARVO_TAIL", program.substr(8)},
                                                            {L"TARVO_259", std::wstring(259, L'x')},
                                                            {L"TARVO_260", std::wstring(260, L'x')}};
    for (const auto& [name, value] : variables) {
        SetEnvironmentVariableW(name.c_str(), value.c_str());
    }
    const auto model = [&](std::wstring text, std::wstring& path, int& id) -> std::wstring {
        text.erase(0, text.starts_with(L'@'));
        if (text.find(L',') == text.npos) {
            return L"未找到逗号";
        }
        id = std::abs(std::wcstol(text.c_str() + text.find(L',') + 1, nullptr, 10));
        std::wistringstream parts(text.substr(0, text.find(L',')) + L"%"); // every second one names a variable
        bool isName = false;
        for (std::wstring part; std::getline(parts, part, L'%'); isName = !isName) {
            if (isName && parts.peek() == std::wistringstream::traits_type::eof()) {
                return L"百分号不匹配";
            }
            const auto variable = variables.find(part);
            if (isName && (variable == variables.end() || variable->second.size() >= 260)) {
                return L"查找不到env变量:" + part;
            }
            path += isName ? variable->second : part;
        }
        return path == program ? L"" : L"加载dll失败:" + path;
    };
    ForRandomSeeds(2000, [&](t_random& random) {
        std::wstring indirect = random.OneIn(2) ? L"@" : L"", path, expected;
        for (auto count = 1 + random.Below(random.Of({1u, 3u})); count > 0; --count) {
            indirect += random.Of<std::wstring>({L"%TARVO_HEAD%%TARVO_TAIL%", program,
                                                 random.Of({L"%TARVO_HEAD%", L"%TARVO_259%", L"%TARVO_260%",
                                                            L"%tarvo none%", L"%", L"@", L",", L"no.dll"})});
        }
        indirect += random.Of({L",-5000", L",5000;2,x", L", +5000", L",-5001", L",", L""});
        int id = 0;
        std::wstring messages = model(indirect, path, id);
        if (!messages.empty()) {
            messages += L"|查询dll的字符串资源失败:解析位置失败:" + indirect;
        } else if (id != 5000) {
            messages = FormatStr(L"读取dll里的字符串失败|查询dll的字符串资源失败:dll:%s, id:%d", path.c_str(), id);
        }
        t_errorChain errors;
        t_str text = L"old";
        ASSERT_EQ(messages.empty(), LoadIndirectString(errors, text, indirect)) << indirect;
        ASSERT_EQ(messages.empty() ? L"塔沃" : L"", text);
        ASSERT_EQ(messages, Entries(errors));
    });
}

TEST(ProductImeFile, FollowsTheRuntimeEnvironment)
{
    static DWORD minorVersion;
    const auto answer = +[](OSVERSIONINFOEXW* version) {
        version->dwMajorVersion = 6;
        version->dwMinorVersion = minorVersion;
        return LONG{0};
    };
    const t_scratchRegistry scratch;
    const t_lookupPatch lookUp{{{"RtlGetVersion", reinterpret_cast<void*>(answer)}}};
    for (minorVersion = 1; minorVersion <= 2; ++minorVersion) {
        t_singletonRegistry::Process().DestroyAll();
        EXPECT_STREQ(minorVersion == 1 ? L"TarvoPY.ime" : L"TarvoTSF.ime", GetProductImeFileName());
    }
    t_singletonRegistry::Process().DestroyAll();
}
