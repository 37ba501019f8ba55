#pragma once

#include <utility>

// Sole owner of a system resource that is named by a value and given back by one function.
//   Value  handle or pointer type; Value{} means "none"
//   Close  function that gives a resource back; its result is not looked at
template <class Value, auto Close>
class ImmUnique
{
public:
    ImmUnique() = default;
    explicit ImmUnique(Value owned) : value(owned) {}
    ImmUnique(ImmUnique&& other) noexcept : value(std::exchange(other.value, Value{})) {}
    ImmUnique& operator=(ImmUnique&& other) noexcept
    {
        if (this != &other) {
            Reset(std::exchange(other.value, Value{}));
        }
        return *this;
    }
    ~ImmUnique() { Reset(); }

    Value Get() const { return value; }
    explicit operator bool() const { return value != Value{}; }

    // For functions that return the resource through a pointer; what was held is given back first.
    Value* Put()
    {
        Reset();
        return &value;
    }

    Value Release() { return std::exchange(value, Value{}); }

    void Reset(Value next = Value{})
    {
        if (value != Value{}) {
            Close(value);
        }
        value = next;
    }

private:
    Value value{};
};
