#pragma once

#include "BRAQAudio/platform/types.h"

constexpr OSStatus failure = -66569;

/// A call that fails, and who reports it with which words.
struct Failing {
    const char* function;
    SInt64 detail;
    const char* method;
    const char* origin;
};

constexpr const char* getClient =
    "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientDataFormat, &size, &asbd )";
constexpr const char* getFile =
    "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_FileDataFormat, &size, &asbd )";
constexpr const char* setClient =
    "ExtAudioFileSetProperty(self.audioFile, kExtAudioFileProperty_ClientDataFormat, size, &clientFormat)";
constexpr const char* getConverter =
    "ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_AudioConverter, &size, &audioConverter)";
