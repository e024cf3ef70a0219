// Logging component: writes each line to the journal, else to standard error.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include "platform/client/printable.h"
#include "platform/host/activity.h"
#include "platform/host/kept_log.h"
#include "platform/host/mail_lines.h"
#include "platform/host/outbox.h"
#include "platform/logging.h"

uint8_t g_bTrace = 0;

namespace pm::host {

using namespace client;

namespace {

constexpr size_t LINE_LIMIT = 65536;

// Whether standard error is the journal's stream: systemd passes that stream's device and
// inode in JOURNAL_STREAM. A redirected standard error has others.
bool journalListens() {
    static const bool listens = [] {
        const char* stream = std::getenv("JOURNAL_STREAM");
        struct stat state {};
        if (stream == nullptr || ::fstat(STDERR_FILENO, &state) != 0 ||
            ::access("/run/systemd/journal/socket", W_OK) != 0)
            return false; // without the journal's socket the lines would be lost
        return std::to_string(state.st_dev) + ":" + std::to_string(state.st_ino) == stream;
    }();
    return listens;
}

// Priorities of syslog(3) by level: critical, error, warning, notice, debug, info.
char priorityOf(int level) {
    return level < 1 || level > 6 ? '5' : "234576"[level - 1];
}

bool isNameLetter(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_';
}

// The operation's name: the word before the first "()"; empty without one.
std::string_view operationIn(std::string_view line) {
    const size_t end = line.find("()");
    if (end == std::string_view::npos)
        return {};
    size_t start = end;
    while (start > 0 && isNameLetter(line[start - 1]))
        --start;
    return line.substr(start, end - start);
}

// The source line's number in "[123]: ..."; empty without one.
std::string_view numberIn(std::string_view line) {
    const size_t end = line.find(']');
    if (!line.starts_with('[') || end == std::string_view::npos || end > 8)
        return {};
    return line.substr(1, end - 1);
}

bool writeJournal(int level, int module, const std::string& line) {
    std::vector<std::string> fields = {
        "MESSAGE=" + line, std::string("PRIORITY=") + priorityOf(level),
        "PM_MODULE=" + std::to_string(module), "CODE_LINE=" + std::string(numberIn(line)),
        "CODE_FUNC=" + std::string(operationIn(line))};
    if (level < PM_LEVEL_TRACE)
        std::ranges::move(journalFields(line), std::back_inserter(fields));
    std::vector<iovec> vectors;
    for (std::string& field : fields)
        if (!field.ends_with('=') || vectors.empty())
            vectors.push_back({field.data(), field.size()});
    return sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size())) >= 0;
}

void writeError(const timespec& now, int level, int module, const std::string& line) {
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char head[64];
    const size_t length = strftime(head, sizeof head, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(head + length, sizeof head - length, ".%03ldZ %d [%d] ", now.tv_nsec / 1000000,
                  level, module);
    const std::string whole = head + line + '\n';
    for (size_t done = 0; done < whole.size();) {
        const ssize_t written = ::write(STDERR_FILENO, whole.data() + done, whole.size() - done);
        if (written < 0 && errno != EINTR)
            return; // the failure can be reported nowhere
        done += written < 0 ? 0 : static_cast<size_t>(written);
    }
}

timespec currentTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

// Keeps every line; writes trace lines only if the trace is on.
void logLine(int level, int module, std::string_view text) {
    const std::string line = escapeControls(text);
    const timespec now = currentTime();
    keepLine(now, level, module, line);
    if (logIsFollowed())
        wakeLoop();
    if (level >= PM_LEVEL_TRACE && g_bTrace == 0)
        return;
    if (!journalListens() || !writeJournal(level, module, line))
        writeError(now, level, module, line);
}

// Logs a line, and after it the reason if it says that a mail was not sent.
void logStepLine(int level, int module, std::string_view text, int error) {
    while (text.ends_with('\n'))
        text.remove_suffix(1);
    logLine(level, module, text);
    if (module != PM_MODULE_GENERAL)
        return;
    const std::string reason = noteLogLine(text, error);
    if (!reason.empty())
        logLine(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "not sent: " + reason);
}

__attribute__((format(printf, 4, 0))) void formatLine(int level, int module, int error,
                                                      const char* format, va_list arguments) {
    char brief[512];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(brief, sizeof brief, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) < sizeof brief) {
        logStepLine(level, module, brief, error);
    } else if (length >= 0) {
        std::string whole(std::min(static_cast<size_t>(length), LINE_LIMIT), '\0');
        std::vsnprintf(whole.data(), whole.size() + 1, format, again);
        logStepLine(level, module, whole, error);
    }
    va_end(again);
}

} // namespace

extern "C" int mirlog_printf(int level, int module, const char* format, ...) {
    if (format == nullptr)
        return 0;
    const int before = errno; // callers may log before they report a failure by errno
    va_list arguments;
    va_start(arguments, format);
    try {
        formatLine(level, module, before, format, arguments);
    } catch (const std::exception&) {
        writeError(currentTime(), level, module, "a line was lost: out of memory");
    }
    va_end(arguments);
    errno = before;
    return 0;
}

extern "C" int log_rlog(int code, ...) {
    va_list arguments;
    va_start(arguments, code);
    const char* destination = code == 0 ? va_arg(arguments, const char*) : nullptr;
    va_end(arguments);
    if (destination != nullptr)
        return mirlog_printf(PM_LEVEL_NOTICE, PM_MODULE_GENERAL,
                             "alert mail: relay run for %s is over", destination);
    if (code == 1 || code == 2)
        return mirlog_printf(PM_LEVEL_NOTICE, PM_MODULE_GENERAL, "Active Directory is %s",
                             code == 1 ? "enabled" : "not enabled");
    return mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_GENERAL, "log_rlog(): unknown code %d", code);
}

} // namespace pm::host
