// The mails that pm has taken and not yet finished.
#pragma once

#include <atomic>

namespace pm {

// Read by the signal handler.
inline std::atomic<unsigned> mailsUnderWay{0};
static_assert(std::atomic<unsigned>::is_always_lock_free);

// Counts a mail for the object's lifetime.
class MailUnderWay {
  public:
    MailUnderWay() { ++mailsUnderWay; }
    ~MailUnderWay() { --mailsUnderWay; }
    MailUnderWay(const MailUnderWay&) = delete;
    MailUnderWay& operator=(const MailUnderWay&) = delete;
};

} // namespace pm
