// Delivery of events and attribute changes: a thread each, one at a time.
#pragma once

#include <string>

#include "platform/host/work_queue.h"

namespace pm::host {

// False: a thread could not be started.
bool startDelivery();
// Waits for the callbacks that run.
void stopDelivery();

// The queue of a topic's kind, and the one on which settings are written.
WorkQueue& deliveryQueue(std::string_view topic);
WorkQueue& settingsQueue();

// A job's routine: hands the record to all callbacks, and the first result that
// is not 0 to the publisher.
void deliver(Job& job);

// Queues the change of an attribute (name in lower case) for all who take it. Any
// thread; returns at once.
void attributeChanged(const std::string& attribute);

} // namespace pm::host
