// The generic mail's record and thread; several senders at the same time.
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
    const std::tuple<uint32_t, uint8_t, int32_t, bool> rows[] = {
        // size (of a record of 512 bytes), blocking, status, waits
        {0, 1, -3, true},   {510, 0, -3, true}, {511, 1, 0, false}, {512, 1, 0, true},
        {512, 0, 0, false}, {512, 2, 0, false}, {512, 255, 0, true}};
    for (const auto& [size, blocking, status, waits] : rows) {
        const string record = genericRequest("2@example.org", "s", blocking, "");
        std::vector<char> exact(record.begin(), record.begin() + size);
        begin({}, words(size, int{blocking}));
        EXPECT_EQ(status, sendGenericEmail(size, exact.data()));
        waitForThreads();
        EXPECT_EQ(!waits, script.detached);
        EXPECT_EQ(status == 0 ? 1U : 0U, script.runs.size());
        EXPECT_TRUE(status != 0 || script.runs[0].message.ends_with(TYPE + "\n\n"));
        EXPECT_EQ(0U, logged("ERROR : "));
    }
    check("no thread", [] { return sendGeneric(genericRequest("t", "s", 0, "b")); },
          {{.given = {fails("thread created", 11)}, .calls = 3, .log = "ERROR : Resource temp"}});
}

TEST_F(GenericMail, HeadersAreCutAndLoggedAtTheirBounds) {
    const string t250(250, 't'), s244(244, 's'), s245(245, 's'), t255(255, 't'), s255(255, 's'),
        b57(57, 'b'), t54(54, 't');
    const std::tuple<string, string, string, string, string> rows[] = {
        // to, subject, body, ...
        {t250, s244, "b", "To: " + t250 + "Subject: " + s244 + "\nContent", ""},
        {"t", s245, "b", "To: t\nSubject: " + s245 + "Content", ""},
        {t255, "s", b57, "To: " + t250 + "Subject: s\nContent", ""},
        {t255, "s", b57 + "b", "To: " + t250 + "Subject: s\nContent", "'To:' field truncated: 319"},
        {t54.substr(1), s255, "b", "Subject: " + s245 + "Content", ""},
        {t54, s255, "b", "Subject: " + s245 + "Content", "'Subject:' field truncated: 319"}};
    for (const auto& row : rows) {
        const auto& [to, subject, body, lines, log] = row;
        const string request = genericRequest(to, subject, 1, body);
        check(log, [&] { return sendGeneric(request); }, {{.message = lines, .log = log}});
        EXPECT_EQ(log.empty() ? 0U : 1U, logged("truncated"));
    }
    check(
        "told", [&] { return sendGeneric(genericRequest(t255, "s", 1, "b")); },
        {{.given = {relayResults({5, 5})}, .status = -1, .log = "\"" + t255.substr(1) + "\" fa"}});
}

TEST_F(ConcurrentMail, CollidingThreadIdsEachKeepTheirOwnFiles) {
    constexpr size_t MAILS = 32;
    for (size_t i = 0; i < MAILS; ++i)
        script.threadIds.push_back(1234500 + static_cast<int>(i));
    std::atomic<size_t> running = 0;
    script.duringRun = [&running] { // each msmtp run waits until all are running
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
        EXPECT_TRUE(run.message.ends_with("\n\n")); // complete, for every sender
    EXPECT_EQ((Lines{RELAY_CONFIG_PATH}), mailFiles());
}

} // namespace
