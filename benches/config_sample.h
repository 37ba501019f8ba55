#pragma once

#include <cstddef>
#include <string>

// The text of a configuration file as programs write them: sections of twenty keys with values of some ten to forty
// characters, and a comment on every section.
namespace n_bench {

// What is looked for in a file that was read: a key of the last section.
struct t_sample
{
    std::wstring text, section, key;
};

// As many whole sections as a number of characters holds.
inline t_sample MakeSample(std::size_t characters)
{
    t_sample sample;
    for (std::size_t number = 0;; ++number) {
        const std::wstring section = L"Section" + std::to_wstring(number);
        std::wstring text = L"[" + section + L"]\r\n; settings of part " + std::to_wstring(number) + L"\r\n";
        for (std::size_t key = 0; key < 20; ++key) {
            text += L"Setting" + std::to_wstring(key * 37 % 101) + L"=" +
                    std::wstring(L"C:\\Users\\Public\\Documents\\Tarvo,0x804").substr(0, 8 + (key * 7 + number) % 30) +
                    L"\r\n";
        }
        if (number != 0) {
            text.insert(0, L"\r\n");
            if (sample.text.size() + text.size() > characters) {
                return sample;
            }
        }
        sample.text += text;
        sample.section = section;
        sample.key = L"Setting10";
    }
}

} // namespace n_bench
