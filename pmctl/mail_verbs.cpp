// alert, test-mail, test-message, alert-mail, mail.
#include <cstdint>
#include <cstdio>
#include <optional>

#include "common/records.h"
#include "pmctl/checks.h"
#include "pmctl/exchange.h"
#include "pmctl/input.h"
#include "pmctl/text_limits.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

// pm cuts a header line of a generic mail at 254 bytes, with its line feed.
constexpr size_t LINE_LIMIT = 254;
constexpr size_t GENERIC_TO_LIMIT = LINE_LIMIT - sizeof "To: ";
constexpr size_t GENERIC_SUBJECT_LIMIT = LINE_LIMIT - sizeof "Subject: ";
static_assert(GENERIC_TO_LIMIT == 249 && GENERIC_SUBJECT_LIMIT == 244);

void declareBody(CLI::App& verb, Options& options) {
    auto* body = verb.add_option_group("Body", "The mail's text");
    body->add_option("--body", options.body, "Text");
    body->add_option("--body-file", options.bodyFile, "File with the text; - for standard input");
    body->require_option(1);
    verb.add_flag("--skip-empty", options.skipEmpty, "Send nothing if the text is empty");
}

// Reads the body. Returns an exit status if nothing is to be sent: on failure, or if empty.
std::optional<int> readBodyOrStop(const Options& options, std::string& body) {
    if (!readBody(options, body))
        return EXIT_WRONG_USE;
    return options.skipEmpty && body.empty() ? std::optional<int>(EXIT_DONE) : std::nullopt;
}

void declareTestMail(CLI::App& verb, Options& options) {
    declareIndex(verb, options, "Mail destination", MAIL_DESTINATIONS);
}

void declareAlert(CLI::App& verb, Options& options) {
    verb.add_option("--subject", options.subject, "Subject")->required();
    verb.add_option("--host", options.host, "Host name, printed before the subject");
    declareBody(verb, options);
}

void declareAlertMail(CLI::App& verb, Options& options) {
    declareIndex(verb, options, "Mail destination", MAIL_DESTINATIONS);
    declareBody(verb, options);
}

void declareMessage(CLI::App& verb, Options& options) {
    verb.add_option("--to", options.to, "Recipient's address")->required();
    verb.add_option("--subject", options.subject, "Subject")->required();
    declareBody(verb, options);
}

void declareMail(CLI::App& verb, Options& options) {
    declareMessage(verb, options);
    verb.add_flag("--no-wait", options.noWait, "Do not wait for the result");
}

int alert(const Options& options) {
    EmailAlertsExStruct record{};
    std::string body;
    if (const auto end = readBodyOrStop(options, body))
        return *end;
    if (!putText(record.szHostName, options.host, "host name") ||
        !putText(record.szSubject, options.subject, "subject") ||
        !putText(record.szBodyText, body, "body") || !fitsWithLinks(options, body) ||
        !subjectFits(options))
        return EXIT_WRONG_USE;
    return reportNoDestination(options,
                               callFunctionWith(options, "pm_function_sendEmailAlertsEx", record));
}

int testMail(const Options& options) {
    const IndexRequest record = {static_cast<uint8_t>(options.index)};
    const int status = callFunctionWith(options, "pm_function_sendTestEmailEx", record);
    const std::string key = "pm_str_email_alert" + std::to_string(options.index) + "_destination";
    if (status == EXIT_DONE)
        std::printf("the mail server %s took the test mail for %s\n",
                    valueOf(options, std::string(SERVER_KEY)).c_str(),
                    valueOf(options, key).c_str());
    return status;
}

int testMessage(const Options& options) {
    TestEmailStruct record{};
    std::string body;
    if (const auto end = readBodyOrStop(options, body))
        return *end;
    if (!putText(record.szTo, options.to, "recipient") ||
        !putText(record.szSubject, options.subject, "subject") ||
        !putText(record.szBody, body, "body") || !fitsWithFooter(options, body))
        return EXIT_WRONG_USE;
    return callFunctionWith(options, "pm_function_sendTestEmail", record);
}

int alertMail(const Options& options) {
    AlertEmailStruct record{};
    std::string body;
    record.index = options.index;
    if (const auto end = readBodyOrStop(options, body))
        return *end;
    if (!putText(record.szBody, body, "body") || !fitsWithFooter(options, body))
        return EXIT_WRONG_USE;
    return callFunctionWith(options, "pm_function_sendAlertEmail", record);
}

int mail(const Options& options) {
    GenericEmailStruct head{};
    std::string body;
    head.blocking = options.noWait ? 0 : 1;
    if (const auto end = readBodyOrStop(options, body))
        return *end;
    if (!fits(body, MESSAGE_LIMIT, "body") ||
        !putText(head.szTo, options.to, "recipient", GENERIC_TO_LIMIT) ||
        !putText(head.szSubject, options.subject, "subject", GENERIC_SUBJECT_LIMIT))
        return EXIT_WRONG_USE;
    // Insert the head before the body, which may be large; append the terminator.
    body.insert(0, reinterpret_cast<const char*>(&head), sizeof head).push_back('\0');
    return callFunction(options, "pm_function_sendGenericEmail", body);
}

} // namespace

std::span<const Verb> mailVerbs() {
    static constexpr Verb verbs[] = {
        {"alert", "Mails an alert to all enabled destinations",
         "  pmctl alert --subject 'Disk full' --body 'Volume 2 has no room left'\n"
         "  pmctl alert --subject 'Disk full' --body-file report.txt --host server12",
         declareAlert, alert},
        {"test-mail", "Sends the fixed test mail to a destination", "  pmctl test-mail 1",
         declareTestMail, testMail},
        {"test-message", "Sends a test mail with your own text",
         "  pmctl test-message --to ops@example.com --subject Test --body 'Does this arrive?'",
         declareMessage, testMessage},
        {"alert-mail", "Mails a text to a destination, with the destination's subject",
         "  pmctl alert-mail 2 --body 'Fan 3 failed'", declareAlertMail, alertMail},
        {"mail", "Sends a mail of any length",
         "  pmctl mail --to ops@example.com --subject Log --body-file -  < log.txt\n"
         "  pmctl mail --to ops@example.com --subject Log --body-file log.txt --no-wait\n"
         "  backup 2>&1 | pmctl mail --to ops@example.com --subject Backup --body-file - --skip-empty",
         declareMail, mail},
    };
    return verbs;
}

} // namespace pm::ctl
