#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "base/guid_text.h"
#include "base/simple_array.h"
#include "base/str.h"
#include "config/config_text.h"

namespace n_config {

// How the integers of an item are written: "%d" or "0x%x".
enum class t_integerStyle
{
    decimal,
    hexadecimal,
};

// Reads a whole text as an integer: behind "0x" as 32 bits in hexadecimal, else as a signed decimal number.
//   value  receives the number; unchanged on failure
// Returns false for an empty text, for one with anything else in it, and for a number beyond 32 bits.
[[nodiscard]] bool ParseInteger(std::wstring_view text, std::int32_t& value);

// Writes an integer with its terminator.
//   buffer  at least 11 characters, and enough for the text
// Returns false, and writes nothing, when the buffer is too small.
bool FormatInteger(std::int32_t value, t_integerStyle style, std::span<wchar_t> buffer);

// The key under which an item is looked up: prefix and own name without a separator, cut to 259 characters.
::t_str ComposeKeyName(std::wstring_view prefix, std::wstring_view name);

// One typed value of a section: its key, its current value, its default, and whether it has a value of its own. Codec
// gives the type t_value and the functions Parse and Format.
template <class Codec>
class ImmTypedItem
{
public:
    using t_value = typename Codec::t_value;

    //   keyName  a literal; not null
    explicit ImmTypedItem(const wchar_t* keyName, t_value defaultValue = {})
        : key(keyName), initial(std::move(defaultValue))
    {
    }

    // The value that the file or Set supplied, else the default.
    const t_value& Value() const { return supplied ? current : initial; }
    bool IsSupplied() const { return supplied; }

    void Set(t_value value)
    {
        current = std::move(value);
        supplied = true;
    }

    // Takes the value of the item's key; a missing key or a malformed value leaves the item at its default.
    void Read(const t_configText& text, std::wstring_view section, std::wstring_view prefix = {})
    {
        const auto stored = text.FindValue(section, ComposeKeyName(prefix, key));
        current = {};
        supplied = stored && Codec::Parse(*stored, current);
    }

    // Writes the value, or the default of an item that has none. A stored text that reads as this value already stays
    // as the user spelled it.
    void Write(t_configText& text, std::wstring_view section, std::wstring_view prefix = {}) const
    {
        const ::t_str name = ComposeKeyName(prefix, key);
        const auto stored = text.FindValue(section, name);
        if (t_value present{}; !stored || !Codec::Parse(*stored, present) || !(present == Value())) {
            text.SetValue(section, name, Codec::Format(Value()));
        }
    }

private:
    const wchar_t* key;
    t_value current{};
    t_value initial;
    bool supplied = false;
};

template <t_integerStyle style>
struct t_integerCodec
{
    using t_value = std::int32_t;
    static bool Parse(std::wstring_view text, t_value& value) { return ParseInteger(text, value); }
    static ::t_str Format(t_value value)
    {
        wchar_t buffer[12] = {};
        FormatInteger(value, style, buffer);
        return buffer;
    }
};

struct t_stringCodec
{
    using t_value = ::t_str;
    static bool Parse(std::wstring_view text, t_value& value);
    static ::t_str Format(const t_value& value) { return value; }
};

// Elements joined by ",". White space around an element is not part of it; an empty text is an empty list.
struct t_listCodec
{
    using t_value = itl::ImmSimpleArray<::t_str>;
    static bool Parse(std::wstring_view text, t_value& value);
    static ::t_str Format(const t_value& value);
};

struct t_guidCodec
{
    using t_value = ::t_guid;
    static bool Parse(std::wstring_view text, t_value& value) { return ParseGuid(text, value); }
    static ::t_str Format(const t_value& value) { return FormatGuid(value); }
};

using t_int = ImmTypedItem<t_integerCodec<t_integerStyle::decimal>>;
using t_hexInt = ImmTypedItem<t_integerCodec<t_integerStyle::hexadecimal>>;
using t_str = ImmTypedItem<t_stringCodec>;
using t_list = ImmTypedItem<t_listCodec>;
using t_guid = ImmTypedItem<t_guidCodec>;

} // namespace n_config
