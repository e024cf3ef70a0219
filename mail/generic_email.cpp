#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <optional>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "common/records.h"
#include "common/status.h"
#include "common/turns.h"
#include "mail/attempt.h"
#include "mail/functions.h"
#include "mail/hostname.h"
#include "mail/sender_address.h"
#include "mail/thread_files.h"
#include "mail/under_way.h"
#include "platform/logging.h"

namespace pm {

// Start routine; argument is a GenericEmailThreadRequest. Ends through pthread_exit with
// the mail's status as the thread's result.
extern "C" void* pthread_sendGenericEmail(void* argument);

namespace {

constexpr const char* SENDER = "pthread_sendGenericEmail";
constexpr size_t HEADER_BOUND = 255;         // bytes of the To and Subject lines
constexpr int LONGEST_UNLOGGED_HEADER = 318; // a longer one is logged as cut

// Detached mails may pile up while their relay hangs: what their copies take is bounded.
constexpr size_t DETACHED_LIMIT = size_t{256} << 20U;
std::atomic<size_t> detachedBytes{0};

bool reserveDetached(size_t bytes) {
    if (detachedBytes.fetch_add(bytes) + bytes <= DETACHED_LIMIT)
        return true;
    detachedBytes -= bytes;
    return false;
}

// While a mail is prepared it takes descriptors: for its files, and those of the name
// service. Never destroyed: detached threads may still wait while the process exits.
constexpr size_t PREPARED_AT_ONCE = 64;
Turns& preparing = *new Turns(PREPARED_AT_ONCE);

// The thread's argument. It and the record are from malloc; the thread frees both.
struct GenericEmailThreadRequest {
    uint32_t request_size;
    void* request_data; // a copy of the whole record, its last byte a terminator
    size_t detached;    // bytes that count among those of detached mails
};

struct ThreadRequestRelease {
    void operator()(GenericEmailThreadRequest* request) const {
        detachedBytes -= request->detached;
        --mailsUnderWay;
        std::free(request->request_data);
        std::free(request);
    }
};
using ThreadRequestOwner = std::unique_ptr<GenericEmailThreadRequest, ThreadRequestRelease>;

// Null if there is no memory for it.
ThreadRequestOwner copyRequest(uint32_t request_size, const void* request_data, bool detached) {
    ThreadRequestOwner request(allocateCleared<GenericEmailThreadRequest>().release());
    if (!request)
        return nullptr;
    ++mailsUnderWay; // until it is released
    if (detached && !reserveDetached(request_size))
        return nullptr;
    request->detached = detached ? request_size : 0;
    request->request_size = request_size;
    request->request_data = std::malloc(request_size > 0 ? request_size : 1);
    if (request->request_data == nullptr)
        return nullptr;
    if (request_size > 0)
        std::memcpy(request->request_data, request_data, request_size);
    return request;
}

// A record too short for the flag counts as blocking, so that the caller learns that it
// is refused.
bool isBlocking(uint32_t request_size, const void* request_data) {
    return request_size < sizeof(GenericEmailStruct) ||
           bit0(static_cast<const GenericEmailStruct*>(request_data)->blocking);
}

// Starts the thread, which then owns the request. Returns 0, or an error number, after
// which the caller still owns it.
int startThread(pthread_t& thread, int detachState, ThreadRequestOwner& request) {
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0)
        return error;
    error = pthread_attr_setdetachstate(&attributes, detachState);
    if (error == 0)
        error = pthread_create(&thread, &attributes, pthread_sendGenericEmail, request.get());
    pthread_attr_destroy(&attributes);
    // The thread may have freed the request already.
    if (error == 0)
        static_cast<void>(request.release());
    return error;
}

// The text at that offset. A field without a terminator extends to the record's end,
// which sendGenericEmail terminates.
std::string_view textAt(const GenericEmailThreadRequest& request, size_t offset) {
    return fieldText(static_cast<const char*>(request.request_data) + offset,
                     request.request_size - offset);
}

// The destination for the log; empty if the record is too short.
std::string_view destinationOf(const GenericEmailThreadRequest& request) {
    if (request.request_size < sizeof(GenericEmailStruct))
        return "";
    return textAt(request, offsetof(GenericEmailStruct, szTo)).substr(0, HEADER_BOUND - 1);
}

int32_t sendAndWait(ThreadRequestOwner& request) {
    pthread_t thread;
    void* result = nullptr;
    const int error = startThread(thread, PTHREAD_CREATE_JOINABLE, request);
    if (error == 0)
        pthread_join(thread, &result);
    else
        PM_LOG_AS("sendGenericEmail", "ERROR : %s\n", std::strerror(error));
    const auto retVal = std::bit_cast<ssize_t>(result);
    PM_LOG_AS("sendGenericEmail", "retVal = %zd\n", retVal);
    return static_cast<int32_t>(retVal);
}

void sendDetached(ThreadRequestOwner& request) {
    pthread_t thread;
    const int error = startThread(thread, PTHREAD_CREATE_DETACHED, request);
    if (error != 0)
        PM_LOG_AS("sendGenericEmail", "ERROR : %s\n", std::strerror(error));
}

bool writeTo(Attempt& attempt, MessageFile& message, std::string_view to) {
    const int length = composeHeader(attempt, "To", to, HEADER_BOUND);
    if (length > LONGEST_UNLOGGED_HEADER)
        PM_LOG_AS(SENDER, "'To:' field truncated: %d\n", length);
    return message.write(attempt.line.view());
}

bool writeSubject(Attempt& attempt, MessageFile& message, std::string_view subject) {
    const int length = composeHeader(attempt, "Subject", subject, HEADER_BOUND);
    if (length > LONGEST_UNLOGGED_HEADER)
        PM_LOG_AS(SENDER, "'Subject:' field truncated: %d\n", length);
    return message.write(attempt.line.view());
}

// The steps before the relay run. Returns nothing if the message is ready for it.
std::optional<Ending> prepare(Attempt& attempt, const GenericEmailThreadRequest& request) {
    getSenderEmail(attempt.senderAddress);
    if (!readServerAddress(attempt))
        return giveUp(VESK_ERROR_FILE_ACCESS_FAIL);
    if (request.request_size < sizeof(GenericEmailStruct)) {
        // Both texts name the wrong record type; operators know them, so they stay.
        PM_LOG_AS(
            SENDER,
            "request_size less than sizeof(AlertEmailStruct), returning VESK_ERROR_INVALID_PARAMETER\n");
        PM_LOG_AS(
            SENDER,
            "request_size less than sizeof(AlertEmailStruct) = %zd, returning VESK_ERROR_INVALID_PARAMETER\n",
            ssize_t{sizeof(GenericEmailStruct)});
        return giveUp(VESK_ERROR_INVALID_PARAMETER);
    }
    if (gatherEmailEndpoint(attempt.endpoint, {.sender = SENDER, .hostname = Hostname::Later}) < 0)
        return giveUp(VESK_ERROR_GENERAL);
    if (getEmailConfigArgs(attempt.config) < 0)
        return giveUp(VESK_ERROR_INVALID_PARAMETER);

    MessageFile message(attempt.messagePath, MessageFile::AtEnd::Keep);
    if (!message.isOpen())
        return retry(VESK_ERROR_FILE_ACCESS_FAIL);
    writeDateLine(attempt, message);
    GetHostname(attempt.endpoint.szHostname);
    if (!writeRelayConfig(attempt, bMseCompatGenericEmail))
        return giveUp(VESK_ERROR_FILE_ACCESS_FAIL);
    composeFromLine(attempt, FromFallback::HostAtDomain);
    if (message.write(attempt.line.view())) { // on failure, only the Date line is sent
        if (!writeTo(attempt, message, textAt(request, offsetof(GenericEmailStruct, szTo))) ||
            !writeSubject(attempt, message,
                          textAt(request, offsetof(GenericEmailStruct, szSubject))) ||
            !message.write(CONTENT_TYPE_LINE))
            return retry(VESK_ERROR_FILE_ACCESS_FAIL);
        writeBody(message, textAt(request, sizeof(GenericEmailStruct)));
    }
    return std::nullopt;
}

Ending attemptOnce(const GenericEmailThreadRequest& request, const Text<255>& messagePath,
                   const Text<255>& relayConfigPath) {
    Attempt attempt{.sender = SENDER,
                    .messagePath = messagePath.c_str(),
                    .relayConfigPath = relayConfigPath.c_str()};
    {
        const Turn turn(preparing);
        if (const std::optional<Ending> failed = prepare(attempt, request))
            return *failed;
    }
    const int result = runRelay(attempt);
    PM_LOG_AS(SENDER, "nReturn=[%zd]\n", static_cast<ssize_t>(result));
    return result == 0 ? sent() : retry(VESK_ERROR_GENERAL);
}

int32_t sendFromThread(ThreadRequestOwner request) {
    const ThreadSuffix threadSuffix(static_cast<int>(syscall(SYS_gettid)));
    Text<255> messagePath, relayConfigPath;
    messagePath.format("%s%s", GENERIC_MESSAGE_PATH, threadSuffix.c_str());
    relayConfigPath.format("%s%s", RELAY_CONFIG_PATH, threadSuffix.c_str());
    const Ending end = makeAttempts(bMseCompatGenericEmail, [&] {
        return attemptOnce(*request, messagePath, relayConfigPath);
    });
    logFailedMail(SENDER, destinationOf(*request), end);
    unlink(messagePath.c_str());
    unlink(relayConfigPath.c_str());
    return end.status;
}

} // namespace

void* pthread_sendGenericEmail(void* argument) {
    PM_LOG("Entry\n");
    // pthread_exit does not return: all that the thread owns is released in this call.
    const int32_t status =
        sendFromThread(ThreadRequestOwner(static_cast<GenericEmailThreadRequest*>(argument)));
    pthread_exit(std::bit_cast<void*>(static_cast<intptr_t>(status)));
}

int32_t sendGenericEmail(uint32_t request_size, void* request_data) {
    PM_LOG("Entry\n");
    const uint32_t size = request_data == nullptr ? 0 : request_size;
    if (size > 0)
        static_cast<char*>(request_data)[size - 1] = '\0';
    const bool blocking = isBlocking(size, request_data);
    ThreadRequestOwner request = copyRequest(size, request_data, !blocking);
    if (!request) {
        PM_LOG("ERROR : %s\n", std::strerror(ENOMEM));
        return VESK_ERROR_GENERAL;
    }
    if (blocking) {
        PM_LOG("Blocking Mode enabled\n");
        return sendAndWait(request);
    }
    PM_LOG("Blocking Mode disabled\n");
    sendDetached(request);
    return 0;
}

} // namespace pm
