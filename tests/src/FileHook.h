#pragma once

#include "BRAQAudio/platform/files.h"

#include <functional>
#include <string>
#include <vector>

namespace braq::tests {

/// A call of the library on the file service: the function, and what it was asked for, be it a property, a type or a frame.
struct FileCall {
    std::string function;
    SInt64 detail;
    bool operator==(const FileCall&) const = default;
};

/// While it lives, calls of one function for one detail go through here first.
class FileHook {
  public:
    /// Answered by a hook that has the call made.
    static constexpr OSStatus passOn = 1;

    /// @param hook gets the caller's data; what it answers, other than `passOn`, the caller gets instead of the call
    FileHook(const std::string& function, SInt64 detail, std::function<OSStatus(void* data)> hook);
    /// Has each such call fail with `status`.
    FileHook(const std::string& function, SInt64 detail, OSStatus status)
        : FileHook(function, detail, [status](void*) { return status; }) {}
    ~FileHook();
    FileHook(const FileHook&) = delete;
    FileHook& operator=(const FileHook&) = delete;

    /// Answers a property.
    template <class Value>
    static std::function<OSStatus(void*)> answer(Value value) {
        return [value](void* data) {
            *static_cast<Value*>(data) = value;
            return OSStatus{0};
        };
    }
};

/// The calls that were made while it lives.
class FileCalls {
  public:
    FileCalls();
    ~FileCalls();
    FileCalls(const FileCalls&) = delete;
    FileCalls& operator=(const FileCalls&) = delete;

    /// Those since the last time that this was called.
    std::vector<FileCall> take();
};

} // namespace braq::tests
