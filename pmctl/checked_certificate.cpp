// Checks the certificate and key that msmtp needs for an encrypted connection.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "pmctl/checks.h"

namespace pm::ctl {

namespace {

// The paths in msmtp's configuration.
#define CERTIFICATE "/etc/certs/CA/certs/host.crt"
#define KEY "/flash/data0/cv/private/host.key"

// Runs an openssl command; returns its output, and its exit status in status. The program is
// optional; linking the library would add megabytes to every verb.
std::string openssl(const char* command, int& status) {
    std::string printed;
    std::FILE* pipe = ::popen(command, "re"); // no user input in command
    char part[4096];
    while (pipe != nullptr && std::fgets(part, sizeof part, pipe) != nullptr)
        printed += part;
    status = pipe == nullptr ? -1 : ::pclose(pipe);
    return printed;
}

void addEncryptionFinding(Checked& checked, Severity severity, const char* file,
                          const std::string& message) {
    addFinding(checked, severity, ENCRYPTION_KEY, "encryption is on, but " + (file + message));
}

// The service runs as root without capabilities, so it cannot read other users' files.
bool isReadable(Checked& checked, const char* file) {
    struct stat state {};
    if (::access(file, R_OK) != 0 || ::stat(file, &state) != 0) {
        addEncryptionFinding(
            checked, Severity::Error, file,
            std::string(" cannot be read (") + std::strerror(errno) +
                "), no mail can be sent; pm(8) shows how to make it, value 0 disables encryption");
        return false;
    }
    if (state.st_uid != 0 && (state.st_mode & 04U) == 0)
        addEncryptionFinding(
            checked, Severity::Error, file,
            std::string(" belongs to another user, and the service may not read it; run: chown "
                        "root ") +
                file);
    return true;
}

void checkKeyRights(Checked& checked) {
    struct stat state {};
    if (::stat(KEY, &state) == 0 && (state.st_mode & 077U) != 0)
        addEncryptionFinding(
            checked, Severity::Error, KEY,
            " may be read or changed by others than its owner; run: chmod 600 " KEY);
}

void checkContent(Checked& checked) {
    int status = 0;
    const std::string ofCertificate =
        openssl("openssl x509 -in " CERTIFICATE " -noout -pubkey 2>/dev/null", status);
    if (status != 0)
        return addEncryptionFinding(checked, Severity::Error, CERTIFICATE,
                                    " is no certificate in PEM format");
    const std::string ofKey =
        openssl("openssl pkey -in " KEY " -pubout -passin pass: 2>/dev/null </dev/null", status);
    if (status != 0)
        return addEncryptionFinding(
            checked, Severity::Error, KEY,
            " is no private key in PEM format, or needs a passphrase, which pm cannot enter");
    if (ofKey != ofCertificate)
        addEncryptionFinding(checked, Severity::Error, KEY, " is not the key of " CERTIFICATE);
    const std::string end =
        openssl("openssl x509 -in " CERTIFICATE " -noout -enddate -checkend 0 2>/dev/null", status);
    const std::string when = end.substr(0, end.find('\n'));
    if (status != 0)
        return addEncryptionFinding(checked, Severity::Error, CERTIFICATE,
                                    " has expired (" + when + ")");
    openssl("openssl x509 -in " CERTIFICATE " -noout -checkend 2592000 2>/dev/null", status);
    if (status != 0)
        addEncryptionFinding(checked, Severity::Warning, CERTIFICATE,
                             " expires within 30 days (" + when + ")");
}

} // namespace

void checkCertificate(Checked& checked) {
    const int32_t mode = numberInForce(checked, ENCRYPTION_KEY);
    if (mode < 1 || mode > 2) // no encryption
        return;
    const bool certificate = isReadable(checked, CERTIFICATE);
    const bool key = isReadable(checked, KEY);
    checkKeyRights(checked);
    if (certificate && key && isInPath("openssl"))
        checkContent(checked);
    else if (certificate && key)
        addFinding(
            checked, Severity::Note, ENCRYPTION_KEY,
            "certificate and key were not tested for expiry and for a match, because openssl is "
            "not found; run: apt-get install openssl");
}

} // namespace pm::ctl
