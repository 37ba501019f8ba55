#include "config/array_section.h"

#include <algorithm>

#include "base/ascii_case.h"

namespace n_config {

itl::ImmSimpleArray<std::int32_t> FindElements(const t_configText& text, std::wstring_view baseName, std::int32_t count)
{
    itl::ImmSimpleArray<std::int32_t> numbers;
    for (std::wstring_view name : text.SectionNames()) {
        if (!EqualIgnoringCase(name.substr(0, baseName.size()), baseName)) {
            continue;
        }
        name.remove_prefix(baseName.size());
        // One spelling for each number: no sign and no zeros before it.
        const bool spelled = name == L"0" || (!name.empty() && name.front() >= L'1' && name.front() <= L'9');
        std::int32_t number = 0;
        if (spelled && ParseInteger(name, number) && number < count) {
            numbers.push_back(number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace n_config
