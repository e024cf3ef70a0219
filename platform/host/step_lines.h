// Reads log lines of pm's operations for the result of a mail and the reason of a failed
// step. Apart from a status, the operations report these nowhere else.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pm::host {

enum class LineKind : uint8_t {
    Nothing,
    Server,        // text: the mail server to look up
    Reason,        // text: why the operation cannot succeed
    Incomplete,    // text: why the message could not be written; it may be sent nevertheless
    Answer,        // text: the same, used only if no reason is known yet
    FailedMail,    // text: the destination; status is set
    GenericMail,   // a thread for a generic mail is about to start
    GenericThread, // the first line of that thread
    GenericError,  // text: why that thread could not start
};

struct StepLine {
    LineKind kind = LineKind::Nothing;
    std::string text;
    int32_t status = 0;
};

// line: as logged. error: errno when it was logged, for a failure to open a file.
StepLine readStepLine(std::string_view line, int error);

} // namespace pm::host
