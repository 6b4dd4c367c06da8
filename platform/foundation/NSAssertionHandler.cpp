#include "BRAQAudio/platform/foundation/NSAssertionHandler.h"

#include "BRAQAudio/platform/foundation/NSException.h"

#include <mutex>
#include <utility>

namespace {

struct Current {
    std::mutex mutex;
    const std::shared_ptr<NSAssertionHandler> standard = std::make_shared<NSAssertionHandler>();
    std::shared_ptr<NSAssertionHandler> handler = standard; // any thread, under the mutex
};

// Never destroyed: threads that still run while the process exits may fail an assertion.
Current& current() {
    static Current& instance = *new Current;
    return instance;
}

[[noreturn]] void raise(const std::string& operation, const std::string& file, int line,
                        const std::string& description) {
    throw NSException(NSInternalInconsistencyException, "Assertion failed in " + operation + ", " + file + ':' +
                                                            std::to_string(line) + ": " + description);
}

} // namespace

NSAssertionHandler::~NSAssertionHandler() = default;

void NSAssertionHandler::handleFailureInMethod(const std::string& method, const void* /*object*/,
                                               const std::string& file, int line, const std::string& description) {
    raise(method, file, line, description);
}

void NSAssertionHandler::handleFailureInFunction(const std::string& function, const std::string& file, int line,
                                                 const std::string& description) {
    raise(function, file, line, description);
}

std::shared_ptr<NSAssertionHandler> NSAssertionHandler::currentHandler() {
    const std::lock_guard lock(current().mutex);
    return current().handler;
}

void NSAssertionHandler::setCurrentHandler(std::shared_ptr<NSAssertionHandler> handler) {
    if (handler == nullptr) {
        handler = current().standard;
    }
    // The previous handler is released with the parameter, after the lock.
    const std::lock_guard lock(current().mutex);
    current().handler.swap(handler);
}

void NSAssertionFailedInMethod(const std::string& method, const void* object, const std::string& file, int line,
                               const std::string& description) {
    NSAssertionHandler::currentHandler()->handleFailureInMethod(method, object, file, line, description);
    raise(method, file, line, description);
}

void NSAssertionFailedInFunction(const std::string& function, const std::string& file, int line,
                                 const std::string& description) {
    NSAssertionHandler::currentHandler()->handleFailureInFunction(function, file, line, description);
    raise(function, file, line, description);
}
