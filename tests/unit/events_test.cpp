// A platform event's way into the mails.
#include "core/events.h"
#include "mail_senders.h"

using namespace pm;

namespace {

class Events : public Scripted {};

TEST_F(Events, TextOfTheEventGoesOutToEachDestination) {
    EventRecord record = {{785, 3, {}}, {}};
    setField(record.payload.szMessage, "Fan 3 failed");
    change("runs=00011");
    EXPECT_EQ(-1, pmEventCallback(nullptr, "event_ipmi_pet", &record));
    ASSERT_EQ(5U, script.commands.size());
    EXPECT_NE(string::npos,
              script.commands.at(3).message.find("\n\nMessage: Body 4\nFan 3 failed\nTo launch"));
}

} // namespace
