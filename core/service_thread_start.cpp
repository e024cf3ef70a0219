#include <csignal>
#include <cstring>
#include <pthread.h>

#include "core/process.h"
#include "core/service_thread.h"
#include "platform/logging.h"

namespace pm {

namespace {

// Detached thread attributes, destroyed on every path that initialised them.
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

// Signals belong to the main thread: one that interrupted the service thread
// would end its loop. Threads inherit the mask, so that all of its descendants
// are covered; a fault still reaches the thread that made it.
struct SignalsBlocked {
    sigset_t before;

    SignalsBlocked() {
        const sigset_t blocked = allButFaults();
        pthread_sigmask(SIG_SETMASK, &blocked, &before);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
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
