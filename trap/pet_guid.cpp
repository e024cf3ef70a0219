#include "trap/pet_guid.h"

#include <cstring>

#include "common/owner.h"
#include "platform/logging.h"
#include "platform/system_info.h"

namespace pm {

namespace {

constexpr int GUID_TEXT_LENGTH = 36;

// Position of each byte's two digits in the text; hyphens are skipped.
constexpr uint8_t PAIR_OFFSETS[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

// Reads the system's GUID as text. Null if it is missing or empty.
HeapOwner<char> getSystemInfoData() {
    PM_LOG_WHOLE("[%d]: %s() enter\n");
    char* property = nullptr;
    if (HWI_SystemInfo_get_property("/com/braxel/norvu/hwi/system_embedded_1/HWI_SystemInfo",
                                    "smbiosGUID", &property) != 0) {
        PM_LOG("unable to get smbiosGUID\n");
        return nullptr;
    }
    const HeapOwner<char> owned(property);
    if (!owned || *owned == '\0')
        return nullptr;
    PM_LOG_WHOLE("[%d]: %s() smbiosGUID=[%s]\n", owned.get());
    return HeapOwner<char>(strdup(owned.get()));
}

// Sets nibble to the digit's value; any other character leaves it unchanged.
void readNibble(char digit, unsigned& nibble) {
    if (digit >= '0' && digit <= '9')
        nibble = static_cast<unsigned>(digit - '0');
    else if (digit >= 'a' && digit <= 'f')
        nibble = static_cast<unsigned>(digit - 'a' + 10);
    else if (digit >= 'A' && digit <= 'F')
        nibble = static_cast<unsigned>(digit - 'A' + 10);
}

} // namespace

bool petGetGUID(uint8_t (&guid)[16]) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    const HeapOwner<char> text = getSystemInfoData();
    if (!text)
        return false;
    PM_LOG_WHOLE("[%d]: %s smbiosGUID=[%s]\n", text.get());
    if (std::strlen(text.get()) != GUID_TEXT_LENGTH) {
        PM_LOG("error: string length of smbiosGUID is not = %d\n", GUID_TEXT_LENGTH);
        return false;
    }
    unsigned high = 0;
    unsigned low = 0;
    for (int i = 0; i < 16; ++i) {
        readNibble(text.get()[PAIR_OFFSETS[i]], high);
        readNibble(text.get()[PAIR_OFFSETS[i] + 1], low);
        guid[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

} // namespace pm
