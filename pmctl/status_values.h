// The parsed reply to the verb "status".
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/client/wire.h"

namespace pm::ctl {

// "done", "failed", "running" and, for functions, "waiting".
using Counts = std::map<std::string, std::string>;
using CountTable = std::map<std::string, Counts>;

struct Status {
    std::map<std::string, std::string> values;
    CountTable functions;
    CountTable topics;

    std::string text(const char* what) const; // empty: unknown
    int64_t number(const char* what) const;
};

// Parses a reply: "function NAME done" is a count of that function; other fields are values.
Status sorted(const client::Reply& reply);

} // namespace pm::ctl
