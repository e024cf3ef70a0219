#include "mail/relay_config.h"

#include <arpa/inet.h>
#include <cstring>
#include <mutex>
#include <strings.h>
#include <sys/stat.h>

#include "common/file.h"
#include "common/text.h"
#include "mail/email_config_args.h"
#include "mail/identity.h"
#include "platform/logging.h"

namespace {

constexpr const char* OPERATION = "WriteEmailConfig";
constexpr int RELAY_TIMEOUT_SECONDS = 20;
constexpr mode_t PRIVATE_MASK = 066;

// The file-creation mask belongs to the process: two threads that set and put
// it back at once could leave the wrong one behind.
std::mutex creationMaskLock;

FileOwner openPrivate(const char* path) {
    const std::lock_guard<std::mutex> lock(creationMaskLock);
    const mode_t before = umask(PRIVATE_MASK);
    FileOwner file = openUnbuffered(path, "w+e");
    umask(before);
    return file;
}

// A line end in a value would begin a line of the relay's configuration, which
// may name a command to run.
bool holdsNoLineEnd(const char* value, const char* name) {
    if (std::strpbrk(value, "\r\n") == nullptr)
        return true;
    PM_LOG_AS(OPERATION, "[%d]: %s: the %s holds a line end, no relay configuration is written\n",
              name);
    return false;
}

bool isAddress(int family, const char* text) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(family, text, address) == 1;
}

// RFC 5321 4.1.3: an address literal stands in brackets.
bool isDomainLiteral(const char* domain) {
    constexpr const char* PREFIX = "IPv6:";
    return isAddress(AF_INET, domain) || (strncasecmp(domain, PREFIX, std::strlen(PREFIX)) == 0 &&
                                          isAddress(AF_INET6, domain + std::strlen(PREFIX)));
}

HeapOwner<char> domainValue(const char* domain, bool compatibility) {
    return !compatibility && isDomainLiteral(domain) ? allocateText("[%s]", domain)
                                                     : allocateText("%s", domain);
}

bool isGiven(const char* senderAddress) {
    return senderAddress != nullptr && *senderAddress != '\0';
}

HeapOwner<char> fromValue(const char* senderAddress, const char* hostPart, const char* domain) {
    return isGiven(senderAddress) ? allocateText("%s", senderAddress)
                                  : allocateText("%s@%s", hostPart, domain);
}

HeapOwner<char> mechanismWord(int32_t mechanism) {
    constexpr const char* WORDS[] = {"on", "plain", "login", "digest-md5", "cram-md5"};
    const bool known = mechanism > 0 && mechanism < int32_t{std::size(WORDS)};
    return allocateText("%s", WORDS[known ? mechanism : 0]);
}

bool writeAuthentication(std::FILE* file, bool authEnabled, const char* word, const char* user,
                         const char* password) {
    if (!authEnabled)
        return std::fprintf(file, "auth off\n") >= 0;
    return std::fprintf(file, "auth %s\nuser \"%s\"\npassword \"%s\"\n", word, user, password) >= 0;
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

} // namespace

bool WriteEmailConfig(const char* host, const char* senderAddress, char* domain,
                      const char* hostPart, bool compatibility, const char* path, int32_t port,
                      bool authEnabled, const char* user, uint32_t connectionEncryption,
                      int32_t mechanism, const char* password) {
    PM_LOG("[%d]: Entering `%s'...\n");
    if (!holdsNoLineEnd(host, "server address") || !holdsNoLineEnd(domain, "domain") ||
        !holdsNoLineEnd(isGiven(senderAddress) ? senderAddress : hostPart, "sender") ||
        (authEnabled &&
         (!holdsNoLineEnd(user, "user name") || !holdsNoLineEnd(password, "password"))))
        return false;

    const FileOwner file = openPrivate(path);
    if (!file) {
        std::perror("Failed to create e-mail configuration file");
        return false;
    }
    trimDomainName(domain);
    const HeapOwner<char> domainText = domainValue(domain, compatibility);
    if (!domainText) {
        PM_LOG("[%d]: %s: Couldn't allocate `domain', exiting\n");
        return false;
    }
    const HeapOwner<char> from = fromValue(senderAddress, hostPart, domainText.get());
    if (!from) {
        PM_LOG("[%d]: %s: Couldn't allocate `from', exiting\n");
        return false;
    }
    const HeapOwner<char> writeError = allocateText("Couldn't write to %s", path);
    if (!writeError)
        return false;
    if (std::fprintf(file.get(),
                     "account default\ntimeout %d\nhost %s\nport %d\ndomain %s\nauto_from off\n"
                     "from %s\n",
                     RELAY_TIMEOUT_SECONDS, host, port, domainText.get(), from.get()) < 0) {
        std::perror(writeError.get());
        return false;
    }
    const HeapOwner<char> word = mechanismWord(mechanism);
    if (!word) {
        PM_LOG("[%d]: %s: Couldn't allocate `sasl_mech', exiting\n");
        return false;
    }
    // A failure here is reported only; the result depends on the last block.
    if (!writeAuthentication(file.get(), authEnabled, word.get(), user, password))
        std::perror(writeError.get());
    if (!writeEncryption(file.get(), connectionEncryption)) {
        std::perror(writeError.get());
        return false;
    }
    return true;
}
