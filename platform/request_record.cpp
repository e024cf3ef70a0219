#include "platform/request_record.h"

#include "platform/logging.h"

namespace pm {

bool isWholeRequest(const RequestWords& words, uint32_t request_size, const void* request_data,
                    uint32_t smallest) {
    if (request_data == nullptr) {
        PM_LOG_AS(words.operation, "[%d]: %s() - request_data is NULL, returning %s\n",
                  words.returning);
        return false;
    }
    if (request_size < smallest) {
        PM_LOG_AS(words.operation, "[%d]: %s() - request_size less than sizeof(%s), returning %s\n",
                  words.type, words.returning);
        return false;
    }
    return true;
}

} // namespace pm
