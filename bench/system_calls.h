// Counts this process's system calls with strace, which is attached to it for that time. The service's processes are
// not traced.
#pragma once

#include <functional>
#include <optional>

namespace bench {

// System calls of all threads for each of so many calls of run; nothing when strace cannot be used here. The few calls
// that end the tracing count too, so there should be many.
std::optional<double> system_calls_per(const std::function<bool()>& run, int runs);

} // namespace bench
