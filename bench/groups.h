// The groups, each in a file of its own, and what they share.
#pragma once

#include "bench/case.h"
#include "bench/event_feed.h"
#include "bench/event_peer.h"
#include "bench/library.h"
#include "bench/raw_ping_pong.h"
#include "bench/service.h"

namespace bench {

// To be made while the process has one thread: the service and the peer's publisher are processes of their own.
struct World {
    EventFeed feed;
    Publisher publisher{feed};
    Service service{feed};
    Library library; // connects first: the service keeps its requests
    RawPingPong raw;
};

Group round_trips(World& world);
Group queries(World& world);
Group codec();
Group events(World& world);
Group provisioning(World& world);

} // namespace bench
