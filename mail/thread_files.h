// Names for the files of the generic mail's threads.
#pragma once

#include "common/text.h"

namespace pm {

inline constexpr const char* GENERIC_MESSAGE_PATH = "/tmp/zorqgenericemail";

// Reserves a file suffix for the thread: its id cut to five digits. Cut ids can collide;
// the later thread gets a free one with a leading zero, which no id has.
class ThreadText {
  public:
    explicit ThreadText(int threadId);
    ~ThreadText();
    ThreadText(const ThreadText&) = delete;
    ThreadText& operator=(const ThreadText&) = delete;

    const char* c_str() const { return m_text.c_str(); }
    const ThreadText* next() const { return m_next; }

  private:
    Text<6> m_text;
    ThreadText* m_next = nullptr; // in the list of all that are held
};

// Removes what a killed pm left behind, but for the relay configuration that all of its
// senders share: a thread's own one holds a password, and a relay that still runs would
// read on in the message of the next mail.
void removeLeftFiles();

} // namespace pm
