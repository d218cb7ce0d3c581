// The recording in data/default.snmprec, as it was when the program was built.
#pragma once

namespace sim {

extern const char default_recording[];

} // namespace sim
