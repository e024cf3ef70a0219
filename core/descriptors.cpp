#include "core/descriptors.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace pm {

void fillStandardDescriptors() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/dev/null", O_RDWR);
    if (fd >= 0)
        close(fd);
}

void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit); // if it fails, pm runs with the lower limit
}

} // namespace pm
