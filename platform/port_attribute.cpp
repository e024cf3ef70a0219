#include "platform/port_attribute.h"

#include "common/text.h"
#include "platform/attribute_object.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr int32_t MAX_PORT = 65535;

} // namespace

bool readPortAttribute(const char* key, const PortWords& words, int32_t& port) {
    PM_LOG_AS(words.operation, "[%d]: %s()\n");
    Text<64> text;
    const int32_t status = getAttributeObjectByKeyDbus(key, text.data(), int{Text<64>::capacity()});
    if (status != 0) {
        PM_LOG_AS(words.operation,
                  "[%d]: %s() - failed to get %s key , with status %d returning false\n",
                  words.unreadable, status);
        return false;
    }
    if (text.empty()) {
        PM_LOG_AS(words.operation,
                  "[%d]: %s() - empty %s string obtained using DM object key , returning false\n",
                  words.empty);
        return false;
    }
    PM_LOG_AS(words.operation, "[%d]: %s() %s number string  = %s\n", words.number, text.c_str());
    const int32_t number = parseNumber(text.c_str());
    PM_LOG_AS(words.operation, "[%d]: %s() %s number = %d\n", words.number, number);
    if (number < 1 || number > MAX_PORT) {
        PM_LOG_AS(words.operation, "[%d]: %s() - invalid %s , returning false\n", words.number);
        return false;
    }
    port = number;
    return true;
}

} // namespace pm
