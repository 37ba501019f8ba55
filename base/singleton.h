#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>

#include "base/simple_array.h"

// What the singleton registry owns: anything that a virtual destructor destroys.
class t_singletonObject
{
public:
    t_singletonObject() = default;
    t_singletonObject(const t_singletonObject&) = delete;
    t_singletonObject& operator=(const t_singletonObject&) = delete;
    virtual ~t_singletonObject() = default;
};

// The process's table of named singletons. It owns its objects and destroys them, last registered first, at process
// exit.
class t_singletonRegistry
{
public:
    static constexpr std::size_t kMaxEntries = 0x7FFFFFF;

    // The registry of this process. From its construction until process exit it is in its locked phase.
    static t_singletonRegistry& Process();

    //   maxEntries  number of entries beyond which growth is refused
    explicit t_singletonRegistry(std::size_t maxEntries = kMaxEntries) : limit(maxEntries) {}
    t_singletonRegistry(const t_singletonRegistry&) = delete;
    t_singletonRegistry& operator=(const t_singletonRegistry&) = delete;
    ~t_singletonRegistry();

    // The lock under which objects are looked up, made and registered. It is recursive, since making one singleton may
    // ask for another. Outside the locked phase, at process exit, it locks nothing:
    // threads that use singletons must have ended then.
    [[nodiscard]] std::unique_lock<std::recursive_mutex> Lock();

    // The object registered under the name, or null. The name is compared as text.
    t_singletonObject* Find(const char* name) const;

    // Registers an object, which the registry owns from then on.
    //   name    not null; must outlive the registry (a literal)
    //   object  not null
    // Returns false, without taking the object, when the table may not grow.
    [[nodiscard]] bool Add(const char* name, t_singletonObject* object);

    // Destroys every object; the next request for one makes it anew.
    void DestroyAll();

private:
    struct t_entry
    {
        const char* name;
        t_singletonObject* object;
    };

    std::size_t limit;
    std::atomic<bool> locked = true;
    std::recursive_mutex mutex;
    itl::ImmSimpleArray<t_entry> entries;
};

// A lazily created process-wide instance of T, registered under T::kSingletonName.
template <class T>
class ImmSingleton
{
public:
    // The instance, made on the first call. Null only when memory or the registry's table is exhausted.
    static T* Instance()
    {
        if (t_holder* const made = published.load(std::memory_order_acquire)) {
            return &made->value;
        }
        t_singletonRegistry& registry = t_singletonRegistry::Process();
        const auto lock = registry.Lock();
        auto* holder = static_cast<t_holder*>(registry.Find(T::kSingletonName));
        if (holder == nullptr) {
            holder = new (std::nothrow) t_holder;
            if (holder == nullptr) {
                return nullptr;
            }
            if (!registry.Add(T::kSingletonName, holder)) {
                delete holder;
                return nullptr;
            }
        }
        published.store(holder, std::memory_order_release);
        return &holder->value;
    }

private:
    struct t_holder : t_singletonObject
    {
        ~t_holder() override { published.store(nullptr, std::memory_order_release); }
        T value;
    };

    static inline std::atomic<t_holder*> published = nullptr;
};
