// Command runner of platform/host: words, the program's environment, its end.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/commands.h"
#include "platform/host/words.h"

using namespace pm::host;

namespace {

using Words = std::vector<std::string>;

TEST(HostWords, Split) {
    const std::tuple<const char*, bool, Words> rows[] = {
        {"", true, {}},
        {" \t a\tb  c ", true, {"a", "b", "c"}},
        {"-c 'a b'\"'c\"d''", true, {"-c", "a b'cd"}},
        {"'a\"b' \"c'd\"", true, {"a\"b", "c'd"}},
        {"$HOME [a]* \\n `x` ; | > ~", true, {"$HOME", "[a]*", "\\n", "`x`", ";", "|", ">", "~"}},
        {"a 'b c", false, {"a", "b c"}},
    };
    for (const auto& [line, closed, expected] : rows) {
        Words words = {"left over"};
        EXPECT_EQ(splitWords(line, words), closed) << line;
        EXPECT_EQ(words, expected) << line;
    }
}

// Runs commands in a temporary folder.
struct HostCommand : testing::Test {
    HostCommand() {
        char name[] = "/tmp/pm-command-XXXXXX";
        std::filesystem::current_path(folder = mkdtemp(name));
    }
    ~HostCommand() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder);
    }
    int run(const std::string& line, const char* input = nullptr) {
        testing::internal::CaptureStderr();
        const auto start = std::chrono::steady_clock::now();
        errno = EBADF; // the caller's
        const int result = vesk_exec_systemcmd_ext(line.c_str(), 0, 0, 0, 0, 0, 0, 0, input, 0, 0);
        error = errno;
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        log = testing::internal::GetCapturedStderr();
        return result;
    }
    // Runs a shell script with the given arguments; returns its output.
    std::string output(const std::string& script, const char* words = "",
                       const char* input = nullptr) {
        EXPECT_EQ(run("sh -c 'exec >out; " + script + "' x " + words, input), 0) << log;
        std::ifstream file("out");
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string folder, log;
    double seconds = 0;
    int error = 0;
};

TEST_F(HostCommand, FailuresAreToldInOneLine) {
    std::ofstream("snmptrap") << "#!/bin/sh\necho \"$@: \033[1mno\" >&2; exit 3";
    EXPECT_EQ(chmod("snmptrap", 0755), 0);
    // Emulated by qemu-user, posix_spawn does not tell that a program is missing.
    char missing[] = "no-such-program-here", *words[] = {missing, nullptr};
    pid_t child = 0;
    const bool tells = posix_spawnp(&child, missing, nullptr, nullptr, words, environ) != 0;
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"no-such-program-here x", nullptr, tells ? "-here: cannot be started: " : "status 127"},
        {"sh -c 'exit 7'", nullptr, "sh: exit status 7"},
        {"sh -c 'kill -9 $$'", nullptr, "sh: was ended by signal 9"},
        {"'snmptrap -c hush", nullptr, "(none): a quote is not closed"},
        {"'' x", nullptr, "no program is named"},
        {"cat", "no-such-file", "input cannot be opened"},
        {"sh -c 'echo \"snmptrap: \" >&2; exit 1' no.host:9 .1.3", nullptr, "no.host:9 resolve?\n"},
        {"./snmptrap -c 'hush hush' host", nullptr, "status 3; it said: -c *** host: \\x1b[1mno\n"},
    };
    for (const auto& [command, input, message] : rows) {
        EXPECT_NE(run(command, input), 0) << command;
        EXPECT_NE(log.find(message), std::string::npos) << command << "\n" << log;
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        EXPECT_EQ(log.find("hush"), std::string::npos) << log;
    }
    EXPECT_NE(run(missing), 0);
    EXPECT_EQ(error, tells ? ENOENT : 0);
    EXPECT_NE(run("false"), 0);
    EXPECT_EQ(error, 0); // it ran, so neither the old value nor the runner's own errors remain
    EXPECT_EQ(run("sh -c 'echo fine >&2'"), 0);
    EXPECT_EQ(log, "");
}

TEST_F(HostCommand, ProgramGetsWhatItShould) {
    std::ofstream("input") << "line 1\nline 2\n";
    EXPECT_EQ(output("cat", "", "input"), "line 1\nline 2\n");
    EXPECT_EQ(output("cat"), ""); // standard input is /dev/null
    EXPECT_EQ(output("printf \"<%s>\" \"$@\"", "'' 'a b' $HOME"), "<><a b><$HOME>");

    // Its own session, so it cannot ask for a password on pm's terminal.
    EXPECT_EQ(output("set -- $(cat /proc/$$/stat); echo $(($6 - $$))"), "0\n");

    // Inherits no signal settings, descriptors or systemd socket.
    sigset_t blocked, before;
    sigfillset(&blocked);
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    setenv("NOTIFY_SOCKET", "/run/notify", 1);
    const int extra = fcntl(STDOUT_FILENO, F_DUPFD, 57); // not close-on-exec
    // The C library keeps signals 32 and 33 for itself.
    EXPECT_EQ(output("grep -cE \"SigBlk:.0*$|SigIgn:.*0000000$\" /proc/self/status"), "2\n");
    setenv("LC_ALL", "tr_TR.UTF-8", 1);
    EXPECT_EQ(output("echo ${NOTIFY_SOCKET-gone} $LC_ALL"), "gone C.UTF-8\n");
    unsetenv("LC_ALL");
    EXPECT_EQ(output("exec ls /proc/self/fd"), "0\n1\n2\n3\n"); // 3: ls reading the folder
    close(extra);
    unsetenv("NOTIFY_SOCKET");
    std::signal(SIGPIPE, previous);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(HostCommand, NeitherGrandchildrenNorHangingNorFloodingHoldTheCaller) {
    EXPECT_EQ(run("sh -c 'sleep 5 & echo $! >child'"), 0); // holds standard error open
    EXPECT_LT(seconds, 2);
    EXPECT_EQ(std::system("kill $(cat child)"), 0);
    EXPECT_NE(run("sh -c 'head -c 3000000 /dev/zero | tr \"\\\\000\" x >&2; exit 1'"), 0);
    EXPECT_LT(log.size(), 700U);
    EXPECT_NE(log.find("it said: xxx"), std::string::npos);

    setenv("PM_HOST_COMMAND_LIMIT_MS", "200", 1);
    EXPECT_NE(run("sh -c 'sleep 30 & echo $! >child; wait'"), 0);
    EXPECT_NE(log.find("did not end in time"), std::string::npos) << log;
    EXPECT_LT(seconds, 2);
    EXPECT_NE(run("sh -c 'trap \"\" TERM; while :; do sleep 1; done'"), 0);
    EXPECT_LT(seconds, 5);
    unsetenv("PM_HOST_COMMAND_LIMIT_MS");
    EXPECT_NE(std::system("kill -0 $(cat child) 2>/dev/null"), 0); // the whole group has ended
}

} // namespace
