// Alert mail for a platform event.
#pragma once

#include <cstdint>

#include "common/records.h"

namespace pm {

// Mails the event to each enabled destination, with the subject and body configured for
// it. Returns the status of the last mail that was attempted, or 0 without one.
int32_t sendEmailAlerts(const EventPayload& event);

} // namespace pm
