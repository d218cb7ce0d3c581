// What stands around the work of every exported function: the call is no cancellation point, so a thread cancelled
// inside it first finishes it, and a failed allocation becomes a result code.
#pragma once

#include <cstdint>
#include <new>

#include "common/cancel.h"
#include "common/debug_log.h"
#include "qel_api.h"

// The record of a failed allocation, and its result code.
std::int32_t no_memory(const char* function);

template <class Code, class Work> Code exported_as(const char* function, Work work) {
    const CancelOff wholeCall;
    try {
        return static_cast<Code>(work());
    } catch (const std::bad_alloc&) {
        return static_cast<Code>(no_memory(function));
    }
}

template <class Work> std::int32_t exported(const char* function, Work work) {
    return exported_as<std::int32_t>(function, work);
}

// Device queries return the service's codes, which are unsigned.
template <class Work> std::uint32_t exported_query(const char* function, Work work) {
    return exported_as<std::uint32_t>(function, work);
}
