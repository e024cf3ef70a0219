// The generic mail's record and thread; senders at the same time.
#include <chrono>
#include <set>
#include <thread>

#include "requests.h"

namespace {

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
void waitForThreads() { // detached ones
    for (int i = 0; i < 2000 && liveBlocks() > 0; ++i)
        pause(5);
}

class GenericMail : public Cases {
    void TearDown() override { waitForThreads(), Cases::TearDown(); }
};
class ConcurrentMail : public GenericMail {};

TEST_F(GenericMail, SizeAndFlagDecideHowItIsSent) {
    const struct {
        uint32_t size;
        int blocking;
        bool waits;
        Case expect;
    } rows[] = {{0, 1, true, {.status = -3, .runs = 0}},
                {510, 0, true, {.status = -3, .runs = 0}},
                {511, 1, false, {}},
                {512, 1, true, {}},
                {512, 0, false, {}},
                {512, 2, false, {}},
                {512, 255, true, {}}};
    for (const auto& [size, blocking, waits, expect] : rows) {
        const string record = genericRequest("2@example.org", "s", blocking, "");
        std::vector<char> exact(record.begin(), record.begin() + size);
        const auto operation = [&] {
            const int32_t status = sendGenericEmail(size, exact.data());
            waitForThreads();
            EXPECT_EQ(!waits, script.detached);
            return status;
        };
        check(words(size, blocking), operation, {expect}, [](const Case& each) {
            EXPECT_EQ(each.status == 0 ? 1U : 0U, script.runs.size());
            EXPECT_TRUE(script.runs.empty() || script.runs[0].message.ends_with(TYPE + "\n\n"));
        });
    }
    check("no thread", [] { return sendGeneric(genericRequest("t", "s", 0, "b")); },
          {{.given = {fails("thread created", 11)}, .calls = 3, .log = "ERROR : Resource temp"}});
}

TEST_F(GenericMail, HeadersAreCutAndLoggedAtTheirBounds) {
    const string t250(250, 't'), s244(244, 's'), s245(245, 's'), t255(255, 't'), s255(255, 's');
    const struct {
        string to, subject, body, lines;
        size_t logged = 0;
    } rows[] = {{t250, s244, "b", "To: " + t250 + "Subject: " + s244 + "\nContent"},
                {"t", s245, "b", "To: t\nSubject: " + s245 + "Content"},
                {t255, "s", string(57, 'b'), "To: " + t250 + "Subject: s\nContent"},
                {t255, "s", string(58, 'b'), "To: " + t250 + "Subject: s\nContent", 1},
                {string(53, 't'), s255, "b", "Subject: " + s245 + "Content"},
                {string(54, 't'), s255, "b", "Subject: " + s245 + "Content", 1}};
    for (const auto& [to, subject, body, lines, logs] : rows) {
        check(words(to.size(), body.size()),
              [&] { return sendGeneric(genericRequest(to, subject, 1, body)); },
              {{.message = lines}});
        EXPECT_EQ(logs, logged(subject == "s" ? "'To:' field truncated: 319"
                                              : "'Subject:' field truncated: 319"));
        EXPECT_EQ(logs, logged("truncated"));
    }
}

TEST_F(ConcurrentMail, CollidingThreadIdsEachKeepTheirOwnFiles) {
    constexpr size_t MAILS = 32;
    for (size_t i = 0; i < MAILS; ++i)
        script.threadIds.push_back(1234500 + static_cast<int>(i));
    std::atomic<size_t> running = 0;
    script.duringRun = [&running] { // each relay waits until all are running
        ++running;
        for (int i = 0; i < 2000 && running < MAILS; ++i)
            pause(5);
    };
    for (size_t i = 0; i < MAILS; ++i)
        EXPECT_EQ(0, sendGeneric(genericRequest("t", "s", 0, "mail " + std::to_string(i) + ".")));
    waitForThreads();
    std::set<string> paths, bodies;
    for (const RelayRun& run : script.runs) {
        paths.insert(run.messagePath);
        bodies.insert(run.message.substr(run.message.find("mail ")));
    }
    EXPECT_EQ(MAILS, running.load());
    EXPECT_EQ(MAILS, bodies.size());
    EXPECT_EQ(MAILS, paths.size());
    EXPECT_TRUE(paths.contains("/tmp/zorqgenericemail12345"));
    EXPECT_EQ(Lines{}, mailFiles());
}

TEST_F(ConcurrentMail, SharedFilesBelongToOneAttemptAtATime) {
    script.relayResults = std::vector<int>(10, 1);
    std::atomic<int> inside = 0;
    script.duringRun = [&inside] {
        EXPECT_EQ(1, ++inside);
        pause(1);
        --inside;
    };
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 20; ++n)
                senders[i].send();
        });
    }
    threads.clear(); // waits for them
    EXPECT_LE(60U, script.runs.size());
    for (const RelayRun& run : script.runs)
        EXPECT_TRUE(run.message.ends_with("\n\n")); // whole, whichever sender wrote it
    EXPECT_EQ((Lines{RELAY_CONFIG_PATH}), mailFiles());
}

} // namespace
