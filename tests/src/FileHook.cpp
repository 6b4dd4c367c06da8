#include "tests/src/FileHook.h"

#include <algorithm>
#include <mutex>
#include <utility>

// The linker has every call that leaves a file of the library end at __wrap_NAME; __real_NAME is the function itself.

namespace {

using namespace braq::tests;

struct Hooked {
    const FileHook* owner;
    FileCall call;
    std::function<OSStatus(void*)> hook;
};

std::mutex mutex;
std::vector<Hooked> hooks;       // under the mutex
bool callsAreKept = false;       // under the mutex
std::vector<FileCall> keptCalls; // under the mutex

OSStatus runHook(const FileCall& call, void* data) {
    std::function<OSStatus(void*)> hook;
    {
        const std::lock_guard lock(mutex);
        if (callsAreKept) {
            keptCalls.push_back(call);
        }
        const auto found = std::ranges::find(hooks, call, &Hooked::call);
        if (found != hooks.end()) {
            hook = found->hook;
        }
    }
    return hook ? hook(data) : FileHook::passOn;
}

template <class Function, class... Arguments>
OSStatus call(const FileCall& made, void* data, Function function, Arguments... arguments) {
    const OSStatus status = runHook(made, data);
    return status == FileHook::passOn ? function(arguments...) : status;
}

} // namespace

FileHook::FileHook(const std::string& function, SInt64 detail, std::function<OSStatus(void*)> hook) {
    const std::lock_guard lock(mutex);
    hooks.push_back({this, {function, detail}, std::move(hook)});
}

FileHook::~FileHook() {
    const std::lock_guard lock(mutex);
    std::erase_if(hooks, [this](const Hooked& hooked) { return hooked.owner == this; });
}

FileCalls::FileCalls() {
    const std::lock_guard lock(mutex);
    callsAreKept = true;
    keptCalls.clear();
}

FileCalls::~FileCalls() {
    const std::lock_guard lock(mutex);
    callsAreKept = false;
}

std::vector<FileCall> FileCalls::take() {
    const std::lock_guard lock(mutex);
    return std::exchange(keptCalls, {});
}

extern "C" {

decltype(ExtAudioFileOpenURL) __real_ExtAudioFileOpenURL, __wrap_ExtAudioFileOpenURL;
decltype(ExtAudioFileCreateWithURL) __real_ExtAudioFileCreateWithURL, __wrap_ExtAudioFileCreateWithURL;
decltype(ExtAudioFileDispose) __real_ExtAudioFileDispose, __wrap_ExtAudioFileDispose;
decltype(ExtAudioFileGetProperty) __real_ExtAudioFileGetProperty, __wrap_ExtAudioFileGetProperty;
decltype(ExtAudioFileSetProperty) __real_ExtAudioFileSetProperty, __wrap_ExtAudioFileSetProperty;
decltype(ExtAudioFileRead) __real_ExtAudioFileRead, __wrap_ExtAudioFileRead;
decltype(ExtAudioFileWrite) __real_ExtAudioFileWrite, __wrap_ExtAudioFileWrite;
decltype(ExtAudioFileWriteAsync) __real_ExtAudioFileWriteAsync, __wrap_ExtAudioFileWriteAsync;
decltype(ExtAudioFileSeek) __real_ExtAudioFileSeek, __wrap_ExtAudioFileSeek;
decltype(AudioFileGetProperty) __real_AudioFileGetProperty, __wrap_AudioFileGetProperty;
decltype(AudioFileGetGlobalInfoSize) __real_AudioFileGetGlobalInfoSize, __wrap_AudioFileGetGlobalInfoSize;
decltype(AudioFileGetGlobalInfo) __real_AudioFileGetGlobalInfo, __wrap_AudioFileGetGlobalInfo;
decltype(AudioConverterGetProperty) __real_AudioConverterGetProperty, __wrap_AudioConverterGetProperty;
decltype(AudioConverterSetProperty) __real_AudioConverterSetProperty, __wrap_AudioConverterSetProperty;

OSStatus __wrap_ExtAudioFileOpenURL(CFURLRef url, ExtAudioFileRef* file) {
    return call({"ExtAudioFileOpenURL", 0}, file, __real_ExtAudioFileOpenURL, url, file);
}

OSStatus __wrap_ExtAudioFileCreateWithURL(CFURLRef url, AudioFileTypeID type, const AudioStreamBasicDescription* format,
                                          const AudioChannelLayout* layout, UInt32 flags, ExtAudioFileRef* file) {
    return call({"ExtAudioFileCreateWithURL", type}, file, __real_ExtAudioFileCreateWithURL, url, type, format, layout,
                flags, file);
}

OSStatus __wrap_ExtAudioFileDispose(ExtAudioFileRef file) {
    return call({"ExtAudioFileDispose", 0}, nullptr, __real_ExtAudioFileDispose, file);
}

OSStatus __wrap_ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32* size,
                                        void* data) {
    return call({"ExtAudioFileGetProperty", property}, data, __real_ExtAudioFileGetProperty, file, property, size,
                data);
}

OSStatus __wrap_ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, UInt32 size,
                                        const void* data) {
    return call({"ExtAudioFileSetProperty", property}, const_cast<void*>(data), __real_ExtAudioFileSetProperty, file,
                property, size, data);
}

OSStatus __wrap_ExtAudioFileRead(ExtAudioFileRef file, UInt32* frames, AudioBufferList* list) {
    return call({"ExtAudioFileRead", 0}, frames, __real_ExtAudioFileRead, file, frames, list);
}

OSStatus __wrap_ExtAudioFileWrite(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list) {
    return call({"ExtAudioFileWrite", 0}, const_cast<AudioBufferList*>(list), __real_ExtAudioFileWrite, file, frames,
                list);
}

OSStatus __wrap_ExtAudioFileWriteAsync(ExtAudioFileRef file, UInt32 frames, const AudioBufferList* list) {
    return call({"ExtAudioFileWriteAsync", frames}, nullptr, __real_ExtAudioFileWriteAsync, file, frames, list);
}

OSStatus __wrap_ExtAudioFileSeek(ExtAudioFileRef file, SInt64 frame) {
    return call({"ExtAudioFileSeek", frame}, nullptr, __real_ExtAudioFileSeek, file, frame);
}

OSStatus __wrap_AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property, UInt32* size, void* data) {
    return call({"AudioFileGetProperty", property}, data, __real_AudioFileGetProperty, file, property, size, data);
}

OSStatus __wrap_AudioFileGetGlobalInfoSize(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier,
                                           UInt32* size) {
    return call({"AudioFileGetGlobalInfoSize", property}, size, __real_AudioFileGetGlobalInfoSize, property,
                specifierSize, specifier, size);
}

OSStatus __wrap_AudioFileGetGlobalInfo(AudioFilePropertyID property, UInt32 specifierSize, const void* specifier,
                                       UInt32* size, void* data) {
    return call({"AudioFileGetGlobalInfo", property}, data, __real_AudioFileGetGlobalInfo, property, specifierSize,
                specifier, size, data);
}

OSStatus __wrap_AudioConverterGetProperty(AudioConverterRef converter, AudioConverterPropertyID property, UInt32* size,
                                          void* data) {
    return call({"AudioConverterGetProperty", property}, data, __real_AudioConverterGetProperty, converter, property,
                size, data);
}

OSStatus __wrap_AudioConverterSetProperty(AudioConverterRef converter, AudioConverterPropertyID property, UInt32 size,
                                          const void* data) {
    return call({"AudioConverterSetProperty", property}, const_cast<void*>(data), __real_AudioConverterSetProperty,
                converter, property, size, data);
}
}
