// Runs a program for the calling thread and waits for its end; no shell is involved.
#include <algorithm>
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
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "platform/client/fd.h"
#include "platform/commands.h"
#include "platform/host/activity.h"
#include "platform/host/command_turn.h"
#include "platform/host/mail_lines.h"
#include "platform/host/store.h"
#include "platform/host/words.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

constexpr int64_t LIMIT_MS = 600'000;
constexpr const char* LIMIT_VARIABLE = "PM_HOST_COMMAND_LIMIT_MS";
constexpr int64_t GRACE_MS = 2000;       // between SIGTERM and SIGKILL
constexpr int64_t WITHOUT_PIDFD_MS = 20; // poll interval where the kernel has no pidfd

// Bytes of standard error that go into a log line. A memory file of fixed size receives it:
// unlike a pipe, it needs no reader, and a grandchild that keeps it open delays nothing.
constexpr off_t SAID_LIMIT = 500;
constexpr off_t SAID_FILE = off_t{64} * 1024; // a write that would exceed it is lost as a whole

struct CommandResult {
    int status = -1; // 0: the command succeeded
    bool started = false;
    std::string failure; // how it failed
    std::string said;
    int error = 0; // errno if the command could not be run
};

int64_t monotonicMilliseconds() {
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

// Moves a descriptor above 2: the child replaces 0 to 2 by its own.
Fd aboveStandard(Fd fd) {
    if (fd.valid() && fd.get() <= STDERR_FILENO)
        return Fd(::fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return fd;
}

// pm's environment without systemd's socket, and with a fixed locale: msmtp folds case by
// locale, so logins fail under some, and its messages must be in English.
std::vector<char*> environmentOfCommand() {
    static char locale[] = "LC_ALL=C.UTF-8";
    std::vector<char*> variables = {locale};
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        if (!text.starts_with("NOTIFY_SOCKET=") && !text.starts_with("LC_ALL=") &&
            !text.starts_with("LANGUAGE="))
            variables.push_back(*variable);
    }
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

    // Opens the three standard streams only, and resets signals. The session of its own keeps
    // the command off pm's terminal; its process group lets pm kill it with its children.
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
               posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF |
                                                           POSIX_SPAWN_SETSIGMASK |
                                                           POSIX_SPAWN_SETSID) == 0;
    }

    // Returns 0 or an error number.
    int spawn(pid_t& pid, char* const* arguments) {
        const std::vector<char*> environment = environmentOfCommand();
        return posix_spawnp(&pid, arguments[0], &m_actions, &m_attributes, arguments,
                            environment.data());
    }

  private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
};

Fd openSaid() {
    Fd said(memfd_create("said", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (said.valid() && (::ftruncate(said.get(), SAID_FILE) != 0 ||
                         ::fcntl(said.get(), F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SHRINK) != 0))
        said.reset();
    return aboveStandard(std::move(said));
}

std::string readSaid(const Fd& said) {
    // The command shares this descriptor's offset, which is now the length.
    const off_t length = std::clamp<off_t>(::lseek(said.get(), 0, SEEK_CUR), 0, SAID_LIMIT);
    std::string text(static_cast<size_t>(length), '\0');
    const ssize_t got = ::pread(said.get(), text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return text;
}

// Waits for the child and returns its wait status. After the time limit, sends SIGTERM to its
// group, then SIGKILL.
int waitForEnd(pid_t pid, bool& expired) {
    const Fd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    int64_t limit = monotonicMilliseconds() + limitOfCommand();
    int ending = SIGTERM;
    for (;;) {
        int64_t patience = std::max<int64_t>(limit - monotonicMilliseconds(), 0);
        if (!process.valid())
            patience = std::min(patience, WITHOUT_PIDFD_MS);
        pollfd watched = {process.get(), POLLIN, 0};
        ::poll(&watched, 1, static_cast<int>(std::min<int64_t>(patience, INT_MAX)));
        siginfo_t end{};
        if (::waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
            end.si_pid == pid)
            break;
        if (monotonicMilliseconds() < limit)
            continue;
        expired = true;
        ::kill(-pid, ending);
        ending = SIGKILL;
        limit = monotonicMilliseconds() + GRACE_MS;
    }
    if (expired)
        ::kill(-pid, SIGKILL); // its children; the unreaped child still reserves the number
    int status = -1;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

void judge(int status, bool expired, CommandResult& result) {
    if (expired)
        result.failure = "did not end in time and was stopped";
    else if (WIFSIGNALED(status))
        result.failure = "was ended by signal " + std::to_string(WTERMSIG(status));
    else if (!WIFEXITED(status))
        result.failure = "its exit status is lost";
    else if (WEXITSTATUS(status) != 0)
        result.failure = "exit status " + std::to_string(WEXITSTATUS(status));
    const bool hasStatus = !expired && WIFEXITED(status);
    result.status = hasStatus ? WEXITSTATUS(status) : -1;
}

void runWords(std::vector<std::string>& words, const char* inputPath, CommandResult& result) {
    const auto fail = [&](const char* step, int error) {
        result.failure = std::string(step) + ": " + std::strerror(error);
        result.error = error;
    };
    const Turn turn(commandTurns()); // waits before any descriptor is open
    const Fd input = aboveStandard(
        Fd(::open(inputPath == nullptr ? "/dev/null" : inputPath, O_RDONLY | O_CLOEXEC)));
    if (!input.valid())
        return fail("its input cannot be opened", errno);
    const Fd said = openSaid();
    SpawnPlan plan;
    if (!said.valid() || !plan.prepare(input.get(), said.get()))
        return fail("cannot be prepared", errno);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t pid = -1;
    if (const int error = plan.spawn(pid, arguments.data()); error != 0)
        return fail("cannot be started", error);
    result.started = true;
    bool expired = false;
    const int status = waitForEnd(pid, expired);
    judge(status, expired, result);
    result.said = readSaid(said);
}

void mask(std::string& text, const std::string& secret) {
    if (!secret.empty())
        for (size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += 3)
            text.replace(at, secret.size(), "***");
}

// The command's standard error, with community and passwords masked in case it repeats them.
std::string saidWithoutSecrets(const std::vector<std::string>& words, std::string_view said) {
    std::string text(said);
    while (text.ends_with('\n'))
        text.pop_back();
    for (size_t i = 0; i + 1 < words.size(); ++i)
        if (words[i] == "-c")
            mask(text, words[i + 1]);
    for (KeyId key = 0; key < KEY_COUNT && !text.empty(); ++key)
        if (schemaRow(key).secrecy == Secrecy::Secret)
            mask(text, valueText(storedValue(key).value_or(Value())));
    return text;
}

// snmptrap gives no reason if its destination, the word before the first OID, has no address.
std::string destinationWithoutReason(const std::vector<std::string>& words, std::string_view said) {
    const auto oid =
        std::ranges::find_if(words, [](const auto& word) { return word.starts_with(".1."); });
    if (said != "snmptrap: " || oid == words.begin() || oid == words.end())
        return {};
    return "; does " + oid[-1] + " resolve?";
}

int runCommand(const char* command, const char* inputPath) {
    std::vector<std::string> words;
    CommandResult result;
    if (!splitWords(command == nullptr ? "" : command, words)) {
        result.failure = "a quote is not closed";
        result.error = EINVAL;
        if (words.size() == 1) // it may contain the whole line, secrets included
            words.clear();
    } else if (words.empty() || words[0].empty()) {
        result.failure = "no program is named";
        result.error = EINVAL;
    } else {
        runWords(words, inputPath, result);
    }
    const std::string program = words.empty() ? "(none)" : words[0];
    std::string reason = result.failure;
    if (!reason.empty()) {
        const std::string said = saidWithoutSecrets(words, result.said);
        if (!said.empty())
            reason += "; it said: " + said + destinationWithoutReason(words, said);
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "command failed: %s: %s", program.c_str(),
                      reason.c_str());
    }
    noteCommand(program, result.started, result.status, reason);
    if (result.status == 0)
        logMailTaken(program, inputPath);
    errno = result.error; // callers log it; calls made after the failure may have changed it
    return result.status;
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

extern "C" int vesk_exec_systemcmd(const char* command) {
    return runGuarded(command, nullptr);
}

extern "C" int vesk_exec_systemcmd_ext(const char* command, uint64_t, uint64_t, uint64_t, uint64_t,
                                       uint64_t, uint64_t, uint64_t, const char* input_path,
                                       uint64_t, uint64_t) {
    return runGuarded(command, input_path);
}

} // namespace pm::host
