#include "core/config_subscription.h"
#include "core/descriptors.h"
#include "core/options.h"
#include "core/persistent_parameters.h"
#include "core/service_thread_start.h"
#include "core/signals.h"
#include "platform/logging.h"

using namespace pm;

int main(int argc, char** argv) {
    fillStandardDescriptors();
    raiseDescriptorLimit();
    if (!parseOptions(argc, argv))
        return 1;
    installSignalHandler();
    const int32_t status = create_PM_LQORN_thread();
    if (status != 0) {
        // Without this thread pm would run but serve nothing.
        mirlog_printf(PM_LEVEL_FATAL, PM_MODULE_SERVICE,
                      "main: the service thread could not be started, status = %d. Exiting!!",
                      status);
        return 1;
    }
    initPersistentParameters();
    subscribeConfigNotificationsRetry();
    sleepForever();
}
