#include "mail/date.h"

#include <ctime>
#include <mutex>

namespace pm {

namespace {

// localtime_r never rereads a changed zone, so call tzset first; the lock serialises that.
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
