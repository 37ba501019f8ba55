// Any bytes as the shared error list: never read or written outside, and left alone when it is damaged.
#include <cstring>
#include <vector>

#include "diag/error_list_layout.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using enum t_errorListResult;
    if (size < 12) {
        return 0;
    }
    std::vector<std::byte> area(size); // no byte more, so that an access behind it is found
    std::memcpy(area.data(), data, size);
    t_errorListLayout list(area);
    list.InitialiseIfNew();
    const std::vector<std::byte> before = area;
    bool known = false, found = false, flag = false;
    const t_errorListResult looked = list.Contains(L"ab", known), added = list.Add(L"ab", false);
    Check(looked == done ? added == done || added == full : added == damaged);
    Check(area == before || (!known && list.Contains(L"ab", found) == done && found));
    t_str text;
    for (std::size_t i = 0; i < size && list.ReadNext(text, flag) == done; ++i) {
        Check(text.size() < area.size());
        found = found && text != L"ab";
    }
    Check(!found);
    list.MarkAllRead();
    return 0;
}
