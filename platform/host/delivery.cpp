#include "platform/host/delivery.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <memory>
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
    bool event = false; // true: event, false: attribute change
};

struct Delivery {
    std::deque<DeliveryThread> rows; // one for each row of the client's table
    DeliveryThread subscribed;
    DeliveryThread settings;
};

// Never destroyed: its threads may run until the process has ended.
Delivery& delivery() {
    static Delivery& instance = *new Delivery;
    return instance;
}

void* serveQueue(void* queue) {
    static_cast<WorkQueue*>(queue)->serve();
    return nullptr;
}

bool start(DeliveryThread& each) {
    each.queue.open();
    each.running = startThread(serveQueue, &each.queue, &each.thread);
    return each.running;
}

void stop(DeliveryThread& each) {
    each.queue.close();
    if (each.running)
        pthread_join(each.thread, nullptr);
    each.running = false;
}

void queueChange(const std::string& attribute) {
    auto job = std::make_unique<Job>();
    job->name = std::string(ATTRIBUTE_CHANGE_TOPIC) + attribute + '$';
    job->callbacks = subscribersOf(job->name);
    if (job->callbacks.empty())
        return;
    job->record = attributeChangeRecord(attribute);
    job->run = deliver;
    if (!job->record.frame ||
        deliveryQueue(job->name).push(job, JobLimit::Skipped) == Pushed::NoRoom)
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE,
                      "the change of %s is not delivered: the queues are full", attribute.c_str());
}

size_t waitingInRows(bool events) {
    size_t waiting = 0;
    for (const DeliveryThread& row : delivery().rows)
        waiting += row.event == events ? row.queue.waiting() : 0;
    return waiting;
}

} // namespace

bool startDelivery(const qornc_event_row* table) {
    delivery().rows.clear();
    for (const auto* row = table; row != nullptr && row->topic != nullptr; ++row)
        delivery().rows.emplace_back().event = !isAttributeChange(row->topic);
    return std::ranges::all_of(delivery().rows, start) && start(delivery().subscribed) &&
           start(delivery().settings);
}

void stopDelivery() {
    stop(delivery().settings);
    stop(delivery().subscribed);
    for (DeliveryThread& row : delivery().rows)
        stop(row);
}

WorkQueue& deliveryQueue(std::string_view topic) {
    const auto row = rowMatching(topic);
    return row ? delivery().rows[*row].queue : delivery().subscribed.queue;
}

WorkQueue& settingsQueue() {
    return delivery().settings.queue;
}

size_t waitingEvents() {
    return waitingInRows(true);
}

size_t waitingChanges() {
    return waitingInRows(false) + delivery().subscribed.queue.waiting() +
           delivery().settings.queue.waiting();
}

void deliver(Job& job) {
    int32_t result = 0;
    const std::string served = countedTopic(job.name);
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
    queueReply(job.caller, outcomeReply(result, noteEnd(Work::Topic, served, result)));
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
