// The platform as the tests script it: every outside call of pm's operations is
// answered from, and noted in, the one script.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

using std::string;
using Lines = std::vector<string>;
template <typename... T>
using Rows = std::vector<std::tuple<T...>>;

struct Command {
    string line, inputPath, message, relay; // contents as they were at the run
};

struct Script {
    std::map<string, string> answers; // as change puts them, behind their sign
    std::vector<int> threadIds;       // answers of gettid, last one first
    int failingAllocation = 0;        // counts down; that one fails
    int failingCall = 0;              // the same for outside calls
    bool callFails = false;           // the one that is being answered
    bool holdThreads = false;         // a thread is noted, but not started
    std::function<void()> onRun;
    // What it saw; level and module are the first two words of a line of the log.
    Lines calls, log;
    Lines trace; // both, in order; calls are indented
    std::vector<Command> commands;
    bool detached = false, signalsOpen = false; // of the last thread
};
extern Script script;
extern std::recursive_mutex guard; // of the script
using Guard = std::lock_guard<std::recursive_mutex>;

// Steps between "|". Keys of the attribute stores begin with "@" for "Norvu.Embedded.1#".
// "key=text", "key:number", "key~text", "key%number", "key;text" and "key&text" (objects:
// string, integer, enum, other; "(null)" is no value), "!key" (can't be read), "call?result" and
// "call>step" (a call that begins so), "path^target" (a symbolic link), "limit=offset"
// (one write to a file fails there), "allocation=n" (the nth one fails). Texts are also
// "domain", "chassis", "hostname" (with its leading byte), "community", "guid", "servers"
// (families, such as "64") and "runs" (a digit for the result of each relay run, then 0).
void change(const string& steps);

// Notes a call, does what is to be done then, and gives its result.
int outcome(const string& call);
bool has(const string& signAndKey);
// Fills the buffer as the platform may: without a terminator where the text fills it,
// and with rubbish where the read fails.
bool giveText(const string& key, void* buffer, size_t size);
void* platformBlock(size_t size); // cleared, for pm to release; no test makes it fail
template <typename... Words>
string words(const Words&... all) {
    std::stringstream text;
    ((text << all << ' '), ...);
    return text.str().substr(0, text.str().size() - 1);
}
// An outside call that does no more than give a value.
#define ANSWER(type, name, parameters, ...)                                                        \
    type name parameters {                                                                         \
        return __VA_ARGS__;                                                                        \
    }

size_t liveBlocks(); // of the plain heap, taken since forgetBlocks() and not released
void forgetBlocks();
int exitStatusOf(const std::function<void()>& routine);
size_t countOf(const Lines& lines, const string& line);
size_t logged(const string& part);                           // lines that hold it
Lines startingWith(const Lines& lines, const string& start); // without it
string contentOf(const string& path);
Lines mailFiles(); // that are there, sorted

inline constexpr const char* MESSAGE_FILE = "/tmp/zorqemail.txt";
inline constexpr const char* RELAY_FILE = "/tmp/zorqemailconfig.txt";
inline const string DATE = "Date: Tue, 14 Nov 2023 22:13:20 +0100\n";

// Starts each test from sound settings, clean files and lowered flags.
class Scripted : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
    // For the next row of a table; the name goes into the trace.
    void restart(const string& steps, const string& name = "");

  private:
    std::unique_ptr<testing::ScopedTrace> m_trace;
};
