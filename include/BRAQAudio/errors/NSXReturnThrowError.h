#pragma once

// The one check of platform results, and the three responses to a failure: raise it, return it, or log it and continue.

#include "BRAQAudio/platform/foundation.h"
#include "BRAQAudio/platform/types.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

/// @addtogroup errors
/// @{

extern "C" {

/// Name of every exception raised for a status. Its details hold the error under the key "error".
BRAQ_EXPORT extern const char NSXErrorExceptionName[] BRAQ_LINKER_NAME(NSXErrorExceptionName);
/// Domain of errors made from null pointers.
BRAQ_EXPORT extern const char NULLPointerErrorDomain[] BRAQ_LINKER_NAME(NULLPointerErrorDomain);
/// Domain of errors made from false booleans.
BRAQ_EXPORT extern const char BOOLErrorDomain[] BRAQ_LINKER_NAME(BOOLErrorDomain);
/// For errors that applications make from failed assertions of their own.
BRAQ_EXPORT extern const char AssertionFailureErrorDomain[] BRAQ_LINKER_NAME(AssertionFailureErrorDomain);

/// Makes an error from a checked result if that result means failure.
///
/// | typeCode                     | fails when                             | domain                   | code       |
/// |------------------------------|----------------------------------------|--------------------------|------------|
/// | "*", "^", "r*": pointer      | null                                   | `NULLPointerErrorDomain` | -1         |
/// | "@": object                  | null                                   | `NSCocoaErrorDomain`     | -1         |
/// | "c": boolean                 | false                                  | `BOOLErrorDomain`        | -1         |
/// | "I": port name               | low 32 bits are 0 or 0xFFFFFFFF        | `NSMachErrorDomain`      | -1         |
/// | "i": status                  | -1                                     | `NSPOSIXErrorDomain`     | errno      |
/// | "i": status                  | not 0                                  | `NSMachErrorDomain`      | the result |
/// | "l", "s": long, short        | not 0                                  | `NSOSStatusErrorDomain`  | the result |
///
/// Only the first character counts, except for "r*". Any other code fails an assertion. The error code is the low 32
/// bits of the result, sign-extended. Details: "reportingFile", "reportingLine", "reportingMethod", "origin", and under
/// `NSLocalizedFailureReasonErrorKey` what the system or libav said about the failure, if the platform has kept it
/// (`BRAQStatusTakeReason`).
/// @param file the reporting source file
/// @param method full name of the reporting operation, such as "-[BRAQAudioUnit start]"
/// @param origin source text of the checked call
/// @param error may be null; written only on failure
/// Any thread but an I/O thread.
BRAQ_EXPORT void NSXMakeErrorImp(const char* typeCode, std::intptr_t result, const char* file, unsigned int line,
                                 const char* method, const char* origin, std::shared_ptr<NSError>* error);

BRAQ_BEGIN_CXX_RETURN
/// Makes an error of domain "errstr_t" and code 0 that carries `message` under "errstr_t" and as its localised
/// description, with "reportingFile", "reportingLine" and "reportingMethod". Any thread but an I/O thread.
BRAQ_EXPORT std::shared_ptr<NSError> NSXMakeErrorWithErrstr_tImp(const char* message, const char* file, SInt32 line,
                                                                 const char* method);
BRAQ_END_CXX_RETURN
}

/// The domain of the errors of a call site.
enum class NSXStatusDomain {
    asChecked, ///< the domain that the check of a status gives
    osStatus,  ///< `NSOSStatusErrorDomain`: code and details as checked
};

/// Where a status is checked. One constant per operation.
struct NSXCallSite {
    const char* file;   ///< reporting source file, such as "src/BRAQAudioUnit"
    const char* method; ///< such as "-[BRAQAudioUnit start]" or "+[Class operation]"
    NSXStatusDomain domain = NSXStatusDomain::asChecked;
};

// The three responses, each one line at the call:
//
//     constexpr NSXCallSite here{"src/BRAQAudioUnit", "-[BRAQAudioUnit start]"};
//     NSXRaiseOnFailure(AudioOutputUnitStart(mAudioUnit), "AudioOutputUnitStart( mAudioUnit )", here);
//     if (NSXReturnOnFailure(AUGraphOpen(graph), "AUGraphOpen( graph )", here, error)) return nullptr;
//     NSXLogOnFailure(AUGraphStop(mGraph), "AUGraphStop(mGraph)", here);
//
// `origin` is a literal: users see it in reports, so it must not change when the code around it does. `line` is the
// line of the call, unless reports must name the same line for good. Any thread but an I/O thread.

/// Raises an NSException named `NSXErrorExceptionName` if `status` is not 0. Its reason is the error's description; the
/// error is under the key "error".
BRAQ_EXPORT void NSXRaiseOnFailure(OSStatus status, const char* origin, const NSXCallSite& site,
                                   unsigned int line = __builtin_LINE());

/// Stores the error in `*error` (unless null) if `status` is not 0.
/// @return true if `status` is a failure
[[nodiscard]] BRAQ_EXPORT bool NSXReturnOnFailure(OSStatus status, const char* origin, const NSXCallSite& site,
                                                  std::shared_ptr<NSError>* error,
                                                  unsigned int line = __builtin_LINE());

/// Logs the error's localised description if `status` is not 0. The caller goes on with its next step.
BRAQ_EXPORT void NSXLogOnFailure(OSStatus status, const char* origin, const NSXCallSite& site,
                                 unsigned int line = __builtin_LINE());

/// Writes "(ERROR) FILE : MESSAGE" to the log. FILE is the last path component of `file`.
BRAQ_EXPORT void NSXLogError(const char* file, const std::string& message);

/// Reports the failure of `NSXAssertParameter`.
[[noreturn]] BRAQ_EXPORT void NSXParameterFailed(const char* parameter, const char* method, const void* object,
                                                 const char* file, int line);

/// Fails with "Invalid parameter not satisfying: PARAMETER" through the assertion handler if `holds` is false.
/// @param object the receiver; null in a class operation
inline void NSXAssertParameter(bool holds, const char* parameter, const char* method, const void* object,
                               const char* file, int line) {
    if (!holds) {
        NSXParameterFailed(parameter, method, object, file, line);
    }
}

/// The error of a caught exception: the one under "error" of a raised status error, else a new one with the exception's
/// text. Never null unless `exception` is null.
BRAQ_EXPORT std::shared_ptr<NSError> NSXErrorFromException(const std::exception_ptr& exception);

/// Domain of the errors that `NSXErrorFromException` makes from exceptions without an error.
extern "C" BRAQ_EXPORT const char BRAQExceptionErrorDomain[];

/// @}
