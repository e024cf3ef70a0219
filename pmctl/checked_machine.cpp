// Checks the machine: file permissions and installed programs.
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

bool holdsSecrets(const SettingsFile& file) {
    return std::ranges::any_of(file.entries, [](const SettingsEntry& entry) {
        return schemaRow(entry.key).secrecy == Secrecy::Secret && !valueText(entry.value).empty();
    });
}

void addFileFinding(Checked& checked, const std::string& path, const std::string& message) {
    checked.findings.push_back({Severity::Error, {path, 0, {}, message}});
}

std::string modeText(mode_t mode) {
    char text[8];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777U));
    return text;
}

bool isOthers(const struct stat& state) {
    return state.st_uid != 0 && state.st_uid != ::geteuid();
}

// path: a settings file, or pm's folder for the values set at run time.
void checkRights(Checked& checked, const std::string& path, bool secrets) {
    struct stat state {};
    if (::stat(path.c_str(), &state) != 0)
        return;
    const char* right = S_ISDIR(state.st_mode) ? "chmod 700 " : "chmod 600 ";
    if (secrets && (state.st_mode & 077U) != 0)
        addFileFinding(
            checked, path,
            "holds a password or community, and users other than its owner may access it (mode " +
                modeText(state.st_mode) + "); run: " + right + path);
    else if ((state.st_mode & 022U) != 0)
        addFileFinding(checked, path,
                       "others than its owner may change it (mode " + modeText(state.st_mode) +
                           "), and so redirect mails; run: " + right + path);
    if (isOthers(state))
        addFileFinding(checked, path,
                       "belongs to another user (number " + std::to_string(state.st_uid) +
                           "), who may change it; run: chown root " + path);
}

} // namespace

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

namespace {

void checkPrograms(Checked& checked) {
    if (!isInPath("msmtp"))
        addFinding(checked, Severity::Error, {},
                   "msmtp is not found, no mail can be sent; run: apt-get install msmtp");
    if (!isInPath("snmptrap"))
        addFinding(checked, Severity::Warning, {},
                   "snmptrap is not found, no trap can be sent; run: apt-get install snmp");
}

} // namespace

void checkMachine(Checked& checked) {
    checkRights(checked, checked.path, holdsSecrets(checked.file));
    checkRights(checked, checked.runTimePath, holdsSecrets(checked.runTime));
    checkRights(checked, checked.runTimePath.substr(0, checked.runTimePath.rfind('/')), false);
    checkCertificate(checked);
    checkPrograms(checked);
}

} // namespace pm::ctl
