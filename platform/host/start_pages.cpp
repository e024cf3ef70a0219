#include "platform/host/start_pages.h"

#include <bit>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace pm::host {

namespace {

int giveBackObject(dl_phdr_info* object, size_t, void* pageSize) {
    const auto page = *static_cast<const ElfW(Addr)*>(pageSize);
    for (ElfW(Half) i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = object->dlpi_phdr[i];
        // Releasing a writable private page would lose its changes.
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0)
            continue;
        const ElfW(Addr) start = (object->dlpi_addr + segment.p_vaddr) & ~(page - 1);
        const ElfW(Addr) end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        madvise(std::bit_cast<void*>(start), end - start, MADV_DONTNEED);
    }
    return 0;
}

} // namespace

void giveBackStartPages() {
    auto pageSize = static_cast<ElfW(Addr)>(sysconf(_SC_PAGESIZE));
    dl_iterate_phdr(giveBackObject, &pageSize);
}

} // namespace pm::host
