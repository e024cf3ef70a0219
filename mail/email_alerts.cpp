#include "mail/email_alerts.h"

#include "common/records.h"
#include "config/read.h"
#include "mail/alert_destination.h"
#include "mail/send_email.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "sendEmailAlerts";

struct ConfiguredAlert {
    Text<255> destination;
    Text<255> subject;
    Text<255> body;
};

bool getEmailNotifyBody(const AlertDestination& keys, Text<255>& body) {
    if (readSetting(keys.bodyKey, body))
        return true;
    PM_LOG("could not get email body for index %d\n", keys.number);
    return false;
}

bool readAlert(const AlertDestination& keys, ConfiguredAlert& alert) {
    if (readDestinationSwitch(OPERATION, keys) != SwitchState::On)
        return false;
    const bool subjectRead = readSetting(keys.subjectKey, alert.subject);
    const bool destinationRead = readSetting(keys.destinationKey, alert.destination);
    if (!subjectRead || !destinationRead || !getEmailNotifyBody(keys, alert.body)) {
        PM_LOG_AS(OPERATION, "could not get email subject %d or email destination %d\n",
                  keys.number, keys.number);
        return false;
    }
    if (alert.destination.empty()) {
        PM_LOG_AS(OPERATION, "destination %d zero length string, can't send mail\n", keys.number);
        return false;
    }
    return true;
}

} // namespace

int32_t sendEmailAlerts(const EventPayload& event) {
    PM_LOG_WHOLE("[%d]:  Entering %s()\n");
    PM_LOG("sending email alerts for filter ID: %d\n", int{event.filterId});
    const std::string_view message = fieldText(event.szMessage, sizeof event.szMessage);

    int32_t status = 0;
    for (const AlertDestination& keys : alertDestinations) {
        ConfiguredAlert alert;
        if (!readAlert(keys, alert))
            continue;
        Text<1020> body;
        body.format("Message: %s\n%.*s", alert.body.c_str(), static_cast<int>(message.size()),
                    message.data());
        status = sendEmail(alert.destination.c_str(), alert.subject.c_str(), body.c_str());
    }
    PM_LOG_WHOLE("[%d]:  Exiting %s()\n");
    return status;
}

} // namespace pm
