#pragma once

#include <cstdint>
#include <memory>
#include <tuple>

#include "config/typed_items.h"

namespace n_config {

// Read and write every item of a section structure; its function Keys() gives the items in order.
template <class Section>
void ReadSection(const t_configText& text, std::wstring_view name, Section& section)
{
    std::apply([&](auto&... items) { (items.Read(text, name), ...); }, section.Keys());
}

template <class Section>
void WriteSection(t_configText& text, std::wstring_view name, Section& section)
{
    std::apply([&](auto&... items) { (items.Write(text, name), ...); }, section.Keys());
}

// The numbers that follow the base name in section names such as "item0", below a count and in ascending order. Only
// sections that exist are looked at, so that a large count costs nothing.
itl::ImmSimpleArray<std::int32_t> FindElements(const t_configText& text, std::wstring_view baseName,
                                               std::int32_t count);

// A row of sections of one structure, named by a base name and a number from 0. A number without a section gives no
// element.
template <class Element>
class t_arraySection
{
public:
    using t_elements = itl::ImmSimpleArray<std::unique_ptr<Element>>;

    //   baseName  a literal; not null
    explicit t_arraySection(const wchar_t* baseName) : base(baseName) {}

    // Reads the elements with numbers below a count.
    void Read(const t_configText& text, std::int32_t count)
    {
        elements.clear();
        numbers = FindElements(text, base, count);
        for (const std::int32_t number : numbers) {
            ReadSection(text, SectionName(number), *elements.emplace_back(std::make_unique<Element>()));
        }
    }

    // Writes the elements back to their sections.
    void Write(t_configText& text) const
    {
        for (std::size_t i = 0; i < elements.size(); ++i) {
            WriteSection(text, SectionName(numbers[i]), *elements[i]);
        }
    }

    const t_elements& Elements() const { return elements; }

private:
    ::t_str SectionName(std::int32_t number) const { return FormatStr(L"%s%d", base, number); }

    const wchar_t* base;
    itl::ImmSimpleArray<std::int32_t> numbers;
    t_elements elements;
};

} // namespace n_config
