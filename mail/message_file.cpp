#include <algorithm>
#include <cstring>

#include "common/file.h"
#include "mail/attempt.h"
#include "mail/identity.h"
#include "platform/logging.h"

namespace {

// "<label>: <value>\n", cut at bound. A line end inside the value goes out as a
// blank, so that no value makes a header of its own. Returns the length that the
// line would have had without the bound.
int composeHeader(Text<765>& line, size_t bound, const char* label, std::string_view value) {
    line.clear();
    const int length = line.formatBounded(bound, "%s: %.*s\n", label,
                                          static_cast<int>(value.size()), value.data());
    char* start = line.data() + std::min(line.length(), std::strlen(label) + 2);
    char* end = start + std::min(std::strlen(start), value.size());
    std::replace_if(
        start, end, [](char byte) { return byte == '\r' || byte == '\n'; }, ' ');
    return length;
}

void composeFromLine(const Sender& sender, Attempt& attempt) {
    const EmailEndpoint& endpoint = attempt.endpoint;
    Text<765> from;
    if (!attempt.senderAddress.empty())
        from.assign(attempt.senderAddress.view());
    else if (sender.fromFallback == FromFallback::HostAlone)
        from.assign(endpoint.szHostname.view());
    else
        from.format("%s@%s", endpoint.szHostname.c_str(), endpoint.szDomainName.c_str());
    composeHeader(attempt.line, attempt.line.capacity(), "From", from.view());
    if (sender.logsFromLine)
        PM_LOG_AS(sender.name, "[%d]: %s() - from entry: %s\n", attempt.line.c_str());
}

void composeBoundedHeader(const Sender& sender, Attempt& attempt, const char* label,
                          std::string_view value) {
    const int length = composeHeader(attempt.line, sender.headerBound, label, value);
    if (length < 0 && sender.logsHeaderFailure)
        PM_LOG_AS(sender.name, "[%d]: %s() - Failed in snprintf! (%d)\n", length);
    if (sender.longestUnloggedHeader != 0 && length > sender.longestUnloggedHeader)
        PM_LOG_AS(sender.name, "[%d]: %s() - '%s:' field truncated: %d\n", label, length);
}

// Gives failure where the line could not be written and the sender looks at it.
Failure writeHeader(const Sender& sender, const Failure& failure, std::FILE* message,
                    std::string_view line) {
    if (writeAll(message, line) || failure.effect == Effect::GoesOn)
        return GOES_ON;
    if (sender.logsHeaderFailure)
        PM_LOG_AS(sender.name, "[%d]: %s() - text could not be written to the output file\n");
    return failure;
}

Failure writeHeaders(const Sender& sender, const Mail& mail, Attempt& attempt, std::FILE* message) {
    composeFromLine(sender, attempt);
    Failure failure = writeHeader(sender, sender.failures.fromLine, message, attempt.line.view());
    if (failure.effect != Effect::GoesOn)
        return failure;
    composeBoundedHeader(sender, attempt, "To", mail.destination);
    failure = writeHeader(sender, sender.failures.headerLine, message, attempt.line.view());
    if (failure.effect != Effect::GoesOn)
        return failure;
    composeBoundedHeader(sender, attempt, "Subject", mail.subject);
    failure = writeHeader(sender, sender.failures.headerLine, message, attempt.line.view());
    if (failure.effect != Effect::GoesOn)
        return failure;
    return writeHeader(sender, sender.failures.headerLine, message, "Content-type: text/plain\n\n");
}

} // namespace

void writeDateLine(Attempt& attempt, std::FILE* message) {
    Text<32> szDate;
    formatDate(szDate);
    attempt.line.format("Date: %s\n", szDate.c_str());
    writeAll(message, attempt.line.view());
}

Failure writeMessage(const Sender& sender, Mail& mail, Attempt& attempt, std::FILE* message) {
    const Failure headers = writeHeaders(sender, mail, attempt, message);
    if (headers.effect != Effect::GoesOn)
        return headers;
    std::optional<std::string_view> body = mail.body;
    if (sender.composeBody != nullptr)
        body = sender.composeBody(mail, attempt.endpoint);
    if (!body)
        return sender.failures.bodyBuffer;
    if (!writeAll(message, *body) && sender.failures.body.effect == Effect::ToRelay)
        return sender.failures.body;
    writeAll(message, "\n\n");
    return GOES_ON;
}
