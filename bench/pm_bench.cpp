// Measures pm and the commands that it runs. All requests use one connection. Prints a
// line of samples in microseconds for each side; figures.py makes the table.
//   pm_bench start PROGRAM NOTIFY_PATH TIMES
//   pm_bench MODE RUN_FOLDER FILES TIMES
// Standard input is the output of smtp_sink, a byte for each mail; descriptor 3 is the
// UDP socket that receives the traps. The folder FILES has the recorded input of the
// commands: event1.msg and event1.conf to event4.*, generic.msg and .conf, trap.args.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/bare_command.h"
#include "bench/samples.h"
#include "bench/start_times.h"
#include "common/records.h"
#include "platform/client/connection.h"

using namespace pm;
using namespace pm::client;

namespace {

constexpr int LIMIT_MS = 20'000;
constexpr int TRAP_SOCKET = 3;
constexpr int WARM_UP = 3; // rounds before the measured ones
constexpr int DESTINATIONS = 4;
constexpr int AT_ONCE = 16;
constexpr int FLOOD = 500; // detached mails, and so many bare commands at once
constexpr int FLOOD_AT_ONCE = 64;
constexpr uint8_t NO_INDEX = 9;

struct Bench {
    Connection pm;
    std::string files;
    int times;
};

void awaitInput(int fd, const char* what) {
    pollfd watched = {fd, POLLIN, 0};
    if (poll(&watched, 1, LIMIT_MS) != 1)
        fail(std::string(what) + " did not arrive");
}

// Waits until so many mails have arrived and their connections are closed. Returns how
// many have not, when none came for a while.
int missingMails(int count) {
    char bytes[AT_ONCE];
    pollfd watched = {STDIN_FILENO, POLLIN, 0};
    while (count > 0 && poll(&watched, 1, LIMIT_MS) == 1) {
        const auto most = static_cast<size_t>(std::min(count, AT_ONCE));
        const ssize_t got = read(STDIN_FILENO, bytes, most);
        if (got <= 0)
            fail("the mail server has ended");
        count -= static_cast<int>(got);
    }
    return count;
}

void awaitMails(int count) {
    if (missingMails(count) > 0)
        fail("a mail did not arrive");
}

void awaitTrap() {
    char record[1500];
    awaitInput(TRAP_SOCKET, "a trap");
    if (recv(TRAP_SOCKET, record, sizeof record, 0) <= 0)
        fail("the trap cannot be read");
}

void expectStatus(Bench& bench, const Request& request, int32_t expected) {
    Reply reply;
    const Outcome outcome = bench.pm.request(request, std::chrono::milliseconds(LIMIT_MS), reply);
    if (outcome != Outcome::Answered)
        fail(request.verb + ": no answer from pm");
    if (replyStatus(reply) != expected)
        fail(request.verb + ": another answer than expected: " + reply.fields[0]);
}

// A request whose payload is the record; the record must outlive it.
template <typename Record>
Request requestWith(const char* verb, std::vector<std::string> arguments, const Record& record) {
    return {verb, std::move(arguments),
            std::string_view(reinterpret_cast<const char*>(&record), sizeof record)};
}

struct GenericMail {
    GenericEmailStruct head;
    char body[1024];
};

GenericMail genericMail(bool blocking) {
    GenericMail mail = {};
    std::strcpy(mail.head.szSubject, "Report of the night");
    std::strcpy(mail.head.szTo, "ops@example.com");
    mail.head.blocking = blocking ? 1 : 0;
    for (size_t i = 0; i + 1 < sizeof mail.body; ++i)
        mail.body[i] = (i + 1) % 64 == 0 ? '\n' : 'x';
    return mail;
}

void sendGeneric(Bench& bench, bool blocking) {
    const GenericMail mail = genericMail(blocking);
    expectStatus(bench, requestWith("call", {"pm_function_sendGenericEmail"}, mail), 0);
}

void publishEvent(Bench& bench) {
    EventRecord event = {};
    event.header.Size = sizeof event;
    event.header.HeaderType = HEADER_TYPE_EVENT;
    std::strcpy(event.payload.szMessage, "Fan 3 failed");
    expectStatus(bench, requestWith("event", {"event_ipmi_pet", "wait"}, event), 0);
}

void callTrap(Bench& bench, const char* function, uint8_t index, int32_t expected) {
    const IndexRequest request = {index};
    expectStatus(bench, requestWith("call", {function}, request), expected);
}

BareCommand relay(const Bench& bench, const std::string& name) {
    return {{"msmtp", "-C", bench.files + "/" + name + ".conf", "-t"},
            bench.files + "/" + name + ".msg"};
}

// Runs all sides in each round, beginning with another one each time. Times the work of
// each side; settle then waits, untimed, for the mails or traps that it sent.
struct Side {
    const char* name;
    std::function<void()> work;
};
void compare(const Bench& bench, const std::vector<Side>& sides,
             const std::function<void()>& settle) {
    std::vector<Samples> samples(sides.size());
    for (int round = -WARM_UP; round < bench.times; ++round) {
        for (size_t i = 0; i < sides.size(); ++i) {
            const size_t at = (i + static_cast<size_t>(round + WARM_UP)) % sides.size();
            const double time = timed(sides[at].work);
            settle();
            if (round >= 0)
                samples[at].push_back(time);
        }
    }
    for (size_t i = 0; i < sides.size(); ++i)
        print(sides[i].name, samples[i]);
}

void compareEvent(Bench& bench) {
    std::vector<BareCommand> commands;
    for (int i = 1; i <= DESTINATIONS; ++i)
        commands.push_back(relay(bench, "event" + std::to_string(i)));
    const auto bare = [&] {
        for (const BareCommand& command : commands)
            run(command);
    };
    compare(bench, {{"pm", [&] { publishEvent(bench); }}, {"bare", bare}},
            [] { awaitMails(DESTINATIONS); });
}

void compareGeneric(Bench& bench) {
    const BareCommand command = relay(bench, "generic");
    compare(bench, {{"pm", [&] { sendGeneric(bench, true); }}, {"bare", [&] { run(command); }}},
            [] { awaitMails(1); });
}

// Both sides are timed until the last mail has arrived.
std::vector<Side> burstSides(Bench& bench, int count, int atOnce) {
    const BareCommand command = relay(bench, "generic");
    const BareCommand xargs = {{"xargs", "-P", std::to_string(atOnce), "-I{}", "sh", "-c",
                                "exec msmtp -C " + command.words[2] + " -t <" + command.input},
                               bench.files + "/lines" + std::to_string(count)};
    std::ofstream lines(xargs.input);
    for (int i = 0; i < count; ++i)
        lines << i << '\n';
    lines.close();
    const auto detached = [&bench, count] {
        for (int i = 0; i < count; ++i)
            sendGeneric(bench, false);
        awaitMails(count);
    };
    const auto xargsRun = [xargs, count] {
        run(xargs);
        awaitMails(count);
    };
    return {{"pm", detached}, {"bare", xargsRun}};
}

void compareBurst(Bench& bench) {
    const BareCommand command = relay(bench, "generic");
    std::vector<Side> sides = burstSides(bench, AT_ONCE, AT_ONCE);
    const auto spawned = [&] {
        std::vector<pid_t> pids;
        pids.reserve(AT_ONCE);
        for (int i = 0; i < AT_ONCE; ++i)
            pids.push_back(start(command));
        for (const pid_t pid : pids)
            finish(pid, command);
        awaitMails(AT_ONCE);
    };
    sides.push_back({"spawned", spawned});
    compare(bench, sides, [] {});
}

void compareFlood(Bench& bench) {
    int lost = 0;
    std::vector<Side> sides = burstSides(bench, FLOOD, FLOOD_AT_ONCE);
    sides[0].work = [&] {
        for (int i = 0; i < FLOOD; ++i)
            sendGeneric(bench, false);
        lost += missingMails(FLOOD);
    };
    compare(bench, sides, [] {});
    std::printf("lost %d\n", lost);
}

void compareTrap(Bench& bench) {
    BareCommand command = {{}, "/dev/null"};
    std::ifstream arguments(bench.files + "/trap.args");
    for (std::string word; std::getline(arguments, word, '\0');)
        command.words.push_back(word);
    if (command.words.empty())
        fail("trap.args is missing");
    compare(bench,
            {{"pm", [&] { callTrap(bench, "pm_function_sendIPMITestTrap", 1, 0); }},
             {"bare", [&] { run(command); }}},
            awaitTrap);
}

void timeRefusals(Bench& bench) {
    compare(bench, {{"refused", [&] { callTrap(bench, "pm_function_sendTestTrap", NO_INDEX, 1); }}},
            [] {});
}

// Sends one of each while recorders run in place of the commands.
void recordOnce(Bench& bench) {
    publishEvent(bench);
    sendGeneric(bench, true);
    callTrap(bench, "pm_function_sendIPMITestTrap", 1, 0);
}

void sendFirst(Bench& bench) {
    sendGeneric(bench, true);
    awaitMails(1);
}

// Sends bench.times requests of all kinds; every 20th sends mail. Prints the number of mails.
void load(Bench& bench) {
    int mails = 0;
    for (int i = 0; i < bench.times; ++i) {
        int sent = 0;
        if (i % 20 == 0) {
            const bool event = i % 100 == 0;
            if (event)
                publishEvent(bench);
            else
                sendGeneric(bench, i % 40 == 0);
            sent = event ? DESTINATIONS : 1;
        } else {
            callTrap(bench, "pm_function_sendTestTrap", NO_INDEX, 1);
        }
        awaitMails(sent);
        mails += sent;
    }
    std::printf("mails %d\n", mails);
}

struct Mode {
    const char* name;
    void (*run)(Bench& bench);
};
constexpr Mode MODES[] = {
    {"once", recordOnce},        {"first", sendFirst},      {"event", compareEvent},
    {"generic", compareGeneric}, {"burst", compareBurst},   {"flood", compareFlood},
    {"trap", compareTrap},       {"refused", timeRefusals}, {"load", load}};

} // namespace

int main(int argc, char** argv) {
    if (argc != 5)
        fail("see the head of bench/pm_bench.cpp for how to use this");
    const std::string mode = argv[1];
    if (mode == "start") {
        measureStarts(argv[2], argv[3], std::atoi(argv[4]));
        return 0;
    }
    Bench bench = {Connection(requestEndpoint(argv[2])), argv[3], std::atoi(argv[4])};
    for (const Mode& each : MODES) {
        if (mode == each.name) {
            each.run(bench);
            return 0;
        }
    }
    fail(mode + ": there is no such mode");
}
