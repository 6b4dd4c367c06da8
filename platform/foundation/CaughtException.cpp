#include "platform/foundation/CaughtException.h"

#include "BRAQAudio/platform/foundation/NSLog.h"

#include <exception>
#include <string>

namespace braq {
namespace {

std::string textOfCaughtException() {
    try {
        throw;
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "something that is no std::exception was thrown";
    }
}

} // namespace

void logCaughtException(const char* where) noexcept {
    try {
        NSLog(std::string("(ERROR) ") + where + " : " + textOfCaughtException());
    } catch (...) {
        // Out of memory for a log line: nothing can be reported.
    }
}

} // namespace braq
