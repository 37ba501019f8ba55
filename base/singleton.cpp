#include "base/singleton.h"

#include <algorithm>
#include <cstring>

t_singletonRegistry& t_singletonRegistry::Process()
{
    static t_singletonRegistry registry;
    return registry;
}

t_singletonRegistry::~t_singletonRegistry()
{
    locked = false;
    DestroyAll();
}

std::unique_lock<std::recursive_mutex> t_singletonRegistry::Lock()
{
    return locked ? std::unique_lock(mutex) : std::unique_lock(mutex, std::defer_lock);
}

t_singletonObject* t_singletonRegistry::Find(const char* name) const
{
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [name](const t_entry& entry) { return std::strcmp(entry.name, name) == 0; });
    return found == entries.end() ? nullptr : found->object;
}

bool t_singletonRegistry::Add(const char* name, t_singletonObject* object)
{
    if (entries.size() == entries.capacity()) {
        const std::size_t doubled = std::min(std::max<std::size_t>(entries.capacity() * 2, 8), limit);
        if (doubled <= entries.size()) {
            return false;
        }
        try {
            entries.reserve(doubled);
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    entries.push_back({name, object});
    return true;
}

void t_singletonRegistry::DestroyAll()
{
    const auto lock = Lock();
    while (!entries.empty()) {
        t_singletonObject* const last = entries.back().object;
        entries.pop_back();
        delete last;
    }
}
