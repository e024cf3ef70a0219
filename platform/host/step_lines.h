// What pm's operations tell in their log lines: how a mail ended, and why a step
// failed. The lines are all that they tell of it beside a status.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pm::host {

enum class Told : uint8_t {
    Nothing,
    Server,        // text: the mail server that is looked up
    Reason,        // text: why the operation cannot succeed
    Answer,        // text: the same, unless a reason is known already
    FailedMail,    // text: its destination; status
    GenericMail,   // a generic mail gets a thread
    GenericThread, // the line is that thread's first
    GenericError,  // text: why it has none
};

struct StepLine {
    Told told = Told::Nothing;
    std::string text;
    int32_t status = 0;
};

// line: as logged. error: errno of the moment, which is that of a file's failure.
StepLine readStepLine(std::string_view line, int error);

} // namespace pm::host
