// Lists the audio devices, and finds the peak of an audio file if one is given, through the C interface.
#include <BRAQAudio/platform/files.h>
#include <BRAQAudio/platform/hardware.h>

#include <stdio.h>
#include <stdlib.h>

static UInt32 channelsOf(AudioDeviceID device, UInt32 direction) {
    const AudioObjectPropertyAddress address = {kAudioDevicePropertyStreamConfiguration, direction, 0};
    UInt32 size = 0;
    UInt32 channels = 0;
    if (AudioObjectGetPropertyDataSize(device, &address, 0, NULL, &size) != 0 || size == 0) {
        return 0;
    }
    AudioBufferList* const streams = calloc(1, size);
    if (streams != NULL && AudioObjectGetPropertyData(device, &address, 0, NULL, &size, streams) == 0) {
        for (UInt32 stream = 0; stream < streams->mNumberBuffers; ++stream) {
            channels += streams->mBuffers[stream].mNumberChannels;
        }
    }
    free(streams);
    return channels;
}

static void listDevices(void) {
    const AudioObjectPropertyAddress all = {kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0};
    const AudioObjectPropertyAddress name = {kAudioObjectPropertyName, kAudioObjectPropertyScopeGlobal, 0};
    AudioDeviceID devices[64];
    UInt32 size = sizeof devices; // as many as fit; AudioObjectGetPropertyDataSize says how many there are
    if (AudioObjectGetPropertyData(kAudioObjectSystemObject, &all, 0, NULL, &size, devices) != 0) {
        return;
    }
    for (UInt32 index = 0; index < size / sizeof devices[0]; ++index) {
        CFStringRef text = NULL;
        UInt32 textSize = sizeof text;
        if (AudioObjectGetPropertyData(devices[index], &name, 0, NULL, &textSize, &text) != 0) {
            continue; // it was unplugged meanwhile
        }
        printf("%s: plays %u channels, records %u\n", CFStringGetCStringPtr(text),
               channelsOf(devices[index], kAudioDevicePropertyScopeOutput),
               channelsOf(devices[index], kAudioDevicePropertyScopeInput));
        CFRelease(text);
    }
}

// The client format is the file's own rate and channels as 32-bit float, one buffer per channel, unless another is set.
static OSStatus findPeak(ExtAudioFileRef file, SInt64* length, Float32* peak) {
    enum { blockFrames = 4096 };
    AudioStreamBasicDescription format;
    UInt32 size = sizeof format;
    OSStatus status = ExtAudioFileGetProperty(file, kExtAudioFileProperty_ClientDataFormat, &size, &format);
    if (status != 0) {
        return status;
    }
    const UInt32 channels = format.mChannelsPerFrame;
    AudioBufferList* const list = malloc(AudioBufferListByteSize(channels));
    Float32* const samples = malloc(sizeof(Float32) * blockFrames * channels);
    UInt32 frames = list != NULL && samples != NULL ? blockFrames : 0;
    while (status == 0 && frames != 0) {
        list->mNumberBuffers = channels;
        for (UInt32 channel = 0; channel < channels; ++channel) {
            const AudioBuffer buffer = {1, sizeof(Float32) * blockFrames, samples + (size_t)channel * blockFrames};
            list->mBuffers[channel] = buffer;
        }
        frames = blockFrames;
        status = ExtAudioFileRead(file, &frames, list); // 0 frames at the end
        for (UInt32 channel = 0; status == 0 && channel < channels; ++channel) {
            for (UInt32 frame = 0; frame < frames; ++frame) {
                const Float32 sample = samples[(size_t)channel * blockFrames + frame];
                *peak = sample > *peak ? sample : -sample > *peak ? -sample : *peak;
            }
        }
        *length += status == 0 ? frames : 0;
    }
    free(samples);
    free(list);
    return status;
}

int main(int argc, char** argv) {
    listDevices();
    if (argc != 2) {
        return 0;
    }
    SInt64 length = 0;
    Float32 peak = 0;
    ExtAudioFileRef file = NULL;
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(argv[1]);
    OSStatus status = ExtAudioFileOpenURL(url, &file);
    CFURLRelease(url);
    if (status == 0) {
        status = findPeak(file, &length, &peak);
        ExtAudioFileDispose(file);
    }
    if (status != 0) {
        fprintf(stderr, "%s: error %d\n", argv[1], status); // the log says more
        return 1;
    }
    printf("%lld frames, peak %f\n", (long long)length, (double)peak);
    return 0;
}
