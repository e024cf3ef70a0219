#include "core/options.h"

#include <cstdio>
#include <cstring>
#include <strings.h>
#include <unistd.h>

#include "platform/logging.h"

namespace pm {

uint8_t factoryDefaults = 0;

namespace {

using Comparison = int (*)(const char*, const char*);

struct Option {
    const char* text;
    Comparison compare;
    uint8_t* flag;
};

constexpr Option options[] = {
    {"-debug", strcasecmp, &g_bTrace},
    {"-d", strcmp, &g_bTrace},
    {"-factorydefaults", strcasecmp, &factoryDefaults},
    {"-fd", strcmp, &factoryDefaults},
};

bool takeOption(const char* argument) {
    for (const Option& option : options) {
        if (option.compare(argument, option.text) == 0) {
            *option.flag = 1;
            return true;
        }
    }
    return false;
}

} // namespace

bool parseOptions(int argc, char** argv) {
    // Line-buffered, so that no line is lost if a signal ends the process.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    for (int n = 1; n < argc; ++n) {
        std::printf("argc:%d argv[n]:%s\n", n, argv[n]);
        if (takeOption(argv[n]))
            continue;
        std::printf("argc:%d %s unknown \n", argc, argv[n]);
        std::printf("Usage:\n");
        std::printf("      %s (%s) debug mode\n", "-debug", "-d");
        std::printf("      %s (%s) factory defaults\n", "-factorydefaults", "-fd");
        std::printf("\n");
        if (isatty(STDERR_FILENO) != 0)
            std::fputs("pm: pm(8) describes the options, pmctl talks to a running pm\n", stderr);
        return false;
    }
    return true;
}

} // namespace pm
