// Checks that use the network, each for a short time.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <semaphore>
#include <sys/socket.h>
#include <tuple>

#include "common/trap_rules.h"
#include "platform/client/fd.h"
#include "pmctl/checks.h"

namespace pm::ctl {

using namespace client;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds LIMIT{3}; // for all names together, and again for the port
constexpr int NO_ANSWER = EAI_INPROGRESS;

struct Name {
    std::string key;
    std::string text;
    gaicb question{};
    int result = NO_ANSWER;
};

int64_t millisecondsLeft(Clock::time_point end) {
    return std::max<int64_t>(
        std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count(), 0);
}

std::binary_semaphore allResolved{0};

// Resolves all names at once, as each silent name server costs its full time limit.
// Waits without gai_suspend, which with glibc 2.36 can return while a request that ends at that
// moment still points into its stack.
void resolve(std::vector<Name>& names) {
    static const addrinfo hints = [] {
        addrinfo wanted{};
        wanted.ai_socktype = SOCK_STREAM;
        return wanted;
    }();
    std::vector<gaicb*> questions;
    for (Name& name : names) {
        name.question.ar_name = name.text.c_str();
        name.question.ar_request = &hints;
        questions.push_back(&name.question);
    }
    sigevent whenDone{};
    whenDone.sigev_notify = SIGEV_THREAD;
    whenDone.sigev_notify_function = [](sigval) { allResolved.release(); };
    const int failure = ::getaddrinfo_a(GAI_NOWAIT, questions.data(),
                                        static_cast<int>(questions.size()), &whenDone);
    if (failure == 0)
        std::ignore = allResolved.try_acquire_for(LIMIT);
    for (Name& name : names)
        name.result = failure == 0 ? ::gai_error(&name.question) : failure;
}

void checkName(Checked& checked, const Name& name) {
    if (name.result == NO_ANSWER)
        addFinding(checked, Severity::Error, name.key,
                   "no answer to a query for " + name.text +
                       " within 3 seconds; check /etc/resolv.conf and the "
                       "name server");
    else if (name.result != 0)
        addFinding(checked, Severity::Error, name.key,
                   name.text + " does not resolve (" + ::gai_strerror(name.result) +
                       "); check the name and /etc/resolv.conf");
}

// Starts connecting to each address. failure: errno of one that failed at once.
std::vector<Fd> startConnections(const std::vector<const addrinfo*>& addresses, int port,
                                 int& failure) {
    std::vector<Fd> sockets;
    for (const addrinfo* address : addresses) {
        sockaddr_storage peer{};
        std::memcpy(&peer, address->ai_addr, address->ai_addrlen);
        auto& number = peer.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(peer).sin6_port
                                                  : reinterpret_cast<sockaddr_in&>(peer).sin_port;
        number = htons(static_cast<uint16_t>(port));
        Fd socket(::socket(peer.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        if (::connect(socket.get(), reinterpret_cast<sockaddr*>(&peer), address->ai_addrlen) == 0 ||
            errno == EINPROGRESS)
            sockets.push_back(std::move(socket));
        else
            failure = errno;
    }
    return sockets;
}

// Connects to all addresses at once; returns the first connection. If none succeeds, returns
// an invalid Fd and the errno of one in failure.
Fd connectToAny(const std::vector<const addrinfo*>& addresses, int port, int& failure) {
    std::vector<Fd> sockets = startConnections(addresses, port, failure);
    const auto end = Clock::now() + LIMIT;
    while (!sockets.empty()) {
        std::vector<pollfd> watched;
        watched.reserve(sockets.size());
        for (const Fd& socket : sockets)
            watched.push_back({socket.get(), POLLOUT, 0});
        failure = ETIMEDOUT;
        if (::poll(watched.data(), watched.size(), static_cast<int>(millisecondsLeft(end))) == 0)
            return {};
        for (size_t at = watched.size(); at-- > 0;) {
            int error = 0;
            socklen_t size = sizeof error;
            if (watched[at].revents == 0)
                continue;
            if (::getsockopt(watched[at].fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 &&
                error == 0)
                return std::move(sockets[at]);
            failure = error;
            sockets.erase(sockets.begin() + static_cast<ptrdiff_t>(at));
        }
    }
    return {};
}

// Checks the mail server's greeting. With TLS from the start the client speaks first.
void checkGreeting(Checked& checked, const Name& server, const Fd& socket) {
    constexpr int TLS_FROM_START = 1;
    if (numberInForce(checked, ENCRYPTION_KEY) == TLS_FROM_START)
        return;
    pollfd watched = {socket.get(), POLLIN, 0};
    char text[512] = {};
    const bool spoke =
        ::poll(&watched, 1, static_cast<int>(std::chrono::milliseconds(LIMIT).count())) > 0 &&
        ::recv(socket.get(), text, sizeof text - 1, 0) > 0;
    std::string_view line(text);
    line = line.substr(0, line.find_first_of("\r\n"));
    const std::string port = std::to_string(numberInForce(checked, PORT_KEY));
    if (!spoke)
        addFinding(
            checked, Severity::Error, server.key,
            server.text + " accepts connections at port " + port +
                " but does not greet within 3 seconds; is it a mail server, or does it use TLS from "
                "the start (" +
                std::string(ENCRYPTION_KEY) + " 1)?");
    else if (!line.starts_with("220"))
        addFinding(checked, Severity::Error, server.key,
                   server.text + " at port " + port + " greets with \"" + std::string(line) +
                       "\", so it is no mail server, or accepts no mail now");
}

void checkPortAnswers(Checked& checked, const Name& server) {
    std::vector<const addrinfo*> addresses;
    for (const addrinfo* at = server.question.ar_result; at != nullptr; at = at->ai_next)
        if ((at->ai_family == AF_INET || at->ai_family == AF_INET6) &&
            familyIsOn(checked, at->ai_family))
            addresses.push_back(at);
    if (addresses.empty()) {
        if (familyOf(server.text) == AF_UNSPEC) // checkServer has reported an address
            addFinding(checked, Severity::Error, server.key,
                       server.text +
                           " has no address of an enabled family; enable the other of IPv4 "
                           "and IPv6, or name another server");
        return;
    }
    const int32_t port = numberInForce(checked, PORT_KEY);
    int failure = 0;
    const Fd socket = connectToAny(addresses, port, failure);
    if (socket.valid())
        return checkGreeting(checked, server, socket);
    addFinding(checked, Severity::Error, server.key,
               server.text + " does not answer at port " + std::to_string(port) + " (" +
                   std::strerror(failure) + "); check the server, " + std::string(PORT_KEY) +
                   " and the firewall");
}

} // namespace

void checkNetwork(Checked& checked) {
    // Never freed: if a name server is silent, the resolver still uses the query.
    static auto& names = *new std::vector<Name>;
    const std::string server = valueInForce(checked, SERVER_KEY);
    if (isServerSet(server))
        names.push_back({std::string(SERVER_KEY), server});
    for (int number = 1; number <= TRAP_DESTINATIONS; ++number) {
        std::string key = numbered("Norvu.Embedded.1#SNMPAlert.*#Destination", number);
        std::string destination = valueInForce(checked, key);
        if (isSafeDestination(destination) && familyOf(destination) == AF_UNSPEC)
            names.push_back({std::move(key), std::move(destination)});
    }
    if (names.empty())
        return;
    resolve(names);
    for (const Name& name : names)
        checkName(checked, name);
    if (names.front().key == SERVER_KEY && names.front().result == 0)
        checkPortAnswers(checked, names.front());
}

} // namespace pm::ctl
