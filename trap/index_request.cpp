#include "trap/index_request.h"

#include "common/records.h"
#include "platform/logging.h"

namespace {

constexpr int32_t TRAP_DESTINATIONS = 8;

} // namespace

int32_t takeTrapIndex(const IndexRefusal& refusal, uint32_t request_size, const void* request_data,
                      int32_t& index) {
    PM_LOG_AS(refusal.operation, "[%d]: %s()\n");
    if (request_data == nullptr) {
        PM_LOG_AS(refusal.operation, "[%d]: %s() - request_data is NULL, returning %s\n",
                  refusal.returning);
        return refusal.status;
    }
    if (request_size < sizeof(IndexRequest)) {
        PM_LOG_AS(refusal.operation,
                  "[%d]: %s() - request_size less than sizeof(unsigned char), returning %s\n",
                  refusal.returning);
        return refusal.status;
    }
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
