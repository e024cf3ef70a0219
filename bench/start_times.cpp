#include "bench/start_times.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/bare_command.h"
#include "bench/samples.h"
#include "platform/client/fd.h"

using namespace pm::client;

namespace {

constexpr int LIMIT_MS = 20'000;

Fd openNotifySocket(const char* path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path)
        fail("the notify socket's path is too long");
    std::memcpy(address.sun_path, path, std::strlen(path));
    unlink(path);
    Fd listener(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        fail("the notify socket cannot be bound");
    return listener;
}

void awaitReady(const Fd& listener) {
    char text[256];
    for (;;) {
        pollfd watched = {listener.get(), POLLIN, 0};
        if (poll(&watched, 1, LIMIT_MS) != 1)
            fail("pm did not say that it is ready");
        const ssize_t size = recv(listener.get(), text, sizeof text, 0);
        if (size > 0 && std::string_view(text, static_cast<size_t>(size)).find("READY=1") !=
                            std::string_view::npos)
            return;
    }
}

} // namespace

void measureStarts(const char* program, const char* notifyPath, int times) {
    const Fd listener = openNotifySocket(notifyPath);
    setenv("NOTIFY_SOCKET", notifyPath, 1);
    const BareCommand command = {{program}, "/dev/null"};
    Samples starts;
    Samples stops;
    for (int i = 0; i < times; ++i) {
        pid_t pid = -1;
        starts.push_back(timed([&] {
            pid = start(command);
            awaitReady(listener);
        }));
        usleep(50'000); // the end of the start must not count as part of the stop
        int status = -1;
        stops.push_back(timed([&] {
            kill(pid, SIGTERM);
            waitpid(pid, &status, 0);
        }));
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 1)
            fail("pm did not end as it should");
    }
    print("start", starts);
    print("stop", stops);
}
