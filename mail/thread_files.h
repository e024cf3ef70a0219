// File names of the threads that send generic mails.
#pragma once

#include "common/text.h"

namespace pm {

inline constexpr const char* GENERIC_MESSAGE_PATH = "/tmp/zorqgenericemail";

// Reserves a file suffix for the thread: its id cut to five digits. Cut ids can collide;
// the later thread gets a free one with a leading zero, which no id has, or waits for one.
class ThreadSuffix {
  public:
    explicit ThreadSuffix(int threadId);
    ~ThreadSuffix();
    ThreadSuffix(const ThreadSuffix&) = delete;
    ThreadSuffix& operator=(const ThreadSuffix&) = delete;

    const char* c_str() const { return m_text.c_str(); }
    const ThreadSuffix* next() const { return m_next; }

  private:
    Text<6> m_text;
    ThreadSuffix* m_next = nullptr; // the next one in the list of reserved suffixes
};

// Removes the files of a killed pm: messages, so that a relay that still runs does not
// read the next mail's text; and threads' relay configurations, which hold a password.
// Keeps the relay configuration that the senders share.
void removeLeftFiles();

} // namespace pm
