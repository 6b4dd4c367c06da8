#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <cerrno>
#include <optional>
#include <string_view>
#include <utility>

extern "C" {
const char NSXErrorExceptionName[] = "NSXError";
const char NULLPointerErrorDomain[] = "NULLPointerErrorDomain";
const char BOOLErrorDomain[] = "BOOLErrorDomain";
const char AssertionFailureErrorDomain[] = "AssertionFailureErrorDomain";
const char BRAQExceptionErrorDomain[] = "BRAQExceptionErrorDomain";
}

namespace {

struct Failure {
    const char* domain;
    std::int64_t code;
};

std::string text(const char* string) { return string != nullptr ? string : ""; }

constexpr std::int32_t low32(std::intptr_t result) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uintptr_t>(result)));
}

[[noreturn]] void failOnUnknownTypeCode(const char* typeCode) {
    NSAssertionFailedInFunction(
        "void NSXMakeErrorImp(const char *, intptr_t, const char *, unsigned int, const char *, "
        "const char *, NSError *__autoreleasing *)",
        "NSXReturnThrowError", 103, NSStringWithFormat("NSXErrorCodeType_Unknown: \"%s\"", typeCode));
}

std::optional<Failure> statusFailure(std::int32_t status, int posixCode) {
    if (status == 0) {
        return std::nullopt;
    }
    return status == -1 ? Failure{NSPOSIXErrorDomain, posixCode} : Failure{NSMachErrorDomain, status};
}

std::optional<Failure> failureIf(bool failed, const char* domain, std::int64_t code) {
    return failed ? std::optional(Failure{domain, code}) : std::nullopt;
}

std::optional<Failure> failureOf(const char* typeCode, std::intptr_t result, int posixCode) {
    constexpr std::int64_t noCode = -1;
    switch (typeCode[0]) {
    case 'r':
        if (typeCode[1] != '*') {
            failOnUnknownTypeCode(typeCode);
        }
        [[fallthrough]];
    case '*':
    case '^': return failureIf(result == 0, NULLPointerErrorDomain, noCode);
    case '@': return failureIf(result == 0, NSCocoaErrorDomain, noCode);
    case 'c': return failureIf(result == 0, BOOLErrorDomain, noCode);
    case 'I': return failureIf(low32(result) == 0 || low32(result) == -1, NSMachErrorDomain, noCode);
    case 'i': return statusFailure(low32(result), posixCode);
    case 'l':
    case 's': return failureIf(result != 0, NSOSStatusErrorDomain, low32(result));
    default: failOnUnknownTypeCode(typeCode);
    }
}

std::shared_ptr<NSError> checkStatus(OSStatus status, const char* origin, const NSXCallSite& site, unsigned int line) {
    std::shared_ptr<NSError> error;
    NSXMakeErrorImp("i", status, site.file, line, site.method, origin, &error);
    if (error != nullptr && site.domain == NSXStatusDomain::osStatus) {
        error = NSError::errorWithDomain(NSOSStatusErrorDomain, error->code(), error->userInfo());
    }
    return error;
}

} // namespace

void NSXMakeErrorImp(const char* typeCode, std::intptr_t result, const char* file, unsigned int line,
                     const char* method, const char* origin, std::shared_ptr<NSError>* error) {
    // Read before anything here can change it.
    const int posixCode = errno;
    const auto failure = failureOf(typeCode != nullptr ? typeCode : "", result, posixCode);
    if (!failure) {
        return;
    }
    NSUserInfo details{{"reportingFile", text(file)},
                       {"reportingLine", std::int64_t{static_cast<std::int32_t>(line)}},
                       {"reportingMethod", text(method)},
                       {"origin", text(origin)}};
    if (std::string reason = BRAQStatusTakeReason(low32(result)); !reason.empty()) {
        details.emplace(NSLocalizedFailureReasonErrorKey, std::move(reason));
    }
    auto made = NSError::errorWithDomain(failure->domain, failure->code, std::move(details));
    if (error != nullptr) {
        *error = std::move(made);
    }
}

std::shared_ptr<NSError> NSXMakeErrorWithErrstr_tImp(const char* message, const char* file, SInt32 line,
                                                     const char* method) {
    return NSError::errorWithDomain("errstr_t", 0,
                                    {{"reportingFile", text(file)},
                                     {"reportingLine", std::int64_t{line}},
                                     {"reportingMethod", text(method)},
                                     {"errstr_t", text(message)},
                                     {NSLocalizedDescriptionKey, text(message)}});
}

void NSXRaiseOnFailure(OSStatus status, const char* origin, const NSXCallSite& site, unsigned int line) {
    if (auto error = checkStatus(status, origin, site, line)) {
        throw NSException(NSXErrorExceptionName, error->description(), {{"error", error}});
    }
}

bool NSXReturnOnFailure(OSStatus status, const char* origin, const NSXCallSite& site, std::shared_ptr<NSError>* error,
                        unsigned int line) {
    auto failure = checkStatus(status, origin, site, line);
    const bool failed = failure != nullptr;
    if (failed && error != nullptr) {
        *error = std::move(failure);
    }
    return failed;
}

void NSXLogOnFailure(OSStatus status, const char* origin, const NSXCallSite& site, unsigned int line) {
    if (const auto error = checkStatus(status, origin, site, line)) {
        NSXLogError(site.file, error->localizedDescription());
    }
}

void NSXLogError(const char* file, const std::string& message) {
    std::string_view name(file);
    name.remove_prefix(name.find_last_of('/') + 1); // npos + 1 is 0: no slash, nothing to remove
    NSLog("(ERROR) " + std::string(name) + " : " + message);
}

void NSXParameterFailed(const char* parameter, const char* method, const void* object, const char* file, int line) {
    NSAssertionFailedInMethod(method, object, file, line,
                              NSStringWithFormat("Invalid parameter not satisfying: %s", parameter));
}

std::shared_ptr<NSError> NSXErrorFromException(const std::exception_ptr& exception) {
    if (exception == nullptr) {
        return nullptr;
    }
    std::string message = "unknown exception";
    try {
        std::rethrow_exception(exception);
    } catch (const NSException& raised) {
        const auto detail = raised.userInfo().find("error");
        if (detail != raised.userInfo().end()) {
            if (const auto* error = std::get_if<std::shared_ptr<NSError>>(&detail->second); error && *error) {
                return *error;
            }
        }
        message = raised.reason();
    } catch (const std::exception& thrown) {
        message = thrown.what();
    } catch (...) {
        // Not derived from std::exception: it has no text.
    }
    return NSError::errorWithDomain(BRAQExceptionErrorDomain, -1, {{NSLocalizedDescriptionKey, message}});
}
