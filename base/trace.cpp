#include "base/trace.h"

#include <atomic>

namespace n_trace {

namespace {
std::atomic<t_sink> currentSink = nullptr;
}

void SetSink(t_sink sink)
{
    currentSink = sink;
}

t_sink Sink()
{
    return currentSink;
}

} // namespace n_trace
