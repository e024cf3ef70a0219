// Answers the system bus calls, and the C library calls of pm's code.
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <set>
#include <sys/syscall.h>
#include <sys/time.h>
#include <systemd/sd-bus.h>
#include <utility>

#include "platform/logging.h"
#include "scripted_platform.h"

#define REAL(type, name, ...) extern "C" type __real_##name(__VA_ARGS__)

REAL(void, free, void*);
REAL(void, exit, int) __attribute__((noreturn));
REAL(long, syscall, long, long, long, long, long, long, long);
REAL(int, pthread_create, pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
REAL(int, pthread_attr_init, pthread_attr_t*);
REAL(int, pthread_attr_setdetachstate, pthread_attr_t*, int);
REAL(void*, malloc, size_t);
REAL(int, open, const char*, int, ...);
REAL(FILE*, fopen, const char*, const char*);
REAL(size_t, fwrite, const void*, size_t, size_t, FILE*);
REAL(int, setvbuf, FILE*, char*, int, size_t);
REAL(int, fclose, FILE*);
REAL(int, unlink, const char*);

static auto* const blocks = new std::set<void*>;
static std::jmp_buf exitJump;
static bool exitCaught = false;
static int exitStatus = 0;
static uint64_t handles[3];

static void* noted(void* block) {
    const Guard lock(guard);
    blocks->insert(block);
    return block;
}

void* platformBlock(size_t size, const void* content) {
    void* block = noted(std::memset(__real_malloc(size), 0, size));
    return content == nullptr ? block : std::memcpy(block, content, size);
}

size_t liveBlocks() {
    const Guard lock(guard);
    return blocks->size();
}

void forgetBlocks() {
    const Guard lock(guard);
    blocks->clear();
}

int exitStatusOf(const std::function<void()>& routine) {
    exitCaught = true;
    exitStatus = -1000; // if routine returns
    if (setjmp(exitJump) == 0)
        routine();
    exitCaught = false;
    return exitStatus;
}

extern "C" {

// --- The bus -------------------------------------------------------------------------

static auto* const madeMessage = reinterpret_cast<sd_bus_message*>(&handles[0]);
static auto* const replyMessage = reinterpret_cast<sd_bus_message*>(&handles[1]);
ANSWER(int, sd_bus_default, (sd_bus * *bus), *bus = reinterpret_cast<sd_bus*>(&handles[2]),
       outcome("bus"))
int sd_bus_message_new_method_call(sd_bus*, sd_bus_message** message, const char* destination,
                                   const char* path, const char* interface, const char* member) {
    const int result = outcome(words("new", destination, path, interface, member));
    *message = result < 0 ? nullptr : madeMessage;
    return result;
}
int sd_bus_message_append(sd_bus_message*, const char* types, ...) {
    va_list arguments;
    va_start(arguments, types);
    const int result = outcome(words("append", types, va_arg(arguments, uint32_t)));
    va_end(arguments);
    return result;
}
int sd_bus_call(sd_bus*, sd_bus_message*, uint64_t usec, sd_bus_error*, sd_bus_message** reply) {
    const int result = outcome(words("call", usec));
    *reply = result < 0 ? nullptr : replyMessage;
    return result;
}
int sd_bus_message_read(sd_bus_message*, const char* types, ...) {
    va_list arguments;
    va_start(arguments, types);
    *va_arg(arguments, int32_t*) = std::stoi(script.values["bus reply"]);
    va_end(arguments);
    return outcome(words("read", types));
}
ANSWER(sd_bus_message*, sd_bus_message_unref, (sd_bus_message * message),
       outcome(message == replyMessage ? "unref reply" : "unref message"), nullptr)
ANSWER(sd_bus*, sd_bus_unref, (sd_bus*), outcome("unref bus"), nullptr)

// --- Files: calls of pm's code, in each form that the compiler may emit -------------------

static bool fileCallFails(const string& call) {
    errno = ENOSPC;
    return outcome(call) != 0;
}
ANSWER(FILE*, __wrap_fopen, (const char* path, const char* mode),
       fileCallFails(words("open", path)) ? nullptr : __real_fopen(path, mode))
int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return fileCallFails(words("open", path)) ? -1 : __real_open(path, flags, mode);
}
ANSWER(int, __wrap_setvbuf, (FILE * file, char* buffer, int mode, size_t size),
       outcome(words("buffering", mode)), __real_setvbuf(file, buffer, mode, size))
ANSWER(size_t, __wrap_fwrite, (const void* text, size_t size, size_t count, FILE* file),
       fileCallFails("write " + string(static_cast<const char*>(text), size* count))
           ? 0
           : __real_fwrite(text, size, count, file))
#define PRINT(name, ...)                                                                           \
    int name(__VA_ARGS__, const char* format, ...) {                                               \
        char text[4096];                                                                           \
        va_list arguments;                                                                         \
        va_start(arguments, format);                                                               \
        const int length = vsnprintf(text, sizeof text, format, arguments);                        \
        va_end(arguments);                                                                         \
        return __wrap_fwrite(text, 1, std::strlen(text), file) == 0 ? -1 : length;                 \
    }
PRINT(__wrap_fprintf, FILE* file)
PRINT(__wrap___fprintf_chk, FILE* file, int)
ANSWER(int, __wrap_fclose, (FILE * file),
       fileCallFails("close") ? (__real_fclose(file), EOF) : __real_fclose(file))
ANSWER(int, __wrap_unlink, (const char* path),
       fileCallFails(words("unlink", path)) ? -1 : __real_unlink(path))
ANSWER(void, __wrap_perror, (const char* text),
       static_cast<void>(mirlog_printf(0, 0, "%s: %s", text, std::strerror(errno))))

// --- Memory, end, network, time, threads -----------------------------------------------------

void* __wrap_malloc(size_t size) {
    const Guard lock(guard);
    const bool fails = script.failingAllocation > 0 && --script.failingAllocation == 0;
    return fails ? nullptr : noted(__real_malloc(size));
}
char* __wrap_strdup(const char* text) {
    const size_t size = std::strlen(text) + 1;
    void* copy = __wrap_malloc(size);
    return static_cast<char*>(copy == nullptr ? nullptr : std::memcpy(copy, text, size));
}
void __wrap_free(void* block) {
    const Guard lock(guard);
    blocks->erase(block);
    __real_free(block);
}
[[noreturn]] void __wrap_exit(int status) {
    if (!exitCaught)
        __real_exit(status);
    exitStatus = status;
    std::longjmp(exitJump, 1);
}

int __wrap_getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                       addrinfo** result) {
    EXPECT_EQ(nullptr, service);
    EXPECT_EQ(0, hints->ai_flags | hints->ai_family | hints->ai_socktype | hints->ai_protocol);
    *result = nullptr;
    const int error = outcome(words("getaddrinfo", node));
    const string servers = error == 0 ? script.values["servers"] : "";
    for (auto family = servers.rbegin(); family != servers.rend(); ++family) {
        auto* entry = static_cast<addrinfo*>(platformBlock(sizeof(addrinfo)));
        entry->ai_family = *family == '4' ? AF_INET : AF_INET6;
        entry->ai_next = *result;
        *result = entry;
    }
    return error;
}
void __wrap_freeaddrinfo(addrinfo* list) {
    while (list != nullptr)
        __wrap_free(std::exchange(list, list->ai_next));
}
ANSWER(int, __wrap_getdomainname, (char* name, size_t size),
       giveText(words("getdomainname", size), "domain", name, size) ? 0 : -1)
ANSWER(int, __wrap_gettimeofday, (timeval * now, void*),
       *now = {std::stol(script.values["clock"]), 999999}, outcome("gettimeofday"))
tm* __wrap_localtime_r(const time_t*, tm* now) {
    *now = {20, 13, 22, 14, 10, 123, 2, 317, 0, 3600, "CET"};
    return outcome("localtime") == 0 ? now : nullptr;
}
ANSWER(void, __wrap_tzset, (), static_cast<void>(outcome("tzset")))
ANSWER(unsigned, __wrap_sleep, (unsigned seconds),
       static_cast<unsigned>(outcome(words("sleep", seconds))))
long __wrap_syscall(long number, long a, long b, long c, long d, long e, long f) {
    const Guard lock(guard);
    if (number != SYS_gettid || script.threadIds.empty())
        return __real_syscall(number, a, b, c, d, e, f);
    const int id = script.threadIds.front();
    script.threadIds.erase(script.threadIds.begin());
    return id;
}
int __wrap_pthread_attr_init(pthread_attr_t* attributes) {
    const int error = outcome("thread attributes");
    return error != 0 ? error : __real_pthread_attr_init(attributes);
}
int __wrap_pthread_attr_setdetachstate(pthread_attr_t* attributes, int state) {
    script.detached = state == PTHREAD_CREATE_DETACHED;
    const int error = outcome("thread detached");
    return error != 0 ? error : __real_pthread_attr_setdetachstate(attributes, state);
}
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*routine)(void*), void* argument) {
    const int error = outcome("thread created");
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    script.signalsOpen = sigismember(&mask, SIGUSR1) == 0;
    return error != 0 || script.holdThreads
               ? error
               : __real_pthread_create(thread, attributes, routine, argument);
}

} // extern "C"
