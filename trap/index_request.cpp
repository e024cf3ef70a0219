#include "trap/index_request.h"

#include "common/records.h"
#include "platform/logging.h"
#include "platform/request_record.h"

namespace pm {

namespace {

constexpr int32_t TRAP_DESTINATIONS = 8;

} // namespace

int32_t takeTrapIndex(const IndexRefusal& refusal, uint32_t request_size, const void* request_data,
                      int32_t& index) {
    PM_LOG_AS(refusal.operation, "[%d]: %s()\n");
    const RequestWords words = {refusal.operation, "unsigned char", refusal.returning};
    if (!isWholeRequest(words, request_size, request_data, sizeof(IndexRequest)))
        return refusal.status;
    index = static_cast<const IndexRequest*>(request_data)->index;
    PM_LOG_AS(refusal.operation, "[%d]: %s() - index = %d\n", index);
    if (index < 1 || index > TRAP_DESTINATIONS) {
        PM_LOG_AS(refusal.operation,
                  "[%d]: %s() - index value of %d is out of range, returning %s\n", index,
                  refusal.returning);
        return refusal.status;
    }
    return 0;
}

} // namespace pm
