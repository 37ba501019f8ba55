#pragma once

#include <map>
#include <string_view>

#include "tests/import_patch.h"

// Answers the look-up of some functions at run time with others; null stands for a function that the system lacks.
struct t_lookupPatch
{
    using t_answers = std::map<std::string_view, void*>;

    t_answers answers;
    REPLACE(lookUp, GetProcAddress, [this](HMODULE module, LPCSTR name) {
        const auto answer = answers.find(name);
        return answer != answers.end() ? reinterpret_cast<FARPROC>(answer->second) : lookUp.Original(module, name);
    });
};
