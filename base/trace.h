#pragma once

#include "base/str.h"

// The trace hook of the registration steps: a tag and a text for every failure point. Without a sink nothing is
// recorded and nothing is formatted.
namespace n_trace {

using t_sink = void (*)(const wchar_t* tag, const wchar_t* text);

// Sets the function that receives every trace line; null turns tracing off.
void SetSink(t_sink sink);
t_sink Sink();

// Formats the arguments by the rules of t_str::AppendFormat and hands the line to the sink, if there is one.
template <class... Args>
void Trace(const wchar_t* tag, const wchar_t* format, Args... arguments)
{
    if (const t_sink sink = Sink()) {
        sink(tag, FormatStr(format, arguments...).c_str());
    }
}

} // namespace n_trace
