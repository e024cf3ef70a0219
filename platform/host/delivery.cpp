#include "platform/host/delivery.h"

#include <exception>
#include <pthread.h>

#include "platform/host/activity.h"
#include "platform/host/status_report.h"
#include "platform/host/subscriptions.h"
#include "platform/host/threads.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

struct DeliveryThread {
    WorkQueue queue;
    pthread_t thread{};
    bool running = false;
};

// Never destroyed: their threads may still run while the process ends.
DeliveryThread& events() {
    static DeliveryThread& instance = *new DeliveryThread;
    return instance;
}

// A queue of their own, so that the mails of an event delay no attribute change.
// Settings are written here as well: waiting for the disk is not the loop's.
DeliveryThread& changes() {
    static DeliveryThread& instance = *new DeliveryThread;
    return instance;
}

void* serveQueue(void* queue) {
    static_cast<WorkQueue*>(queue)->serve();
    return nullptr;
}

bool start(DeliveryThread& delivery) {
    delivery.queue.open();
    delivery.running = startThread(serveQueue, &delivery.queue, &delivery.thread);
    return delivery.running;
}

void stop(DeliveryThread& delivery) {
    delivery.queue.close();
    if (delivery.running)
        pthread_join(delivery.thread, nullptr);
    delivery.running = false;
}

void queueChange(const std::string& attribute) {
    Jobs jobs(1);
    Job& job = jobs.front();
    job.name = std::string(ATTRIBUTE_CHANGE_TOPIC) + attribute + '$';
    job.callbacks = takersOf(job.name);
    if (job.callbacks.empty())
        return;
    job.record = attributeChangeRecord(attribute);
    job.run = deliver;
    if (!job.record.frame || changes().queue.push(jobs, true) == Pushed::NoRoom)
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE,
                      "the change of %s is not delivered: too much is waiting", attribute.c_str());
}

} // namespace

bool startDelivery() {
    return start(events()) && start(changes());
}

void stopDelivery() {
    stop(changes());
    stop(events());
}

WorkQueue& deliveryQueue(std::string_view topic) {
    return isAttributeChange(topic) ? changes().queue : events().queue;
}

WorkQueue& settingsQueue() {
    return changes().queue;
}

void deliver(Job& job) {
    int32_t result = 0;
    const std::string served = servedTopic(job.name);
    noteBegin(Work::Topic, served);
    for (const qornc_event_callback callback : job.callbacks) {
        const int32_t status = callback(nullptr, job.name.c_str(), job.record.data());
        if (status == 0)
            continue;
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "event %s: the callback returned %d",
                      job.name.c_str(), status);
        if (result == 0)
            result = status;
    }
    leaveReply(job.caller, outcomeReply(result, noteEnd(Work::Topic, served, result)));
}

void attributeChanged(const std::string& attribute) {
    try {
        queueChange(attribute);
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "the change of %s is not delivered: %s",
                      attribute.c_str(), exception.what());
    }
}

} // namespace pm::host
