#include "pmctl/status_values.h"

#include <cstdlib>

namespace pm::ctl {

std::string Status::text(const char* what) const {
    const auto found = values.find(what);
    return found == values.end() ? "" : found->second;
}

int64_t Status::number(const char* what) const {
    return std::strtoll(text(what).c_str(), nullptr, 10);
}

Status sorted(const client::Reply& reply) {
    Status status;
    for (size_t at = 0; at + 1 < reply.fields.size(); at += 2) {
        const std::string& what = reply.fields[at];
        const std::string& value = reply.fields[at + 1];
        const size_t kind = what.find(' ');
        const size_t count = what.rfind(' ');
        if (kind == count) {
            status.values[what] = value;
            continue;
        }
        CountTable& table = what.starts_with("function ") ? status.functions : status.topics;
        table[what.substr(kind + 1, count - kind - 1)][what.substr(count + 1)] = value;
    }
    return status;
}

} // namespace pm::ctl
