#include "platform/host/record.h"

#include <algorithm>
#include <cstring>

namespace pm::host {

using namespace client;

namespace {

struct RecordLength {
    std::string_view name;
    size_t length;
};

constexpr size_t SHORTEST_CHANGE = ATTRIBUTE_NAME_OFFSET + 1;

constexpr RecordLength requestLengths[] = {
    {"pm_function_sendEmailAlertsEx", sizeof(EmailAlertsExStruct)},
    {"pm_function_sendTestEmailEx", sizeof(IndexRequest)},
    {"pm_function_sendTestEmail", sizeof(TestEmailStruct)},
    {"pm_function_sendAlertEmail", sizeof(AlertEmailStruct)},
    {"pm_function_sendGenericEmail", sizeof(GenericEmailStruct)},
    {"pm_function_sendIPMITestTrap", sizeof(IndexRequest)},
    {"pm_function_sendSNMPTestTrap", sizeof(IndexRequest)},
    {"pm_function_sendTestTrap", sizeof(IndexRequest)},
};

} // namespace

size_t requestLength(std::string_view function) {
    const auto* row = std::ranges::find(requestLengths, function, &RecordLength::name);
    return row == std::end(requestLengths) ? 0 : row->length;
}

size_t notificationLength(std::string_view topic) {
    if (isAttributeChange(topic))
        return SHORTEST_CHANGE;
    return topic == "event_ipmi_pet" ? sizeof(EventRecord) : sizeof(NotificationHeader);
}

bool makeRecord(std::optional<Frame> payload, size_t length, bool terminated, Record& record) {
    record.size = payload ? static_cast<uint32_t>(payload->size()) : 0;
    if (!payload || (payload->size() >= length && !terminated)) {
        record.frame = std::move(payload); // nothing else uses the received frame
        return true;
    }
    Frame padded(std::max(payload->size(), length) + (terminated ? 1 : 0));
    if (!padded.valid())
        return false;
    std::fill_n(std::copy_n(payload->data(), payload->size(), padded.data()),
                padded.size() - payload->size(), '\0');
    record.frame = std::move(padded);
    return true;
}

bool nameIsInside(Record& record) {
    // If no byte of the offset was received, it is padded to 0, which is inside. If only a
    // part was received, the rest is 0, and the result is checked like any other.
    return !record.frame || record.size <= offsetof(AttributeChangeRecord, nameOffset) ||
           static_cast<const AttributeChangeRecord*>(record.data())->nameOffset < record.size;
}

Record attributeChangeRecord(std::string_view attribute) {
    Record record;
    Frame frame(ATTRIBUTE_NAME_OFFSET + attribute.size() + 1);
    if (!frame.valid())
        return record;
    std::memset(frame.data(), 0, frame.size());
    auto* change = reinterpret_cast<AttributeChangeRecord*>(frame.data());
    record.size = static_cast<uint32_t>(frame.size());
    change->Size = record.size;
    change->HeaderType = HEADER_TYPE_ATTRIBUTE_CHANGE;
    change->nameOffset = ATTRIBUTE_NAME_OFFSET;
    std::copy(attribute.begin(), attribute.end(), frame.data() + ATTRIBUTE_NAME_OFFSET);
    record.frame = std::move(frame);
    return record;
}

} // namespace pm::host
