#include "BRAQAudio/platform/foundation/NSLog.h"

#include "platform/foundation/QuietLog.h"
#include "platform/foundation/Text.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <utility>

namespace {

struct Log {
    std::recursive_mutex mutex; // held while the sink runs: one call at a time
    std::shared_ptr<const NSLogSink> sink = std::make_shared<NSLogSink>(); // never null, empty for the default
    bool isInSink = false;
};

// Never destroyed: threads that still run while the process exits may log.
Log& log() {
    static Log& instance = *new Log;
    return instance;
}

// One write for the whole line, so that lines of several threads and processes do not mix.
void writeToStandardError(const std::string& line) {
    const std::string text = line + '\n';
    const char* rest = text.data();
    std::size_t bytes = text.size();
    while (bytes > 0) {
        const ssize_t written = ::write(STDERR_FILENO, rest, bytes);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return; // closed or full: syslog still has the line
        }
        rest += written;
        bytes -= static_cast<std::size_t>(written);
    }
}

enum class Loudness { quiet, loud };

void writeByDefault(const std::string& line, Loudness loudness) {
    if (loudness == Loudness::loud) {
        writeToStandardError(line);
    }
    ::syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}

void writeToSink(Log& to, const std::string& line, Loudness loudness) {
    const std::shared_ptr<const NSLogSink> sink = to.sink; // the sink may replace itself
    to.isInSink = true;
    try {
        (*sink)(line);
    } catch (...) {
        writeByDefault(line, loudness);
    }
    to.isInSink = false;
}

void write(const std::string& line, Loudness loudness) {
    const int errorNumber = errno;
    const std::string text = braq::oneLine(line);
    {
        const std::lock_guard lock(log().mutex);
        if (*log().sink && !log().isInSink) {
            writeToSink(log(), text, loudness);
        } else {
            writeByDefault(text, loudness);
        }
    }
    errno = errorNumber;
}

} // namespace

void NSLog(const std::string& line) { write(line, Loudness::loud); }

void braq::logQuietly(const std::string& line) { write(line, Loudness::quiet); }

NSLogSink NSLogSetSink(NSLogSink sink) {
    auto next = std::make_shared<const NSLogSink>(std::move(sink));
    const std::lock_guard lock(log().mutex);
    log().sink.swap(next);
    return *next;
}
