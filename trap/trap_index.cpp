#include "trap/trap_index.h"

#include "common/records.h"
#include "platform/logging.h"

namespace pm {

bool takeTrapIndex(const char* operation, uint32_t request_size, const void* request_data,
                   int32_t& index) {
    PM_LOG_WHOLE_AS(operation, "[%d]: %s()\n");
    if (request_data == nullptr) {
        PM_LOG_AS(operation, "request_data is NULL, returning VESK_ERROR_INVALID_PARAMETER\n");
        return false;
    }
    if (request_size < sizeof(IndexRequest)) {
        PM_LOG_AS(
            operation,
            "request_size less than sizeof(unsigned char), returning VESK_ERROR_INVALID_PARAMETER\n");
        return false;
    }
    index = static_cast<const IndexRequest*>(request_data)->index;
    PM_LOG_AS(operation, "index = %d\n", index);
    if (index < 1 || index > TRAP_DESTINATIONS) {
        PM_LOG_AS(operation,
                  "index value of %d is out of range, returning VESK_ERROR_INVALID_PARAMETER\n",
                  index);
        return false;
    }
    return true;
}

} // namespace pm
