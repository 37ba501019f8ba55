#pragma once

#include <windows.h>

#include <functional>

// The address-table slot through which this program calls an imported function. Null when it does not import it.
void** FindImportSlot(const char* functionName);

// Puts a function into such a slot.
void WriteImportSlot(void** slot, void* function);

// Replaces one import of this program for the life of a scope, as a variable or as a member:
//   REPLACE(remove, RegDeleteKeyW, [&](HKEY key, LPCWSTR name) { … });
// The replacement may call remove.Original. Two patches of one signature that live at once need different tags.
#define REPLACE(variable, function, ...)                                                                               \
    ImmImportPatch<decltype(&function), __LINE__> variable                                                             \
    {                                                                                                                  \
#function, __VA_ARGS__                                                                                         \
    }
template <class Function, int tag = 0>
class ImmImportPatch;

template <class Result, class... Args, int tag>
class ImmImportPatch<Result (*)(Args...), tag>
{
public:
    using t_function = Result (*)(Args...);

    ImmImportPatch(const char* functionName, std::function<Result(Args...)> replacement)
        : slot(FindImportSlot(functionName)), previous(current), action(std::move(replacement))
    {
        if (slot == nullptr) {
            __builtin_trap(); // the test names a function that nothing in it calls
        }
        Original = reinterpret_cast<t_function>(*slot);
        current = this;
        WriteImportSlot(slot, reinterpret_cast<void*>(&Call));
    }
    ~ImmImportPatch()
    {
        WriteImportSlot(slot, reinterpret_cast<void*>(Original));
        current = previous;
    }
    ImmImportPatch(const ImmImportPatch&) = delete;
    ImmImportPatch& operator=(const ImmImportPatch&) = delete;

    t_function Original = nullptr;
    int calls = 0;

private:
    static Result Call(Args... arguments)
    {
        ImmImportPatch* const self = current;
        ++self->calls;
        return self->action(arguments...);
    }

    static inline ImmImportPatch* current = nullptr;
    void** slot;
    ImmImportPatch* previous;
    std::function<Result(Args...)> action;
};
