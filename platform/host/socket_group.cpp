#include "platform/host/socket_group.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/client/printable.h"
#include "platform/host/root.h"
#include "platform/logging.h"

namespace pm::host {

namespace {

constexpr const char* VARIABLE = "PM_HOST_SOCKET_GROUP";

void refuse(const std::string& reason) {
    mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE,
                  "%s: %s; only pm's user and root can use the sockets", VARIABLE, reason.c_str());
}

// Returns 0 or an error number; ENOENT if the group does not exist.
int findGroup(const char* name, gid_t& id) {
    constexpr size_t MOST = size_t{1} << 20U; // bytes, for a group's members
    group entry{};
    group* found = nullptr;
    std::vector<char> room(4096);
    int error = 0;
    while ((error = getgrnam_r(name, &entry, room.data(), room.size(), &found)) == ERANGE &&
           room.size() < MOST)
        room.resize(room.size() * 4);
    if (found == nullptr)
        return error == 0 ? ENOENT : error;
    id = found->gr_gid;
    return 0;
}

bool openTo(gid_t id, const std::string& path, mode_t mode) {
    // The unit allows no chown, and none is needed in a service of that group.
    struct stat state {};
    if (::stat(path.c_str(), &state) == 0 &&
        (state.st_gid == id || ::chown(path.c_str(), static_cast<uid_t>(-1), id) == 0) &&
        ::chmod(path.c_str(), mode) == 0)
        return true;
    refuse(path + ": " + std::strerror(errno));
    return false;
}

} // namespace

void openSocketsToGroup() {
    const char* name = std::getenv(VARIABLE);
    if (name == nullptr || *name == '\0')
        return;
    gid_t id = 0;
    if (const int error = findGroup(name, id); error != 0)
        return refuse((error == ENOENT ? "there is no group \"" : "cannot look up the group \"") +
                      client::escapeControls(name) + '"');
    const std::string folder = hostPath("run/pm");
    // The folder comes last: until then nobody else can reach the sockets.
    if (openTo(id, folder + "/requests", 0660) && openTo(id, folder + "/events", 0660))
        openTo(id, folder, 0750);
}

} // namespace pm::host
