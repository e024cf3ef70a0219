// Delivers events and attribute changes. Each topic of the client's table has a queue and a
// thread, and all subscriptions share one, so that no topic's callback delays another's.
#pragma once

#include <string>

#include "platform/host/work_queue.h"

namespace pm::host {

// Starts the threads for the client's table. Returns false if one could not be started.
bool startDelivery(const qornc_event_row* table);
// Stops the threads, after the callbacks that are running.
void stopDelivery();

// The topic's queue; and the queue on which settings are written, as the loop must not wait
// for the disk.
WorkQueue& deliveryQueue(std::string_view topic);
WorkQueue& settingsQueue();

// Waiting jobs: events; attribute changes and settings to write.
size_t waitingEvents();
size_t waitingChanges();

// Runs a job: calls all callbacks with the record, and replies to the publisher with the
// first result that is not 0.
void deliver(Job& job);

// Queues the change of an attribute (name in lower case) for its subscribers. May be called
// on any thread; never waits for them. A failure is logged.
void attributeChanged(const std::string& attribute);

} // namespace pm::host
