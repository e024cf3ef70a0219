#include "mail/attempt.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <utility>

#include "common/file.h"
#include "config/read.h"
#include "mail/date.h"
#include "mail/relay_config.h"
#include "platform/commands.h"
#include "platform/logging.h"

namespace pm {

CompatibilityFlag bMseCompatSendEmail{0};
CompatibilityFlag bMseCompatTestEmail{0};
CompatibilityFlag bMseCompatAlertEmail{0};
CompatibilityFlag bMseCompatGenericEmail{0};

std::mutex mailFileLock;

void logFailedMail(const char* sender, std::string_view destination, const Ending& end) {
    if (end.status != 0)
        PM_LOG_ERROR_AS(sender, "mail to \"%.*s\" failed with status %d\n",
                        static_cast<int>(destination.size()), destination.data(), end.status);
}

MessageFile::MessageFile(const char* path, AtEnd atEnd)
    : m_path(path), m_file(openUnbuffered(path, "w")), m_atEnd(isOpen() ? atEnd : AtEnd::Keep) {}

MessageFile::~MessageFile() {
    close();
    if (m_atEnd == AtEnd::Remove)
        unlink(m_path);
}

bool MessageFile::write(std::string_view text) {
    if (writeAll(m_file.get(), text))
        return true;
    const int error = errno; // callers log it too
    if (!std::exchange(m_failed, true))
        PM_LOG_ERROR_AS("MessageFile", "the message is not complete: %s\n", std::strerror(error));
    errno = error;
    return false;
}

void logCompatibility(const Attempt& attempt, const CompatibilityFlag& flag) {
    PM_LOG_WHOLE_AS(attempt.sender, "[%d]: Entering `%s' with MSE compatibility %s",
                    flag.load() != 0 ? "enabled" : "disabled");
}

bool readServerAddress(Attempt& attempt) {
    if (readSetting("pm_str_email_server_address", attempt.endpoint.szServerAddress))
        return true;
    PM_LOG_AS(attempt.sender,
              "Failed to get email server address, returning VESK_ERROR_FILE_ACCESS_FAIL\n");
    return false;
}

bool writeRelayConfig(Attempt& attempt, const CompatibilityFlag& flag) {
    return WriteEmailConfig(attempt.relayConfigPath, attempt.endpoint, attempt.config,
                            attempt.senderAddress, flag.load() != 0);
}

void writeDateLine(Attempt& attempt, MessageFile& message) {
    Text<32> szDate;
    formatDate(szDate);
    attempt.line.format("Date: %s\n", szDate.c_str());
    message.write(attempt.line.view());
}

void composeFromLine(Attempt& attempt, FromFallback fallback) {
    const EmailEndpoint& endpoint = attempt.endpoint;
    Text<765> from;
    if (!attempt.senderAddress.empty())
        from.assign(attempt.senderAddress.view());
    else if (fallback == FromFallback::HostAlone)
        from.assign(endpoint.szHostname.view());
    else
        from.format("%s@%s", endpoint.szHostname.c_str(), endpoint.szDomainName.c_str());
    composeHeader(attempt, "From", from.view());
}

int composeHeader(Attempt& attempt, const char* label, std::string_view value, size_t bound) {
    Text<765>& line = attempt.line;
    line.clear();
    const int length = line.formatBounded(bound, "%s: %.*s\n", label,
                                          static_cast<int>(value.size()), value.data());
    // A line end in the value would begin another header: replace it by a blank.
    char* start = line.data() + std::min(line.length(), std::strlen(label) + 2);
    char* end = start + std::min(std::strlen(start), value.size());
    std::replace_if(
        start, end, [](char byte) { return byte == '\r' || byte == '\n'; }, ' ');
    return length;
}

bool writeHeader(Attempt& attempt, MessageFile& message, const char* label,
                 std::string_view value) {
    composeHeader(attempt, label, value);
    return message.write(attempt.line.view());
}

void writeBody(MessageFile& message, std::string_view body) {
    if (message.write(body))
        message.write("\n\n");
}

int runRelay(Attempt& attempt) {
    attempt.line.clear();
    attempt.line.format("msmtp -C %s -t", attempt.relayConfigPath);
    PM_LOG_AS(attempt.sender, "szText=[%s]\n", attempt.line.c_str());
    return vesk_exec_systemcmd_ext(attempt.line.c_str(), 0, 0, 0, 0, 0, 0, 0, attempt.messagePath,
                                   0, 0);
}

} // namespace pm
