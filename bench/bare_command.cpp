#include "bench/bare_command.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

void fail(const std::string& what) {
    std::fprintf(stderr, "pm_bench: %s\n", what.c_str());
    std::exit(1);
}

pid_t start(const BareCommand& command) {
    std::vector<char*> words;
    words.reserve(command.words.size() + 1);
    for (const std::string& word : command.words)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, command.input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, words[0], &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        fail(command.words[0] + ": " + std::strerror(error));
    return pid;
}

void finish(pid_t pid, const BareCommand& command) {
    int status = -1;
    if (waitpid(pid, &status, 0) != pid || status != 0)
        fail(command.words[0] + " did not succeed");
}

void run(const BareCommand& command) {
    finish(start(command), command);
}
