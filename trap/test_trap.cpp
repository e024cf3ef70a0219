#include "common/records.h"
#include "platform/logging.h"
#include "trap/functions.h"
#include "trap/trap_index.h"

namespace pm {

int32_t sendTestTrap(uint32_t request_size, void* request_data) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    if (request_data == nullptr) {
        PM_LOG("request_data is NULL, returning SENDTESTTRAP_STATUS_INVALID_PARAMETER\n");
        return SENDTESTTRAP_STATUS_INVALID_PARAMETER;
    }
    if (request_size < sizeof(IndexRequest)) {
        PM_LOG(
            "request_size less than sizeof(unsigned char), returning SENDTESTTRAP_STATUS_INVALID_PARAMETER\n");
        return SENDTESTTRAP_STATUS_INVALID_PARAMETER;
    }
    const int32_t index = static_cast<const IndexRequest*>(request_data)->index;
    PM_LOG("index = %d\n", index);
    if (index < 1 || index > TRAP_DESTINATIONS) {
        PM_LOG(
            "index value of %d is out of range, returning SENDTESTTRAP_STATUS_INVALID_PARAMETER\n",
            index);
        return SENDTESTTRAP_STATUS_INVALID_PARAMETER;
    }
    const int32_t status =
        sendSNMPTestTrap(request_size, request_data) == 0 ? 0 : SENDTESTTRAP_STATUS_NOT_SENT;
    PM_LOG("return code = %d\n", status);
    return status;
}

} // namespace pm
