// What the facts share with the SIP commands.
#pragma once

#include <cstddef>

#include "tools/output.h"

namespace qel {

// An account is opaque bytes to the library; to the simulated router it is two texts, the user and the registrar.
constexpr std::size_t sip_text_size = 33;

// A list of objects with "user" and "registrar".
Json read_sip_accounts();

} // namespace qel
