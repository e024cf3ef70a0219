// Delivery of events and attribute changes: a queue and a thread for each topic of the
// client's table and one for what is subscribed, so that no topic's callback delays another.
#pragma once

#include <string>

#include "platform/host/work_queue.h"

namespace pm::host {

// For the table of the client. False: a thread could not be started.
bool startDelivery(const qornc_event_row* table);
// Waits for the callbacks that run.
void stopDelivery();

// The topic's queue, and the one on which settings are written: waiting for the disk is
// not the loop's.
WorkQueue& deliveryQueue(std::string_view topic);
WorkQueue& settingsQueue();

// Jobs that wait: events; and attribute changes with settings to be written.
size_t waitingEvents();
size_t waitingChanges();

// A job's routine: hands the record to all callbacks, and the first result that
// is not 0 to the publisher.
void deliver(Job& job);

// Queues the change of an attribute (name in lower case) for all who take it. Any
// thread; returns at once.
void attributeChanged(const std::string& attribute);

} // namespace pm::host
