// Command runner: one program at a time for each caller, without a shell.
#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "platform/client/fd.h"
#include "platform/host/words.h"
#include "platform/logging.h"
#include "platform/settings.h"

namespace {

constexpr int64_t LIMIT_MS = 600'000;
constexpr const char* LIMIT_VARIABLE = "PM_HOST_COMMAND_LIMIT_MS";
constexpr int64_t GRACE_MS = 2000;       // between asking a command to end and killing it
constexpr int64_t WITHOUT_PIDFD_MS = 20; // how often to look for the end without one

// What a command said on its standard error, as far as a log line needs it.
struct Said {
    std::array<char, 500> text{};
    size_t length = 0;

    void add(const char* more, size_t size) {
        const size_t kept = std::min(size, text.size() - length);
        std::memcpy(text.data() + length, more, kept);
        length += kept;
    }
    std::string_view view() const { return {text.data(), length}; }
};

struct Outcome {
    int status = -1;     // 0: the command succeeded
    std::string failure; // how it failed
    Said said;
};

int64_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

int64_t limitOfCommand() {
    const char* text = std::getenv(LIMIT_VARIABLE);
    int64_t limit = 0;
    if (text != nullptr)
        std::from_chars(text, text + std::strlen(text), limit);
    return limit > 0 ? limit : LIMIT_MS;
}

// Keeps clear of the numbers that the child gives to its own three.
Fd aboveStandard(Fd fd) {
    if (fd.valid() && fd.get() <= STDERR_FILENO)
        return Fd(::fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return fd;
}

// The environment without what systemd told pm alone.
std::vector<char*> environmentOfCommand() {
    std::vector<char*> variables;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable)
        if (std::strncmp(*variable, "NOTIFY_SOCKET=", 14) != 0)
            variables.push_back(*variable);
    variables.push_back(nullptr);
    return variables;
}

class SpawnPlan {
  public:
    SpawnPlan() {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    // Standard streams as given, nothing else open; signals as a program expects
    // them; a process group of its own, so that all of it can be ended.
    bool prepare(int input, int error) {
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        return posix_spawn_file_actions_adddup2(&m_actions, input, STDIN_FILENO) == 0 &&
               posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY,
                                                0) == 0 &&
               posix_spawn_file_actions_adddup2(&m_actions, error, STDERR_FILENO) == 0 &&
               posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1) == 0 &&
               posix_spawnattr_setsigdefault(&m_attributes, &all) == 0 &&
               posix_spawnattr_setsigmask(&m_attributes, &none) == 0 &&
               posix_spawnattr_setpgroup(&m_attributes, 0) == 0 &&
               posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF |
                                                           POSIX_SPAWN_SETSIGMASK |
                                                           POSIX_SPAWN_SETPGROUP) == 0;
    }

    // 0, or the error number of what failed.
    int spawn(pid_t& pid, char* const* arguments) {
        const std::vector<char*> environment = environmentOfCommand();
        return posix_spawnp(&pid, arguments[0], &m_actions, &m_attributes, arguments,
                            environment.data());
    }

  private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
};

// Takes what the pipe holds now; no more than a pipe can hold, since a writer may
// be faster. False: all its writers are gone.
bool readWhatIsThere(int pipe, Said& said) {
    char block[4096];
    for (int blocks = 0; blocks < 16; ++blocks) {
        const ssize_t got = ::read(pipe, block, sizeof block);
        if (got > 0)
            said.add(block, static_cast<size_t>(got));
        else if (got == 0)
            return false;
        else if (errno != EINTR)
            return errno == EAGAIN;
    }
    return true;
}

// Waits for the child's end, not for the pipe's: a grandchild may keep that open.
// Past the limit the child's group is asked to end, then killed.
int waitForEnd(pid_t pid, Fd& pipe, Said& said, bool& expired) {
    // glibc 2.36 declares pidfd_open for C alone.
    const Fd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    int64_t limit = milliseconds() + limitOfCommand();
    int ending = SIGTERM;
    for (;;) {
        int64_t patience = std::max<int64_t>(limit - milliseconds(), 0);
        if (!process.valid())
            patience = std::min(patience, WITHOUT_PIDFD_MS);
        pollfd watched[] = {{process.get(), POLLIN, 0}, {pipe.get(), POLLIN, 0}};
        ::poll(watched, 2, static_cast<int>(std::min<int64_t>(patience, INT_MAX)));
        if (watched[1].revents != 0 && !readWhatIsThere(pipe.get(), said))
            pipe.reset();
        siginfo_t end{};
        if (::waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
            end.si_pid == pid)
            break;
        if (milliseconds() < limit)
            continue;
        expired = true;
        ::kill(-pid, ending);
        ending = SIGKILL;
        limit = milliseconds() + GRACE_MS;
    }
    if (expired)
        ::kill(-pid, SIGKILL); // what the child left; its number is still its own
    if (pipe.valid())
        readWhatIsThere(pipe.get(), said);
    int status = -1;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

void judge(int status, bool expired, Outcome& outcome) {
    if (expired)
        outcome.failure = "did not end in time and was stopped";
    else if (WIFSIGNALED(status))
        outcome.failure = "was ended by signal " + std::to_string(WTERMSIG(status));
    else if (!WIFEXITED(status))
        outcome.failure = "its exit status is lost";
    else if (WEXITSTATUS(status) != 0)
        outcome.failure = "exit status " + std::to_string(WEXITSTATUS(status));
    const bool told = !expired && WIFEXITED(status);
    outcome.status = told ? WEXITSTATUS(status) : -1;
}

void runWords(std::vector<std::string>& words, const char* inputPath, Outcome& outcome) {
    const auto fail = [&](const char* step, int error) {
        outcome.failure = std::string(step) + ": " + std::strerror(error);
    };
    const Fd input = aboveStandard(
        Fd(::open(inputPath == nullptr ? "/dev/null" : inputPath, O_RDONLY | O_CLOEXEC)));
    if (!input.valid())
        return fail("its input cannot be opened", errno);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return fail("no pipe", errno);
    Fd readEnd(ends[0]);
    Fd writeEnd = aboveStandard(Fd(ends[1]));
    SpawnPlan plan;
    if (::fcntl(readEnd.get(), F_SETFL, O_NONBLOCK) != 0 || !writeEnd.valid() ||
        !plan.prepare(input.get(), writeEnd.get()))
        return fail("cannot be prepared", errno);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t pid = -1;
    if (const int error = plan.spawn(pid, arguments.data()); error != 0)
        return fail("cannot be started", error);
    writeEnd.reset();
    bool expired = false;
    const int status = waitForEnd(pid, readEnd, outcome.said, expired);
    judge(status, expired, outcome);
}

// What the command said, without the community if it should repeat that.
std::string saidWithoutSecrets(const std::vector<std::string>& words, std::string_view said) {
    std::string text(said);
    while (text.ends_with('\n'))
        text.pop_back();
    for (size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& secret = words[i + 1];
        if (words[i] != "-c" || secret.empty())
            continue;
        for (size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += 3)
            text.replace(at, secret.size(), "***");
    }
    return text;
}

int runCommand(const char* command, const char* inputPath) {
    std::vector<std::string> words;
    Outcome outcome;
    if (!splitWords(command == nullptr ? "" : command, words)) {
        outcome.failure = "a quote is not closed";
        if (words.size() == 1) // all may have run together in it
            words.clear();
    } else if (words.empty() || words[0].empty()) {
        outcome.failure = "no program is named";
    } else {
        runWords(words, inputPath, outcome);
    }
    if (outcome.failure.empty())
        return outcome.status;
    const std::string said = words.empty() ? "" : saidWithoutSecrets(words, outcome.said.view());
    mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "command failed: %s: %s%s%s",
                  words.empty() ? "(none)" : words[0].c_str(), outcome.failure.c_str(),
                  said.empty() ? "" : "; it said: ", said.c_str());
    return outcome.status;
}

int runGuarded(const char* command, const char* inputPath) {
    try {
        return runCommand(command, inputPath);
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "command failed: %s", exception.what());
        return -1;
    }
}

} // namespace

int vesk_exec_systemcmd(const char* command) {
    return runGuarded(command, nullptr);
}

int vesk_exec_systemcmd_ext(const char* command, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t,
                            uint64_t, uint64_t, const char* input_path, uint64_t, uint64_t) {
    return runGuarded(command, input_path);
}
