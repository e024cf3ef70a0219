// Alert mail for a platform event.
#pragma once

#include <cstdint>

namespace pm {

// Mails the event (an EventPayload of common/records.h) to each enabled
// destination, with the subject and body configured for it. Returns the status of
// the last mail that was attempted, 0 if there was none.
int32_t sendEmailAlerts(const void* payload);

} // namespace pm
