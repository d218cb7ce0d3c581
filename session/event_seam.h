// Where the transport meets the events: what the session layer asks of whoever keeps the event registry. The registry
// defines these; the session layer knows nothing else of it.
#pragma once

#include "session/message.h"

// Hands one pushed event, header in host order and length valid, to its callback.
void deliver_event(tagMSG_DATA* message);

// The service has gone: every event handle is freed and the registry emptied.
void forget_events();
