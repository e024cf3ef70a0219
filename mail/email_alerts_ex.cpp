#include <sys/types.h>

#include "common/records.h"
#include "mail/alert_destination.h"
#include "mail/domain_literal.h"
#include "mail/domain_name.h"
#include "mail/functions.h"
#include "mail/hostname.h"
#include "mail/send_email.h"
#include "mail/server_address.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "sendEmailAlertsEx";

// Copies of the request's texts, always terminated.
struct AlertTexts {
    Text<256> szHostName;
    Text<256> szSubject;
    Text<2041> szBodyText;
};

// Checks the request and copies its texts. Returns 0, or the status for a bad request.
int32_t takeRequest(uint32_t request_size, const void* request_data, AlertTexts& texts) {
    if (request_data == nullptr) {
        PM_LOG_AS(OPERATION, "request_data is NULL, returning VESK_ERROR_INVALID_PARAMETER\n");
        return VESK_ERROR_INVALID_PARAMETER;
    }
    if (request_size < sizeof(EmailAlertsExStruct)) {
        PM_LOG_AS(
            OPERATION,
            "request_size less than sizeof(EmailAlertsExStruct), returning VESK_ERROR_INVALID_PARAMETER\n");
        return VESK_ERROR_INVALID_PARAMETER;
    }
    const auto* request = static_cast<const EmailAlertsExStruct*>(request_data);
    texts.szHostName.assign(fieldText(request->szHostName, sizeof request->szHostName));
    texts.szSubject.assign(fieldText(request->szSubject, sizeof request->szSubject));
    texts.szBodyText.assign(fieldText(request->szBodyText, sizeof request->szBodyText));
    if (texts.szSubject.empty()) {
        PM_LOG_AS(OPERATION,
                  "szSubject string is zero length, returning VESK_ERROR_INVALID_PARAMETER\n");
        return VESK_ERROR_INVALID_PARAMETER;
    }
    if (texts.szBodyText.empty()) {
        PM_LOG_AS(OPERATION,
                  "szBodyText string is zero length, returning VESK_ERROR_INVALID_PARAMETER\n");
        return VESK_ERROR_INVALID_PARAMETER;
    }
    return 0;
}

void getMessagePrefix(Text<33>& prefix) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    if (!readAttribute("Norvu.Embedded.1#Remotehosts.1#MessageSubjectPrefix", prefix))
        PM_LOG("failed to get MessageSubjectPrefix using DM object key\n");
    else if (prefix.empty())
        PM_LOG("empty MessageSubjectPrefix string obtained using DM object key\n");
}

// Reads the system's domain name, or the controller's address if no name is set. False
// if the address is not available either.
bool lookUpDomain(Text<255>& szDomainName, const char* szServerAddress) {
    readDomainName(szDomainName);
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()-domainname: %s strlen(szDomainName):%zd\n",
                    szDomainName.c_str(), static_cast<ssize_t>(szDomainName.length()));
    return !isNoDomainName(szDomainName) || getDomainLiteral(szDomainName, szServerAddress) >= 0;
}

bool composeSubject(Text<255>& subject, const AlertTexts& texts, const char* szServerAddress) {
    Text<33> prefix;
    getMessagePrefix(prefix);
    const char* host = texts.szHostName.c_str();
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s() msgPrefix = %s\n", prefix.c_str());
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s() pEmailAlertData->szHostName = %s\n", host);

    int length = 0;
    if (prefix.empty() && texts.szHostName.empty()) {
        length = subject.format("%s", texts.szSubject.c_str());
    } else if (prefix.empty()) {
        length = subject.format("%s: %s", host, texts.szSubject.c_str());
    } else if (!texts.szHostName.empty()) {
        length = subject.format("%s %s: %s", prefix.c_str(), host, texts.szSubject.c_str());
    } else {
        Text<255> szDomainName;
        Text<255> szHostname;
        if (!lookUpDomain(szDomainName, szServerAddress))
            return false;
        GetHostname(szHostname);
        length = subject.format("%s %s.%s: %s", prefix.c_str(), szHostname.c_str(),
                                szDomainName.c_str(), texts.szSubject.c_str());
    }
    if (length >= int{Text<255>::capacity()})
        PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s() Could not write entirety to szSubject\n");
    return true;
}

// Sends the alert to one destination. False if that failed; a destination that is
// disabled, empty or without a domain is skipped, which is not a failure.
bool mailAlertTo(const AlertDestination& keys, const AlertTexts& texts,
                 const char* szServerAddress) {
    const SwitchState enabled = readDestinationSwitch(OPERATION, keys);
    if (enabled != SwitchState::On)
        return enabled == SwitchState::Off;
    Text<255> destination;
    if (!readSetting(keys.destinationKey, destination)) {
        PM_LOG_AS(OPERATION, "could not get email destination %d\n", keys.number);
        return false;
    }
    if (destination.empty()) {
        PM_LOG_AS(OPERATION, "destination %d is zero length string, can't send mail\n",
                  keys.number);
        return true;
    }
    PM_LOG_AS(OPERATION, "sending email to destination %d\n", keys.number);
    Text<255> subject;
    if (!composeSubject(subject, texts, szServerAddress))
        return true;
    return sendEmail(destination.c_str(), subject.c_str(), texts.szBodyText.c_str()) == 0;
}

} // namespace

int32_t sendEmailAlertsEx(uint32_t request_size, void* request_data) {
    PM_LOG_WHOLE("[%d]:  Entering %s()\n");
    Text<255> szServerAddress;
    if (!readUsableServerAddress(__func__, szServerAddress))
        return VESK_ERROR_GENERAL;
    AlertTexts texts;
    const int32_t refusal = takeRequest(request_size, request_data, texts);
    if (refusal != 0)
        return refusal;

    int32_t status = 0;
    for (const AlertDestination& keys : alertDestinations) {
        if (!mailAlertTo(keys, texts, szServerAddress.c_str()))
            status = VESK_ERROR_GENERAL;
    }
    PM_LOG_WHOLE("[%d]:  Exiting %s()\n");
    return status;
}

} // namespace pm
