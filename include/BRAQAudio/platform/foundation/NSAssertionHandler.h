#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>
#include <string>

/// @addtogroup foundation
/// @{

/// Receives every failed assertion of the object layer, on any thread. The default handler raises an NSException named
/// `NSInternalInconsistencyException` whose reason holds the place and the description.
class BRAQ_EXPORT NSAssertionHandler {
  public:
    virtual ~NSAssertionHandler();

    /// @param object the receiver; null in a class operation
    /// @param file the reporting source file, without path
    virtual void handleFailureInMethod(const std::string& method, const void* object, const std::string& file, int line,
                                       const std::string& description);
    /// The same for a function.
    virtual void handleFailureInFunction(const std::string& function, const std::string& file, int line,
                                         const std::string& description);

    /// The current handler, never null. Any thread.
    static std::shared_ptr<NSAssertionHandler> currentHandler();
    /// Sets the handler of the whole process; null restores the default. Any thread.
    static void setCurrentHandler(std::shared_ptr<NSAssertionHandler> handler);
};

/// Reports a failed assertion to the current handler. If the handler returns, this raises what the default handler
/// raises: a method never continues after a failed assertion.
[[noreturn]] BRAQ_EXPORT void NSAssertionFailedInMethod(const std::string& method, const void* object,
                                                        const std::string& file, int line,
                                                        const std::string& description);
[[noreturn]] BRAQ_EXPORT void NSAssertionFailedInFunction(const std::string& function, const std::string& file,
                                                          int line, const std::string& description);

/// @}
