// Calls a named function of another service, which uses pm's request protocol.
#include <exception>

#include "common/signals.h"
#include "platform/client/connection.h"
#include "platform/host/store.h"
#include "platform/host/threads.h"
#include "platform/logging.h"
#include "platform/services.h"

namespace pm::host {

using namespace client;

namespace {

constexpr std::chrono::seconds TIME_LIMIT{30};

const char* failureOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::NotReached:
        return "no service listens there";
    case Outcome::Lost:
        return "the service ended before it answered";
    case Outcome::TimedOut:
        return "no answer within 30 seconds";
    case Outcome::NoMemory:
        return "out of memory";
    case Outcome::Answered:
        break;
    }
    return "the service has refused it";
}

bool execute(const std::string& name, std::string_view request) {
    const auto endpoint = storedText("pm_str_endpoint_" + name);
    if (!endpoint || endpoint->empty())
        return false;             // the service is not configured
    const SignalsBlocked blocked; // libzmq's new threads inherit the mask
    Connection connection(*endpoint);
    Reply reply;
    const Outcome outcome = connection.request({"call", {name}, request}, TIME_LIMIT, reply);
    if (outcome == Outcome::Answered && replyStatus(reply) == 0)
        return true;
    mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "function %s at %s failed: %s", name.c_str(),
                  endpoint->c_str(), failureOf(outcome));
    return false;
}

} // namespace

extern "C" int vesk_function_execute_QORN(const char* name, uint32_t*, const void* request,
                                          uint32_t length, uint32_t*) {
    if (name == nullptr || (request == nullptr && length != 0))
        return -1;
    try {
        return execute(name, {static_cast<const char*>(request), length}) ? 0 : -1;
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "function %s failed: %s", name,
                      exception.what());
        return -1;
    }
}

} // namespace pm::host
