#include "core/persistent_parameters.h"

#include <mutex>

#include "config/read.h"
#include "core/options.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* CONFIG_FILE = "/etc/pm.conf";

std::mutex configMutex;

struct SeededSetting {
    const char* key;
    const char* text;
};

constexpr SeededSetting seededSettings[] = {
    {"NVC/description", "This system component provides a complete set of remote management "
                        "functions for Braxel Vantline servers"},
    {"NVC/productinfo", "Norvu Controller 6"},
};

} // namespace

void initPersistentParameters() {
    vesk_init_config_from_file(CONFIG_FILE, factoryDefaults);
    const std::lock_guard<std::mutex> lock(configMutex);
    for (const SeededSetting& seeded : seededSettings) {
        Text<1024> present;
        if (readSetting(seeded.key, present) && factoryDefaults == 0)
            continue;
        if (!bit0(static_cast<unsigned>(vesk_config_set_str(seeded.key, seeded.text, 1))))
            PM_LOG("could not set string for %s\n", seeded.key);
    }
}

} // namespace pm
