#include "platform/logging.h"
#include "trap/functions.h"
#include "trap/index_request.h"

namespace pm {

int32_t sendTestTrap(uint32_t request_size, void* request_data) {
    constexpr IndexRefusal REFUSAL = {"sendTestTrap", "SENDTESTTRAP_STATUS_INVALID_PARAMETER",
                                      SENDTESTTRAP_STATUS_INVALID_PARAMETER};
    int32_t index = 0;
    const int32_t refusal = takeTrapIndex(REFUSAL, request_size, request_data, index);
    if (refusal != 0)
        return refusal;
    const int32_t status =
        sendSNMPTestTrap(request_size, request_data) == 0 ? 0 : SENDTESTTRAP_STATUS_NOT_SENT;
    PM_LOG("[%d]: %s() - return code = %d\n", status);
    return status;
}

} // namespace pm
