#include "common/records.h"
#include "mail/alert_destination.h"
#include "mail/date.h"
#include "mail/functions.h"
#include "mail/hostname.h"
#include "mail/send_email.h"
#include "mail/server_address.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "sendTestEmailEx";
constexpr uint32_t READ_LIMIT = 255;

// Checks the request and reads its index. Returns 0, or the status for a bad request.
int32_t takeIndex(uint32_t request_size, const void* request_data, int32_t& index) {
    if (request_data == nullptr) {
        PM_LOG_AS(OPERATION, "request_data is NULL, returning VESK_ERROR_INVALID_PARAMETER\n");
        return VESK_ERROR_INVALID_PARAMETER;
    }
    if (request_size < sizeof(IndexRequest)) {
        PM_LOG_AS(
            OPERATION,
            "request_size less than sizeof(unsigned char), returning VESK_ERROR_INVALID_PARAMETER\n");
        return VESK_ERROR_INVALID_PARAMETER;
    }
    index = static_cast<const IndexRequest*>(request_data)->index;
    PM_LOG_AS(OPERATION, "index = %d\n", index);
    if (index > ALERT_DESTINATIONS) {
        PM_LOG_AS(
            OPERATION,
            "index value of %d is greater than max of %d, returning VESK_ERROR_INVALID_PARAMETER\n",
            index, ALERT_DESTINATIONS);
        return VESK_ERROR_INVALID_PARAMETER;
    }
    return 0;
}

void composeBody(Text<2040>& body, const AlertDestination& keys) {
    Text<32> szDate;
    formatDate(szDate);
    // A message that cannot be read counts as empty.
    Text<64> custom;
    readSetting(keys.bodyKey, custom);
    if (custom.empty()) {
        PM_LOG_LINE("Custom Alert Message is not available for index[%d] \n", keys.number);
        body.format("Event Message: Test email to user.\nSeverity: Informational\nDate/Time: %s\n",
                    szDate.c_str());
        return;
    }
    PM_LOG_LINE("Custom Alert Message is available for index[%d] \n", keys.number);
    body.format("Message: %s\nEvent Message: Test email to user.\nSeverity: Informational\n"
                "Date/Time: %s\n",
                custom.c_str(), szDate.c_str());
}

} // namespace

int32_t sendTestEmailEx(uint32_t request_size, void* request_data) {
    PM_LOG_WHOLE("[%d]: Entering `%s'\n");
    // The server address is checked before the request.
    Text<256> szServerAddress;
    if (!readUsableServerAddress(__func__, szServerAddress))
        return VESK_ERROR_GENERAL;
    int32_t index = 0;
    const int32_t refusal = takeIndex(request_size, request_data, index);
    if (refusal != 0)
        return refusal;

    const AlertDestination* keys = findAlertDestination(index);
    Text<256> destination;
    if (keys == nullptr || !readSetting(keys->destinationKey, destination, READ_LIMIT) ||
        destination.empty()) {
        PM_LOG("either could not get email destination %d, or destination string is zero length\n",
               index);
        return VESK_ERROR_GENERAL;
    }
    Text<255> szHostname;
    GetHostname(szHostname);
    Text<319> subject;
    subject.format("%s %s", "Test email alert from", szHostname.c_str());
    Text<2040> body;
    composeBody(body, *keys);
    const int32_t status = sendEmail(destination.c_str(), subject.c_str(), body.c_str());
    PM_LOG_WHOLE("[%d]:  Exiting %s()\n");
    return status;
}

} // namespace pm
