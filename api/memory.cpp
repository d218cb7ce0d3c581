// The version text, the heap that texts handed to the application come from, and what is said when it is used up. None
// of these needs the library to be initialised.
#include <cstdlib>
#include <cstring>

#include "api/frame.h"

namespace {
constexpr char kVersion[] = "Vela Quor v1.5.70.000";
static_assert(sizeof kVersion == VELA_VERSION_SIZE);
} // namespace

std::int32_t no_memory(const char* function) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d memory use out, malloc failed", function, __LINE__);
    return VELA_ERROR;
}

std::int32_t vela_version(char* version) {
    return exported(__func__, [&] {
        if (version == nullptr) {
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d version == NULL", "vela_version", __LINE__);
            return VELA_ERROR;
        }
        std::memcpy(version, kVersion, sizeof kVersion);
        return VELA_OK;
    });
}

void* vela_malloc(std::uint32_t size) { return std::malloc(size); }

std::int32_t vela_free(void* block) {
    std::free(block);
    return VELA_OK;
}
