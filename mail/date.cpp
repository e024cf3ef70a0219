#include "mail/date.h"

#include <ctime>
#include <mutex>

namespace pm {

namespace {

// localtime_r alone never looks again at a zone that has changed. The lock keeps one
// thread's look apart from another's.
bool localTime(tm& broken) {
    static std::mutex zoneLock;
    const std::lock_guard<std::mutex> lock(zoneLock);
    tzset();
    const time_t now = time(nullptr);
    return localtime_r(&now, &broken) != nullptr;
}

} // namespace

void formatDate(Text<32>& szDate) {
    szDate.clear();
    tm broken = {};
    if (!localTime(broken) ||
        std::strftime(szDate.data(), szDate.capacity(), "%a, %d %b %Y %T %z", &broken) == 0)
        szDate.clear();
}

} // namespace pm
