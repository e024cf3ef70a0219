#include <bit>
#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "common/records.h"
#include "mail/attempt.h"
#include "mail/functions.h"
#include "mail/generic_email_thread.h"
#include "mail/sender_hooks.h"
#include "mail/thread_files.h"
#include "platform/logging.h"

namespace {

constexpr const char* THREAD_OPERATION = "pthread_sendGenericEmail";

struct ThreadRequestRelease {
    void operator()(GenericEmailThreadRequest* request) const {
        std::free(request->request_data);
        std::free(request);
    }
};
using ThreadRequestOwner = std::unique_ptr<GenericEmailThreadRequest, ThreadRequestRelease>;

// Null if the heap is exhausted.
ThreadRequestOwner copyRequest(uint32_t request_size, const void* request_data) {
    ThreadRequestOwner request(allocateCleared<GenericEmailThreadRequest>().release());
    if (!request)
        return nullptr;
    request->request_size = request_size;
    request->request_data = std::malloc(request_size > 0 ? request_size : 1);
    if (request->request_data == nullptr)
        return nullptr;
    if (request_size > 0)
        std::memcpy(request->request_data, request_data, request_size);
    return request;
}

// A record too short for its flag goes to the thread in blocking mode, so that
// the caller learns of the refusal.
bool isBlocking(uint32_t request_size, const void* request_data) {
    return request_size < sizeof(GenericEmailStruct) ||
           bit0(static_cast<const GenericEmailStruct*>(request_data)->blocking);
}

// Starts the thread and hands the request over to it. Returns an error number.
int startThread(pthread_t& thread, int detachState, ThreadRequestOwner& request) {
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0)
        return error;
    error = pthread_attr_setdetachstate(&attributes, detachState);
    if (error == 0)
        error = pthread_create(&thread, &attributes, pthread_sendGenericEmail, request.get());
    pthread_attr_destroy(&attributes);
    // From here on the thread owns it, and may have released it already.
    if (error == 0)
        static_cast<void>(request.release());
    return error;
}

int32_t sendAndWait(ThreadRequestOwner& request) {
    pthread_t thread;
    void* result = nullptr;
    const int error = startThread(thread, PTHREAD_CREATE_JOINABLE, request);
    if (error == 0)
        pthread_join(thread, &result);
    else
        PM_LOG_AS("sendGenericEmail", "[%d]: %s() - ERROR : %s\n", std::strerror(error));
    const auto retVal = std::bit_cast<ssize_t>(result);
    PM_LOG_AS("sendGenericEmail", "[%d]: %s() - retVal = %zd\n", retVal);
    return static_cast<int32_t>(retVal);
}

void sendDetached(ThreadRequestOwner& request) {
    pthread_t thread;
    const int error = startThread(thread, PTHREAD_CREATE_DETACHED, request);
    if (error != 0)
        PM_LOG_AS("sendGenericEmail", "[%d]: %s() - ERROR : %s\n", std::strerror(error));
}

int32_t sendFromThread(ThreadRequestOwner request) {
    const ThreadText threadText(static_cast<int>(syscall(SYS_gettid)));
    Mail mail;
    mail.request = request->request_data;
    mail.requestSize = request->request_size;
    mail.fileSuffix = threadText.c_str();
    const int32_t status = runAttempts(senderOfGenericEmail, mail);

    Text<255> path;
    path.format("%s%s", senderOfGenericEmail.messagePath, mail.fileSuffix);
    unlink(path.c_str());
    path.format("%s%s", senderOfGenericEmail.relayConfigPath, mail.fileSuffix);
    unlink(path.c_str());
    return status;
}

} // namespace

bool bindGenericRequest(Mail& mail) {
    // A field without a terminator of its own runs on to the record's end, where
    // one has been forced.
    const auto* record = static_cast<const char*>(mail.request);
    const auto textFrom = [&](size_t offset) {
        return fieldText(record + offset, mail.requestSize - offset);
    };
    mail.subject = textFrom(offsetof(GenericEmailStruct, szSubject));
    mail.destination = textFrom(offsetof(GenericEmailStruct, szTo));
    mail.body = textFrom(sizeof(GenericEmailStruct));
    return true;
}

void logGenericResult(const Mail&, int result) {
    PM_LOG_AS(THREAD_OPERATION, "[%d]: %s() - nReturn=[%zd]\n", static_cast<ssize_t>(result));
}

void* pthread_sendGenericEmail(void* argument) {
    PM_LOG("[%d]: %s() - Entry\n");
    // All that the thread holds is released in here: pthread_exit does not return.
    const int32_t status =
        sendFromThread(ThreadRequestOwner(static_cast<GenericEmailThreadRequest*>(argument)));
    pthread_exit(std::bit_cast<void*>(static_cast<intptr_t>(status)));
}

int32_t sendGenericEmail(uint32_t request_size, void* request_data) {
    PM_LOG("[%d]: %s() - Entry\n");
    const uint32_t size = request_data == nullptr ? 0 : request_size;
    if (size > 0)
        static_cast<char*>(request_data)[size - 1] = '\0';
    ThreadRequestOwner request = copyRequest(size, request_data);
    if (!request) {
        PM_LOG("[%d]: %s() - ERROR : %s\n", std::strerror(ENOMEM));
        return VESK_ERROR_GENERAL;
    }
    if (isBlocking(size, request_data)) {
        PM_LOG("[%d]: %s() - Blocking Mode enabled\n");
        return sendAndWait(request);
    }
    PM_LOG("[%d]: %s() - Blocking Mode disabled\n");
    sendDetached(request);
    return 0;
}
