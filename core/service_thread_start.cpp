#include "core/service_thread_start.h"

#include <cstring>
#include <pthread.h>

#include "common/signals.h"
#include "core/service_thread.h"
#include "core/signals.h"
#include "platform/logging.h"

namespace pm {

namespace {

// Owner of thread attributes; error is the result of their initialisation.
struct ThreadAttributes {
    pthread_attr_t value;
    int error = pthread_attr_init(&value);

    ThreadAttributes() = default;
    ThreadAttributes(const ThreadAttributes&) = delete;
    ThreadAttributes& operator=(const ThreadAttributes&) = delete;
    ~ThreadAttributes() {
        if (error == 0)
            pthread_attr_destroy(&value);
    }
};

} // namespace

int32_t create_PM_LQORN_thread() {
    ThreadAttributes attributes;
    if (attributes.error != 0) {
        PM_LOG_SERVICE(PM_LEVEL_ERROR, "%s : pthread_attr_init failed :: Error %s",
                       std::strerror(attributes.error));
        return -1;
    }
    int error = pthread_attr_setdetachstate(&attributes.value, PTHREAD_CREATE_DETACHED);
    if (error != 0) {
        PM_LOG_SERVICE(PM_LEVEL_ERROR, "%s : pthread_setdetachstate failed :: Error %s",
                       std::strerror(error));
        return -2;
    }
    // The main thread takes all signals: one that interrupts the service thread would end
    // its loop.
    const SignalsBlocked blocked;
    pthread_t thread;
    error = pthread_create(&thread, &attributes.value, PM_LQORNThread, nullptr);
    if (error != 0) {
        PM_LOG_SERVICE(PM_LEVEL_ERROR, "%s : pthread_create failed :: Error %s",
                       std::strerror(error));
        return -3;
    }
    return 0;
}

} // namespace pm
