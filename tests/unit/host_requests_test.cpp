// Request side of the stand-in, with handlers of the tests behind it.
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <czmq.h>
#include <sys/eventfd.h>
#include <thread>

#include "common/records.h"
#include "host_root.h"
#include "platform/client/connection.h"
#include "platform/function_manager.h"
#include "platform/host/store.h"
#include "platform/settings.h"

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

constexpr const char* ENDPOINT = "ipc:///tmp/root/run/pm/requests";
const std::string CHANGE = "CfgMgr$1$AttributeChange$norvu.embedded.1#";
const std::string LOCKDOWN = CHANGE + "lockdown.1#systemlockdown$";

// What handlers and callbacks have seen, and the gate before which some wait.
std::mutex g_mutex;
std::condition_variable g_changed;
bool g_gateOpen = true;
Texts g_seen;
std::atomic<size_t> g_readable = 0; // what a handler may read of any record

void setGate(bool open) {
    const std::lock_guard lock(g_mutex);
    g_gateOpen = open;
    g_changed.notify_all();
}
int32_t seen(const std::string& text, bool waits, int32_t result) {
    std::unique_lock lock(g_mutex);
    g_seen.push_back(text);
    g_changed.notify_all();
    g_changed.wait(lock, [&] { return !waits || g_gateOpen; });
    return result;
}
// Waits for that many entries, and takes all.
Texts takeSeen(size_t count) {
    std::unique_lock lock(g_mutex);
    g_changed.wait_for(lock, 20s, [&] { return g_seen.size() >= count; });
    return std::exchange(g_seen, {});
}

int32_t quick(uint32_t size, void* data) {
    std::string text = std::to_string(size) + (data == nullptr ? " null" : " ");
    for (size_t at = 0; data != nullptr && at < std::max<size_t>(g_readable, size); ++at)
        text += static_cast<char*>(data)[at] == '\0' ? '0' : static_cast<char*>(data)[at];
    return seen(text, false, 7);
}
int32_t hang(uint32_t, void*) {
    return seen("hangs", true, 0);
}
int32_t takeRow(void*, const char* topic, const void* record) {
    return seen(std::string("row ") + topic + attributeName(record), true, 0);
}
int32_t takeSubscribed(void*, const char* topic, const void* record) {
    return seen(std::string("subscriber ") + topic + attributeName(record), true, 0);
}
int32_t takeEvent(void*, const char*, const void* record) {
    return record == nullptr ? -5 : static_cast<const EventRecord*>(record)->payload.filterId;
}

constexpr size_t MAIL_FUNCTIONS = 5; // of these, on the first actor
const std::vector<std::pair<const char*, size_t>> RECORDS = {
    {"pm_function_sendEmailAlertsEx", 2550}, {"pm_function_sendTestEmailEx", 1},
    {"pm_function_sendTestEmail", 765},      {"pm_function_sendAlertEmail", 260},
    {"pm_function_sendGenericEmail", 511},   {"pm_function_sendIPMITestTrap", 1},
    {"pm_function_sendSNMPTestTrap", 1},     {"pm_function_sendTestTrap", 1}};
const char* const TRAP_FUNCTION = RECORDS.back().first;

// The service thread, as pm's: two actors, and the loop until stop is readable.
void serveUntil(int stop) {
    const qornc_event_row rows[] = {
        {"event_ipmi_pet", takeEvent, 1}, {LOCKDOWN.c_str(), takeRow, 1}, {}};
    qornc_init_record record{};
    record.events = rows;
    qornc_context *context = nullptr, *second = nullptr;
    ASSERT_EQ(qornc_initialize(&context, &record), 0);
    EXPECT_NE(qornc_initialize(&second, &record), 0);
    void *mail = nullptr, *trap = nullptr;
    for (void** actor : {&mail, &trap})
        ASSERT_EQ(jelmux_fp_zactor_create(context->manager, context->loop, actor, 512), 0);
    const auto add = [&](void* actor, const char* name, jelmux_function_handler handler) {
        return jelmux_function_register_zactor(context->manager, actor, name, handler, context,
                                               256);
    };
    for (size_t at = 0; at < RECORDS.size(); ++at)
        EXPECT_EQ(add(at < MAIL_FUNCTIONS ? mail : trap, RECORDS[at].first, quick), 0);
    EXPECT_EQ(add(mail, "hang", hang), 0);
    EXPECT_NE(add(trap, "hang", quick), 0) << "a name twice";
    zmq_pollitem_t end = {nullptr, stop, ZMQ_POLLIN, 0};
    const auto leave = [](zloop_t*, zmq_pollitem_t*, void*) { return -1; };
    zloop_poller(static_cast<zloop_t*>(context->loop), &end, leave, nullptr);
    zloop_start(static_cast<zloop_t*>(context->loop));
    jelmux_fp_zactor_destroy(context->loop, &trap);
    jelmux_fp_zactor_destroy(context->loop, &mail);
    qornc_destroy(context);
}

// "status N", "done", "refused CODE", or how there was no answer. Asks again until
// pm has bound its socket.
std::string ask(Connection& connection, const Request& request, std::chrono::milliseconds limit) {
    Reply reply;
    Outcome outcome = Outcome::NotReached;
    for (int tries = 0; tries < 1000 && outcome == Outcome::NotReached; ++tries) {
        outcome = connection.request(request, limit, reply);
        if (outcome == Outcome::NotReached)
            std::this_thread::sleep_for(5ms);
    }
    if (outcome != Outcome::Answered)
        return outcome == Outcome::TimedOut ? "timed out" : "not answered";
    const char* kind = std::array{"done", "status ", "refused "}[static_cast<size_t>(reply.kind)];
    return kind + (reply.kind == ReplyKind::Done ? "" : reply.fields.at(0));
}
std::string ask(const Request& request) {
    Connection connection(ENDPOINT);
    return ask(connection, request, 30s);
}

void served(const std::function<void()>& check, bool loaded = true) {
    inPrivateRoot([&] {
        uint64_t handle = 0;
        ASSERT_EQ(jelmux_subscriber_init(&handle, "SNMP", takeSubscribed), 0);
        for (const char* text : {"snmp.1#", "snmpalert.2#", "snmp.1#"}) // each delivered once
            ASSERT_EQ(jelmux_subscribe_notification(handle, (CHANGE + text).c_str()), 0);
        const int stop = eventfd(0, EFD_CLOEXEC);
        std::thread service(serveUntil, stop);
        EXPECT_TRUE(!loaded || loadSettings("/etc/pm.conf", false));
        EXPECT_EQ(loaded ? ask({"list", {}, {}}) : "done", "done");
        check();
        setGate(true);
        eventfd_write(stop, 1);
        service.join();
    });
}

// A client without manners.
struct RawClient {
    zsock_t* socket = zsock_new(ZMQ_DEALER);
    RawClient() { zsock_connect(socket, "%s", ENDPOINT); }
    ~RawClient() { zsock_destroy(&socket); }
    void send(const std::vector<std::string_view>& texts) const {
        Frames frames;
        for (const std::string_view text : texts)
            frames.emplace_back(text);
        ASSERT_TRUE(sendFrames(zsock_resolve(socket), frames));
    }
    std::string receive() const {
        zmq_pollitem_t item = {zsock_resolve(socket), 0, ZMQ_POLLIN, 0};
        Frames frames;
        if (zmq_poll(&item, 1, 30000) != 1 ||
            receiveFrames(item.socket, 8, frames) != Received::Whole || frames.size() < 4)
            return "nothing";
        return std::string(frames[2].view()) + " " + std::string(frames[3].view());
    }
};

TEST(HostRequests, RefusesWhatItCannotTake) {
    served([] {
        const std::string longName(256, 'n'), inside = [] {
            std::string record(64, 'x');
            record.replace(offsetof(AttributeChangeRecord, nameOffset), 4, "\x3f\0\0\0", 4);
            return record;
        }();
        const std::string_view outside = std::string_view(inside).substr(0, 63);
        const std::pair<std::vector<std::string_view>, const char*> rows[] = {
            {{"pm/1", "t", "call"}, "refused malformed"},
            {{"pm/1", "t", "call", ""}, "refused malformed"},
            {{"pm/1", "t", "call", longName}, "refused malformed"},
            {{"pm/1", "t", "call", "a\nb"}, "refused malformed"},
            {{"pm/1", "t", "call", "x", "x", "x", "x", "x", "x", "x"}, "refused malformed"},
            {{"pm/1", "t", "event", "event_ipmi", "wait"}, "refused unknown-name"},
            {{"pm/1", "t", "event", "event_ipmi_pet", "maybe"}, "refused malformed"},
            {{"pm/1", "t", "event", LOCKDOWN, "no-wait", outside}, "refused malformed"},
            {{"pm/1", "t", "event", LOCKDOWN, "wait", inside}, "status 0"},
            {{"pm/1", "t", "set", "alert_int_smtp_sasl", "many"}, "refused failed"},
        };
        const RawClient client;
        for (const auto& [frames, expected] : rows) {
            client.send(frames);
            EXPECT_EQ(client.receive(), expected) << frames.back().substr(0, 40);
        }
    });
}

TEST(HostRequests, HandsOverPaddedCopiesWithTheTrueSize) {
    served([] {
        for (const auto& [function, length] : RECORDS)
            for (const size_t size : {size_t{0}, length / 2, length, length + 9999}) {
                const std::string record(size, 'r'), zeros(length - std::min(size, length), '0');
                g_readable = length;
                EXPECT_EQ(ask({"call", {function}, record}), "status 7");
                const std::string expected =
                    std::to_string(size).append(" ").append(record) + zeros;
                EXPECT_EQ(takeSeen(1), Texts{expected});
            }
        EXPECT_EQ(ask({"call", {TRAP_FUNCTION}, {}}), "status 7");
        EXPECT_EQ(takeSeen(1), Texts{"0 null"});
        const std::string event(785, '\xc8');
        for (const auto& [size, status] :
             {std::pair(785, "status 200"), std::pair(784, "status 0")})
            EXPECT_EQ(ask({"event", {"event_ipmi_pet", "wait"}, event.substr(0, size)}), status);
        EXPECT_EQ(ask({"event", {"event_ipmi_pet", "wait"}, {}}), "status -5");
        EXPECT_EQ(ask({"event", {"event_ipmi_pet", "no-wait"}, event}), "done");
    });
}

TEST(HostRequests, BoundsWhatWaitsAndServesTheRest) {
    served([] {
        const std::string large(60U << 20U, 'x');
        for (const auto& [payload, taken] :
             {std::pair(std::string_view("x"), 513), // one of them runs
              std::pair(std::string_view(large), 4)}) {
            setGate(false);
            const RawClient client;
            client.send({"pm/1", "t", "call", "hang", payload});
            EXPECT_EQ(takeSeen(1).size(), 1U);
            for (int at = 1; at <= taken; ++at)
                client.send({"pm/1", "t", "call", "hang", payload});
            EXPECT_EQ(client.receive(), "refused busy"); // the last, before all others
            EXPECT_EQ(ask({"call", {TRAP_FUNCTION}, {}}), "status 7");
            EXPECT_EQ(ask({"event", {"event_ipmi_pet", "wait"}, {}}), "status -5");
            EXPECT_EQ(ask({"set", {"alert_str_smtp_user", "u"}, {}}), "done");
            setGate(true);
            for (int at = 0; at < taken; ++at)
                ASSERT_EQ(client.receive(), "status 0") << at;
            takeSeen(0);
        }
    });
}

TEST(HostRequests, DeliversAttributeChangesToWhoTakesThem) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"Norvu.Embedded.1#SNMP.1#AlertPort", "subscriber ", "snmp.1#alertport"},
        {"norvu.embedded.1#snmpalert.2#state", "subscriber ", "snmpalert.2#state"},
        {"norvu.embedded.1#snmpalert.3#state", "", ""},
        {"pam_int_ldap_enable_mode", "row ", "ldap.1#enable"},
        {"NORVU.Embedded.1#ActiveDirectory.1#Enable", "row ", "activedirectory.1#enable"},
        {"Norvu.Embedded.1#LockDown.1#SystemLockdown", "row ", "lockdown.1#systemlockdown"},
        {"alert_str_smtp_user", "", ""},
    };
    served([&] {
        for (const auto& [key, taker, name] : rows) {
            std::string error;
            setGate(false); // no write waits for a callback
            EXPECT_TRUE(setValue(key, "5", error)) << error;
            setGate(true);
            EXPECT_EQ(ask({"set", {key, "5"}, {}}), "done"); // no change, behind what waits
            const std::string whole = taker + CHANGE + name + "$norvu.embedded.1#" + name;
            EXPECT_EQ(takeSeen(0), *taker == '\0' ? Texts{} : Texts{whole});
        }
    });
}

TEST(HostRequests, ServesManyAtOnceAndRaisesFromAnyThread) {
    served([] {
        Connection listener("ipc:///tmp/root/run/pm/events");
        Frames frames;
        ASSERT_EQ(listener.listen(5s, frames), Outcome::Answered);
        std::vector<std::thread> clients;
        clients.reserve(32);
        for (int number = 0; number < 32; ++number)
            clients.emplace_back([number] {
                Connection connection(ENDPOINT);
                const char* function = number % 2 == 0 ? TRAP_FUNCTION : RECORDS[1].first;
                for (int turn = 0; turn < 20; ++turn)
                    EXPECT_EQ(ask(connection, {"call", {function}, {}}, 30s), "status 7");
                EXPECT_EQ(vesk_event_occurred("raised", 0, 0), 0);
            });
        for (std::thread& client : clients)
            client.join();
        for (int number = 0; number < 32; ++number) {
            ASSERT_EQ(listener.listen(5s, frames), Outcome::Answered);
            EXPECT_EQ(frames[2].view(), "raised");
        }
    });
}

TEST(HostRequests, WaitsForTheSettingsAndAsksOtherServices) {
    const auto check = [] {
        Connection connection(ENDPOINT);
        for (int turn = 0; turn < 2; ++turn) { // the second time behind an event of ours
            EXPECT_EQ(ask(connection, {"call", {"hang"}, {}}, 200ms), "timed out");
            EXPECT_EQ(vesk_event_occurred("raised", 0, 0), 0);
        }
        EXPECT_TRUE(takeSeen(0).empty());
        EXPECT_TRUE(loadSettings("/etc/pm.conf", false));
        EXPECT_EQ(ask({"list", {}, {}}), "done");
        const auto execute = [](const std::string& endpoint) {
            std::string error;
            EXPECT_TRUE(setValue("pm_str_endpoint_teshServiceRequest", endpoint, error)) << error;
            return vesk_function_execute_QORN("teshServiceRequest", nullptr, "ab", 2, nullptr);
        };
        EXPECT_NE(execute(""), 0);                       // none is named
        EXPECT_NE(execute("ipc:///tmp/root/nobody"), 0); // and nobody serves it
        EXPECT_NE(execute(ENDPOINT), 0);                 // or does not know the function
    };
    served(check, false);
}

} // namespace
