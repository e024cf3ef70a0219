// The parsed command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace pm::ctl {

struct Options {
    std::string root;
    double timeout = 300; // seconds
    bool verbose = false;
    bool json = false;
    bool openmetrics = false;

    std::string name; // function, topic or key
    std::string value;
    std::string record; // file name
    std::string via;
    int32_t index = 0;

    std::string message;
    std::string attribute;
    std::optional<uint8_t> filterId;
    std::optional<uint16_t> type;
    std::optional<uint32_t> size;

    std::string to;
    std::string subject;
    std::string host;
    std::string body;
    std::string bodyFile;
    bool noWait = false;
    bool skipEmpty = false;

    int32_t lines = 0;
    bool follow = false;
    bool utc = false;
    bool cancel = false; // end a drain
    bool offline = false;
    std::string level;
    std::string since;

    std::string file; // to check, or to read a value from
};

} // namespace pm::ctl
