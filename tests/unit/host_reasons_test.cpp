// What platform/host reads from log lines: why an operation failed, and how mails ended.
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "platform/host/activity.h"

namespace pm::host {
namespace {

constexpr const char* GENERIC = "pm_function_sendGenericEmail";

// Notes lines as pm's operations log them; returns the reason to log after the last one.
std::string note(const std::vector<const char*>& lines) {
    std::string more;
    for (const char* line : lines)
        more = noteLogLine(line, 0);
    return more;
}

TEST(HostReasons, OfAnOperationWithoutMails) {
    const std::pair<std::vector<const char*>, const char*> rows[] = {
        {{"[9]: WriteEmailConfig() - no relay configuration is written: a line end in the user name"},
         "a line end in the user name"},
        {{"[9]: x() - Exit with status=0", "[9]: mail to \"", "[9", "", "no such line"}, ""}};
    for (const auto& [lines, reason] : rows) {
        noteBegin(Work::Function, "f");
        EXPECT_EQ(note(lines), "");
        EXPECT_EQ(noteEnd(Work::Function, "f", -1).reason, reason);
        EXPECT_EQ(activity().last.reason, reason);
    }
    noteBegin(Work::Function, "f"); // a step that failed first and then succeeded
    note({"[9]: sendEmail() - getaddrinfo error: again"});
    noteCommand("/usr/bin/msmtp", true, 0, "");
    EXPECT_EQ(noteEnd(Work::Function, "f", 0).reason, "");
}

TEST(HostReasons, OfGenericMails) {
    const auto send = [](const char* status) {
        noteBegin(Work::Function, GENERIC);
        note({"[9]: sendGenericEmail() - Blocking Mode enabled"});
        EXPECT_EQ(activity().generic.running, 1U);
        std::thread thread([status] {
            const std::string line =
                std::string("[9]: pthread_sendGenericEmail() - mail to \"a\" failed with status ") +
                status;
            note({"[9]: pthread_sendGenericEmail() - Entry"});
            if (*status != '\0')
                note({line.c_str()});
        });
        thread.join();
        return noteEnd(Work::Function, GENERIC, 0).mails.size();
    };
    EXPECT_EQ(send("-1"), 1U); // reported to the waiting caller
    EXPECT_EQ(send(""), 0U);
    EXPECT_EQ(activity().generic.failed, 1U);

    // Accepted, but its thread could not start.
    noteBegin(Work::Function, GENERIC);
    EXPECT_EQ(note({"[9]: sendGenericEmail() - Blocking Mode disabled",
                    "[9]: sendGenericEmail() - ERROR : Out of threads",
                    "[9]: sendGenericEmail() - mail to \"a\" failed with status -1"}),
              "no thread or memory for the mail: Out of threads");
    noteEnd(Work::Function, GENERIC, 0);
    EXPECT_EQ(activity().generic.done, 3U);
    EXPECT_EQ(activity().generic.failed, 2U);
    EXPECT_EQ(activity().generic.running, 0U);
}

} // namespace
} // namespace pm::host
