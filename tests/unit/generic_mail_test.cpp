// Generic mail: its request and its thread; senders side by side.
#include <chrono>
#include <set>
#include <thread>

#include "mail_senders.h"

using namespace pm;

namespace {

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class GenericMail : public Scripted {
  protected:
    void TearDown() override { waitForRelease(), Scripted::TearDown(); }
    static void waitForRelease() { // by detached threads
        for (int i = 0; i < 2000 && liveBlocks() > 0; ++i)
            pause(5);
    }
};
class ConcurrentMail : public GenericMail {};

TEST_F(GenericMail, SizeDecidesWhatIsRead) {
    // size, blocking, status, runs, waits
    const Rows<uint32_t, int, int, size_t, bool> cases = {
        {0, 1, -3, 0, true},   {510, 0, -3, 0, true}, {511, 1, 0, 1, false}, {512, 1, 0, 1, true},
        {512, 0, 0, 1, false}, {512, 2, 0, 1, false}, {512, 255, 0, 1, true}};
    for (const auto& [size, blocking, status, runs, waits] : cases) {
        restart("", words(size, blocking));
        const string record = genericRequest("2@example.org", "s", blocking, "");
        std::vector<char> exact(record.begin(), record.begin() + size);
        EXPECT_EQ(status, sendGenericEmail(size, exact.data()));
        waitForRelease();
        ASSERT_EQ(runs, script.commands.size());
        EXPECT_EQ(!waits, script.detached);
        EXPECT_TRUE(runs == 0 || script.commands[0].message.ends_with("text/plain\n\n\n\n"));
        EXPECT_EQ(0, bMseCompatGenericEmail.load());
    }
    EXPECT_EQ(-3, sendGenericEmail(700, nullptr));
}

TEST_F(GenericMail, LinesAreCutAtTheirBound) {
    const string t250(250, 't'), s245(245, 's');
    const Rows<string, string, string> cases = {
        {t250, string(244, 's'), "To: " + t250 + "Subject: " + string(244, 's') + "\nContent"},
        {"t", s245, "To: t\nSubject: " + s245 + "Content"},
        {string(255, 't'), string(255, 's'), "To: " + t250 + "Subject: " + s245 + "Content"}};
    for (const auto& [to, subject, lines] : cases) {
        restart("");
        EXPECT_EQ(0, sendGeneric(genericRequest(to, subject, 1, "body")));
        EXPECT_NE(string::npos, script.commands.at(0).message.find(lines)) << lines;
    }
}

TEST_F(ConcurrentMail, CollidingThreadIdsEachKeepTheirOwnFiles) {
    constexpr size_t MAILS = 32;
    for (size_t i = 0; i < MAILS; ++i)
        script.threadIds.push_back(1234500 + static_cast<int>(i));
    std::atomic<size_t> running = 0;
    script.onRun = [&running] { // each relay waits until all are running
        ++running;
        for (int i = 0; i < 2000 && running < MAILS; ++i)
            pause(5);
    };
    for (size_t i = 0; i < MAILS; ++i)
        EXPECT_EQ(0, sendGeneric(genericRequest("t", "s", 0, "mail " + std::to_string(i) + ".")));
    waitForRelease();
    std::set<string> paths, bodies;
    for (const Command& command : script.commands) {
        paths.insert(command.inputPath);
        bodies.insert(command.message.substr(command.message.find("mail ")));
    }
    EXPECT_EQ(MAILS, running.load());
    EXPECT_EQ(MAILS, bodies.size());
    EXPECT_EQ(MAILS, paths.size());
    EXPECT_TRUE(paths.contains("/tmp/zorqgenericemail12345"));
    EXPECT_EQ(Lines{}, mailFiles());
}

TEST_F(ConcurrentMail, SharedFilesBelongToOneAttemptAtATime) {
    change("runs=1111111111");
    std::atomic<int> inside = 0;
    script.onRun = [&inside] {
        EXPECT_EQ(1, ++inside);
        pause(1);
        --inside;
    };
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 20; ++n)
                testedSenders[i].send();
        });
    }
    threads.clear(); // waits for them
    EXPECT_LE(60U, script.commands.size());
    for (const Command& command : script.commands)
        EXPECT_TRUE(command.message.ends_with("\n\n")); // whole, whoever wrote it
    EXPECT_EQ((Lines{RELAY_FILE}), mailFiles());
}

} // namespace
