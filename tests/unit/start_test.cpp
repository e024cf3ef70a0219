// Start-up: options, and the service thread.
#include <csignal>

#include "core/options.h"
#include "core/service_thread_start.h"
#include "platform/logging.h"
#include "scripted_platform.h"

using namespace pm;

namespace {

class Start : public Scripted {};

TEST_F(Start, TakesOptionsUpToAnUnknownOne) {
    const Rows<Lines, bool, int, int> cases = {
        // ..., trace, factory
        {{"pm"}, true, 0, 0},
        {{"pm", "-DEBUG"}, true, 1, 0},
        {{"pm", "-d", "-FactoryDefaults"}, true, 1, 1},
        {{"pm", "-fd", "-D", "-d"}, false, 0, 1},
        {{"pm", "-FD"}, false, 0, 0},
    };
    for (auto [arguments, good, trace, factory] : cases) {
        restart("", arguments.back());
        factoryDefaults = 0;
        std::vector<char*> argv;
        for (string& argument : arguments)
            argv.push_back(argument.data());
        testing::internal::CaptureStdout();
        EXPECT_EQ(good, parseOptions(static_cast<int>(argv.size()), argv.data()));
        EXPECT_EQ(good, testing::internal::GetCapturedStdout().find("Usage:") == string::npos);
        EXPECT_EQ(trace, g_bTrace);
        EXPECT_EQ(factory, factoryDefaults);
    }
}

TEST_F(Start, CreatesTheServiceThreadDetachedAndWithoutSignals) {
    const char* steps[] = {"thread attributes?11", "thread detached?11", "thread created?11"};
    const char* calls[] = {"attr_init", "setdetachstate", "create"};
    for (int i = 0; i < 3; ++i) {
        restart(steps[i]);
        EXPECT_EQ(-1 - i, create_PM_LQORN_thread());
        EXPECT_EQ(1U, logged(string("create_PM_LQORN_thread : pthread_") + calls[i] +
                             " failed :: Error Resource temporarily unavailable"));
    }
    restart("");
    script.holdThreads = true;
    EXPECT_EQ(0, create_PM_LQORN_thread());
    EXPECT_TRUE(script.detached);
    EXPECT_FALSE(script.signalsOpen) << "a signal would end the loop";
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(0, sigismember(&mask, SIGTERM)) << "the main thread takes the signals";
}

} // namespace
