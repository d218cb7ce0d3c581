// Programs that qel-sim runs need a log library to start. Hosts that are no routers have none, so there they are led to
// the stand-in, which is installed in a directory of the simulator's own. To be called before there are threads.
#pragma once

namespace sim {

// Changes nothing where the loader finds a log library, or where no stand-in is installed with this program.
void offer_standin();

} // namespace sim
