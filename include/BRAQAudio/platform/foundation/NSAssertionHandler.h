#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>
#include <string>

/// Hears of every failed assertion of the object layer, from any thread. The default raises an NSException named
/// `NSInternalInconsistencyException` whose reason holds the place and the description.
class BRAQ_EXPORT NSAssertionHandler {
  public:
    virtual ~NSAssertionHandler();

    /// @param object the object that was called; null in a class operation
    /// @param file the reporting source file, without path
    virtual void handleFailureInMethod(const std::string& method, const void* object, const std::string& file, int line,
                                       const std::string& description);
    /// The same for a function.
    virtual void handleFailureInFunction(const std::string& function, const std::string& file, int line,
                                         const std::string& description);

    /// The handler in force, never null. Any thread.
    static std::shared_ptr<NSAssertionHandler> currentHandler();
    /// Puts `handler` in force for the whole process; null restores the default. Any thread.
    static void setCurrentHandler(std::shared_ptr<NSAssertionHandler> handler);
};

/// Reports a failed assertion to the current handler and raises what the default handler raises if that one returns: a
/// method never goes on after a failed assertion.
[[noreturn]] BRAQ_EXPORT void NSAssertionFailedInMethod(const std::string& method, const void* object,
                                                        const std::string& file, int line,
                                                        const std::string& description);
[[noreturn]] BRAQ_EXPORT void NSAssertionFailedInFunction(const std::string& function, const std::string& file,
                                                          int line, const std::string& description);
