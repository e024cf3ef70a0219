#include "mail/relay_config.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <strings.h>
#include <sys/stat.h>

#include "common/file.h"
#include "common/text.h"
#include "mail/domain_name.h"
#include "mail/email_config_args.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "WriteEmailConfig";
constexpr int RELAY_TIMEOUT_SECONDS = 20;
constexpr mode_t PRIVATE_MASK = 066;

// The umask belongs to the process: two threads that change and restore it at the same
// time could leave the wrong one.
std::mutex creationMaskLock;

FileOwner openPrivate(const char* path) {
    const std::lock_guard<std::mutex> lock(creationMaskLock);
    const mode_t before = umask(PRIVATE_MASK);
    FileOwner file = openUnbuffered(path, "w+");
    umask(before);
    return file;
}

// A line end in a value would add a line to the relay's configuration, and such a line
// can name a command to run.
bool holdsNoLineEnd(const char* value, const char* name) {
    if (std::strpbrk(value, "\r\n") == nullptr)
        return true;
    PM_LOG_ERROR_AS(OPERATION, "no relay configuration is written: a line end in the %s\n", name);
    return false;
}

// Tests only values that are written: the host name only without a sender address, the
// login only with authentication.
bool holdNoLineEnds(const EmailEndpoint& endpoint, const EmailConfigArgs& config,
                    const Text<255>& senderAddress) {
    const Text<255>& from = senderAddress.empty() ? endpoint.szHostname : senderAddress;
    return holdsNoLineEnd(endpoint.szServerAddress.c_str(), "server address") &&
           holdsNoLineEnd(endpoint.szDomainName.c_str(), "domain") &&
           holdsNoLineEnd(from.c_str(), "sender") &&
           (!config.authEnabled || (holdsNoLineEnd(config.username.c_str(), "user name") &&
                                    holdsNoLineEnd(config.password.c_str(), "password")));
}

bool isAddress(int family, const char* text) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(family, text, address) == 1;
}

// True for an address, which needs brackets in the greeting (RFC 5321, section 4.1.3).
bool isDomainLiteral(const char* domain) {
    constexpr const char* PREFIX = "IPv6:";
    return isAddress(AF_INET, domain) || (strncasecmp(domain, PREFIX, std::strlen(PREFIX)) == 0 &&
                                          isAddress(AF_INET6, domain + std::strlen(PREFIX)));
}

HeapOwner<char> domainValue(const char* domain, bool compatibility) {
    return !compatibility && isDomainLiteral(domain) ? allocateText("[%s]", domain)
                                                     : allocateText("%s", domain);
}

HeapOwner<char> fromValue(const Text<255>& senderAddress, const EmailEndpoint& endpoint,
                          const char* domain) {
    return senderAddress.empty() ? allocateText("%s@%s", endpoint.szHostname.c_str(), domain)
                                 : allocateText("%s", senderAddress.c_str());
}

HeapOwner<char> mechanismWord(int32_t mechanism) {
    constexpr const char* WORDS[] = {"on", "plain", "login", "digest-md5", "cram-md5"};
    const bool known = mechanism > 0 && mechanism < int32_t{std::size(WORDS)};
    return allocateText("%s", WORDS[known ? mechanism : 0]);
}

bool writeAuthentication(std::FILE* file, const EmailConfigArgs& config, const char* word) {
    if (!config.authEnabled)
        return std::fprintf(file, "auth off\n") >= 0;
    return std::fprintf(file, "auth %s\nuser \"%s\"\npassword \"%s\"\n", word,
                        config.username.c_str(), config.password.c_str()) >= 0;
}

bool writeEncryption(std::FILE* file, uint32_t connectionEncryption) {
    const char* starttls = connectionEncryption > ENCRYPTION_TLS ? "on" : "off";
    const char* tls = connectionEncryption == ENCRYPTION_OFF ? "off" : "on";
    return std::fprintf(file,
                        "tls_cert_file /etc/certs/CA/certs/host.crt\n"
                        "tls_key_file /flash/data0/cv/private/host.key\n"
                        "tls_starttls %s\n"
                        "tls_force_sslv3 off\n"
                        "tls_certcheck off\n"
                        "tls %s\n",
                        starttls, tls) >= 0;
}

// perror can change errno, which names the reason of the failed mail.
void printError(const char* text) {
    const int error = errno;
    std::perror(text);
    errno = error;
}

} // namespace

bool WriteEmailConfig(const char* path, EmailEndpoint& endpoint, const EmailConfigArgs& config,
                      const Text<255>& senderAddress, bool compatibility) {
    PM_LOG_WHOLE("[%d]: Entering `%s'...\n");
    if (!holdNoLineEnds(endpoint, config, senderAddress))
        return false;

    const FileOwner file = openPrivate(path);
    if (!file) {
        printError("Failed to create e-mail configuration file");
        return false;
    }
    trimDomainName(endpoint.szDomainName.data());
    const HeapOwner<char> domainText = domainValue(endpoint.szDomainName.c_str(), compatibility);
    if (!domainText) {
        PM_LOG_WHOLE("[%d]: %s: Couldn't allocate `domain', exiting\n");
        return false;
    }
    const HeapOwner<char> from = fromValue(senderAddress, endpoint, domainText.get());
    if (!from) {
        PM_LOG_WHOLE("[%d]: %s: Couldn't allocate `from', exiting\n");
        return false;
    }
    const HeapOwner<char> writeError = allocateText("Couldn't write to %s", path);
    if (!writeError)
        return false;
    if (std::fprintf(file.get(),
                     "account default\ntimeout %d\nhost %s\nport %d\ndomain %s\nauto_from off\n"
                     "from %s\n",
                     RELAY_TIMEOUT_SECONDS, endpoint.szServerAddress.c_str(), config.port,
                     domainText.get(), from.get()) < 0) {
        printError(writeError.get());
        return false;
    }
    const HeapOwner<char> word = mechanismWord(config.saslMechanism);
    if (!word) {
        PM_LOG_WHOLE("[%d]: %s: Couldn't allocate `sasl_mech', exiting\n");
        return false;
    }
    // A failed write of this block is only reported, and does not fail the operation.
    if (!writeAuthentication(file.get(), config, word.get()))
        printError(writeError.get());
    if (!writeEncryption(file.get(), config.connectionEncryption)) {
        printError(writeError.get());
        return false;
    }
    return true;
}

} // namespace pm
