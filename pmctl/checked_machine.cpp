// Tests of what the settings need of the machine: files, rights, programs.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "pmctl/checks.h"

namespace pm::ctl {

using namespace client;

namespace {

// As the relay's configuration names them.
constexpr const char* ENCRYPTION_FILES[] = {"/etc/certs/CA/certs/host.crt",
                                            "/flash/data0/cv/private/host.key"};

bool holdsSecrets(const SettingsFile& file) {
    return std::ranges::any_of(file.entries, [](const SettingsEntry& entry) {
        return schemaRow(entry.key).secret && !valueText(entry.value).empty();
    });
}

void checkRights(Checked& checked, const std::string& path, const SettingsFile& file) {
    struct stat state {};
    if (!holdsSecrets(file) || ::stat(path.c_str(), &state) != 0)
        return;
    const auto tell = [&](const std::string& message) {
        checked.findings.push_back({Severity::Error, {path, 0, {}, message}});
    };
    if ((state.st_mode & 077U) != 0) {
        char mode[8];
        std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(state.st_mode & 07777U));
        tell("holds a password or community, and others than its owner may use it (mode " +
             std::string(mode) + "); run: chmod 600 " + path);
    }
    if (state.st_uid != 0 && state.st_uid != ::geteuid())
        tell("holds a password or community, and belongs to another user (number " +
             std::to_string(state.st_uid) + "); run: chown root " + path);
}

void checkEncryption(Checked& checked) {
    const int32_t mode = wholeNumber(valueInForce(checked, ENCRYPTION_KEY)).value_or(0);
    if (mode < 1 || mode > 2) // any other is none
        return;
    for (const char* file : ENCRYPTION_FILES)
        if (::access(file, R_OK) != 0)
            find(
                checked, Severity::Error, ENCRYPTION_KEY,
                std::string("encryption is on, but ") + file + " cannot be read (" +
                    std::strerror(errno) +
                    "), no mail can go out; pm(8) tells how to make it, 0 switches encryption off");
}

bool isInPath(std::string_view program) {
    const char* variable = std::getenv("PATH");
    std::string_view path = variable == nullptr ? "/usr/bin:/bin" : variable;
    for (;;) {
        const size_t end = path.find(':');
        std::string file(path.substr(0, end));
        file.append(file.empty() ? "./" : "/").append(program);
        struct stat state {};
        if (::stat(file.c_str(), &state) == 0 && S_ISREG(state.st_mode) &&
            ::access(file.c_str(), X_OK) == 0)
            return true;
        if (end == std::string_view::npos)
            return false;
        path.remove_prefix(end + 1);
    }
}

void checkPrograms(Checked& checked) {
    if (!isInPath("msmtp"))
        find(checked, Severity::Error, {},
             "msmtp is not found, no mail can go out; run: apt-get install msmtp");
    if (!isInPath("snmptrap"))
        find(checked, Severity::Warning, {},
             "snmptrap is not found, no trap can go out; run: apt-get install snmp");
}

} // namespace

void checkMachine(Checked& checked) {
    checkRights(checked, checked.path, checked.file);
    checkRights(checked, checked.runTimePath, checked.runTime);
    checkEncryption(checked);
    checkPrograms(checked);
}

} // namespace pm::ctl
