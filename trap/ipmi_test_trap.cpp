#include "trap/ipmi_test_trap.h"

#include "common/owner.h"
#include "common/status.h"
#include "platform/logging.h"
#include "trap/functions.h"
#include "trap/pet.h"
#include "trap/send_trap.h"
#include "trap/trap_index.h"

namespace pm {

namespace {

constexpr std::string_view VARBIND_PREFIX = ".1.3.6.1.4.1.3183.1.1.1 x '";
static_assert(VARBIND_PREFIX.size() == 27);

} // namespace

uint64_t varBindTextSize(uint32_t length) {
    return 3 * uint64_t{length} + VARBIND_PREFIX.size() + 1;
}

bool composeVarBindText(VarBindText& text, const uint8_t* string, uint32_t length) {
    if (length == 0 || varBindTextSize(length) > VarBindText::capacity())
        return false;
    text.assign(VARBIND_PREFIX);
    for (uint32_t i = 0; i + 1 < length; ++i)
        text.append("%02x ", string[i]);
    text.append("%02x'", string[length - 1]);
    return true;
}

int32_t sendIPMITestTrap(uint32_t request_size, void* request_data) {
    int32_t index = 0;
    if (!takeTrapIndex(__func__, request_size, request_data, index))
        return VESK_ERROR_INVALID_PARAMETER;

    uint8_t* built = nullptr;
    uint32_t length = 0;
    const int32_t status = petConstructVarBind(&built, &length);
    HeapOwner<uint8_t> string(built);
    if (status != 0) {
        PM_LOG(
            "petConstructVarBind function failed with SM status = %d, returning VESK_ERROR_GENERAL\n",
            status);
        return VESK_ERROR_GENERAL;
    }
    VarBindText text;
    if (!composeVarBindText(text, string.get(), length)) {
        PM_LOG(
            "cannot convert varbind data into a string to be passed to snmptrap; because OID string plus data string will not fit in the given buffer; buffer size needed is %d bytes; returning VESK_ERROR_GENERAL\n",
            static_cast<int>(varBindTextSize(length)));
        return VESK_ERROR_GENERAL;
    }
    string.reset();
    return sendTrap(index, text);
}

} // namespace pm
