#include "platform/host/mail_lines.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

#include "platform/client/fd.h"
#include "platform/host/step_lines.h"
#include "platform/logging.h"

namespace pm::host {

namespace {

constexpr std::string_view MAIL_TO = "mail to \"";
constexpr std::string_view TAKEN = "\" was taken by the mail server";
constexpr const char* MAIL_FAILED = "MESSAGE_ID=ce837b7bd1154221bec0ff5e2d5f604c";

struct Explained {
    std::string_view start;
    const char* id;
};
constexpr Explained explained[] = {
    {"command failed: ", "MESSAGE_ID=18654c1a572a4fdaa16f18070a721b68"},
    {"pm cannot run: ", "MESSAGE_ID=a72d9aab371c4886875571843afb9768"},
};

// Returns the recipient in a mail's To header, which is one of its first four lines.
std::string receiverIn(const char* path) {
    constexpr size_t HEAD = 4096;
    const client::Fd file(::open(path, O_RDONLY | O_CLOEXEC));
    std::string head(HEAD, '\0');
    const ssize_t got = file.valid() ? ::read(file.get(), head.data(), head.size()) : 0;
    head.resize(got > 0 ? static_cast<size_t>(got) : 0);
    constexpr std::string_view LABEL = "\nTo: ";
    const size_t label = head.find(LABEL);
    if (label == std::string::npos || label > head.find("\n\n"))
        return {};
    const size_t start = label + LABEL.size();
    return head.substr(start, head.find('\n', start) - start);
}

} // namespace

void logMailTaken(std::string_view program, const char* messagePath) {
    if (program.substr(program.rfind('/') + 1) == "msmtp" && messagePath != nullptr)
        mirlog_printf(PM_LEVEL_NOTICE, PM_MODULE_SERVICE,
                      "mail to \"%s\" was taken by the mail server",
                      receiverIn(messagePath).c_str());
}

std::vector<std::string> journalFields(std::string_view line) {
    if (line.size() >= MAIL_TO.size() + TAKEN.size() && line.starts_with(MAIL_TO) &&
        line.ends_with(TAKEN)) {
        line = line.substr(MAIL_TO.size(), line.size() - MAIL_TO.size() - TAKEN.size());
        return {"PM_DESTINATION=" + std::string(line), "PM_STATUS=0"};
    }
    const auto* row = std::ranges::find_if(
        explained, [&](const Explained& each) { return line.starts_with(each.start); });
    if (row != std::end(explained))
        return {row->id};
    const StepLine step = readStepLine(line, 0);
    if (step.kind != LineKind::FailedMail)
        return {};
    return {MAIL_FAILED, "PM_DESTINATION=" + step.text, "PM_STATUS=" + std::to_string(step.status)};
}

} // namespace pm::host
