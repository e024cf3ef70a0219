#include "pmctl/input.h"

#include <cerrno>
#include <cstdio>

#include "common/owner.h"
#include "platform/client/wire.h"
#include "pmctl/output.h"

namespace pm::ctl {

using namespace client;

bool readInput(const std::string& file, std::string& content) {
    const FileOwner opened(file == "-" ? nullptr : std::fopen(file.c_str(), "rb"));
    std::FILE* input = file == "-" ? stdin : opened.get();
    size_t got = 0;
    char part[16384];
    while (input != nullptr && content.size() <= MESSAGE_LIMIT &&
           (got = std::fread(part, 1, sizeof part, input)) > 0)
        content.append(part, got);
    if (input == nullptr || std::ferror(input) != 0) {
        complain("%s: %s", file.c_str(), std::strerror(errno));
        return false;
    }
    if (content.size() <= MESSAGE_LIMIT)
        return true;
    complain("%s: has more than 64 MiB", file.c_str());
    return false;
}

bool readBody(const Options& options, std::string& body) {
    if (options.bodyFile.empty())
        body = options.body;
    return options.bodyFile.empty() || readInput(options.bodyFile, body);
}

bool fits(std::string_view text, size_t limit, const char* what) {
    if (text.size() > limit)
        complain("the %s has %zu bytes; at most %zu are allowed", what, text.size(), limit);
    else if (text.find('\0') != std::string_view::npos)
        complain("the %s has a zero byte, which would end it", what);
    else
        return true;
    return false;
}

} // namespace pm::ctl
