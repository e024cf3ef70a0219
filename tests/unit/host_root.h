// A root and a /tmp of a check's own, gone with it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// Runs the check in a process of its own, with PM_HOST_ROOT at /tmp/root; skips
// the test where the machine allows no private mounts.
inline void inPrivateRoot(const std::function<void()>& check) {
    constexpr int NOT_POSSIBLE = 77;
    const pid_t child = fork();
    if (child == 0) {
        const auto write = [](const char* path, const std::string& text) {
            std::ofstream(path) << text;
        };
        const auto idMap = [](auto id) { return "0 " + std::to_string(id) + " 1"; };
        const std::string users = idMap(geteuid()), groups = idMap(getegid());
        const bool root = geteuid() == 0;
        if (unshare(CLONE_NEWNS | (root ? 0 : CLONE_NEWUSER)) != 0)
            _exit(NOT_POSSIBLE);
        if (!root) {
            write("/proc/self/setgroups", "deny");
            write("/proc/self/uid_map", users);
            write("/proc/self/gid_map", groups);
        }
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", "/tmp", "tmpfs", 0, "size=512k") != 0)
            _exit(NOT_POSSIBLE);
        mkdir("/tmp/root", 0755);
        mkdir("/tmp/root/etc", 0755);
        write("/tmp/root/etc/pm.conf", "");
        setenv("PM_HOST_ROOT", "/tmp/root", 1);
        check();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == NOT_POSSIBLE)
        GTEST_SKIP() << "this machine gives no private /tmp";
    EXPECT_EQ(status, 0);
}
