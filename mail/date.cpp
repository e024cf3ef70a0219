#include <ctime>

#include "mail/identity.h"

void formatDate(Text<32>& szDate) {
    szDate.clear();
    tzset(); // localtime_r alone never looks again at a zone that has changed
    const time_t now = time(nullptr);
    struct tm broken = {};
    if (localtime_r(&now, &broken) == nullptr ||
        std::strftime(szDate.data(), szDate.capacity(), "%a, %d %b %Y %T %z", &broken) == 0)
        szDate.clear();
}
