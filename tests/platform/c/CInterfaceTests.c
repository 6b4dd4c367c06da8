// The platform's C interface as a program in C sees it, on a machine without a sound server: there is one device, a
// loopback.
//
// Usage: tests_platform_c CASE AUDIO_FOLDER EMPTY_FOLDER

#include <BRAQAudio/platform/files.h>
#include <BRAQAudio/platform/graphs.h>
#include <BRAQAudio/platform/hardware.h>
#include <BRAQAudio/platform/units.h>

#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures;

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition);                                    \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)

static const AudioObjectPropertyAddress devicesAddress = {kAudioHardwarePropertyDevices,
                                                          kAudioObjectPropertyScopeGlobal, 0};

static OSStatus get(AudioObjectID object, UInt32 selector, UInt32 scope, void* data, UInt32 size) {
    const AudioObjectPropertyAddress address = {selector, scope, kAudioObjectPropertyElementMain};
    const UInt32 expected = size;
    const OSStatus status = AudioObjectGetPropertyData(object, &address, 0, NULL, &size, data);
    CHECK(status != 0 || size == expected);
    return status;
}

static void checkText(AudioObjectID object, UInt32 selector, const char* expected) {
    CFStringRef text = NULL;
    CHECK(get(object, selector, kAudioObjectPropertyScopeGlobal, &text, sizeof text) == 0);
    CHECK(text != NULL && strcmp(CFStringGetCStringPtr(text), expected) == 0);
    CFRelease(text);
}

static AudioDeviceID onlyDevice(void) {
    AudioDeviceID devices[2] = {0, 0};
    UInt32 size = 0;
    CHECK(AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &devicesAddress, 0, NULL, &size) == 0);
    CHECK(size == sizeof devices[0]);
    size = sizeof devices;
    CHECK(AudioObjectGetPropertyData(kAudioObjectSystemObject, &devicesAddress, 0, NULL, &size, devices) == 0);
    CHECK(size == sizeof devices[0]);
    CHECK(devices[0] != kAudioObjectUnknown);
    return devices[0];
}

static void listsTheDevices(void) {
    const AudioDeviceID device = onlyDevice();
    checkText(device, kAudioObjectPropertyName, "Loopback (no sound server)");
    checkText(device, kAudioDevicePropertyDeviceUID, "BRAQAudio.loopback");

    Float64 rate = 0;
    CHECK(get(device, kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal, &rate, sizeof rate) == 0);
    CHECK(rate == 48000.0);
    const UInt32 directions[] = {kAudioDevicePropertyScopeInput, kAudioDevicePropertyScopeOutput};
    for (size_t index = 0; index < 2; ++index) {
        AudioBufferList streams;
        CHECK(get(device, kAudioDevicePropertyStreamConfiguration, directions[index], &streams,
                  (UInt32)AudioBufferListByteSize(1)) == 0);
        CHECK(streams.mNumberBuffers == 1 && streams.mBuffers[0].mNumberChannels == 2);
    }

    AudioDeviceID found = kAudioObjectUnknown;
    CFStringRef uid = CFStringCreateWithCString("BRAQAudio.loopback");
    AudioValueTranslation translation = {&uid, sizeof uid, &found, sizeof found};
    CHECK(get(kAudioObjectSystemObject, kAudioHardwarePropertyDeviceForUID, kAudioObjectPropertyScopeGlobal,
              &translation, sizeof translation) == 0);
    CHECK(found == device);
    CFRelease(uid);
    CHECK(get(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice, kAudioObjectPropertyScopeGlobal,
              &found, sizeof found) == 0);
    CHECK(found == device);

    CHECK(AudioObjectHasProperty(kAudioObjectSystemObject, &devicesAddress));
    CHECK(!AudioObjectHasProperty(device, &devicesAddress));
    CHECK(get(123456, kAudioObjectPropertyName, kAudioObjectPropertyScopeGlobal, &uid, sizeof uid) ==
          kAudioHardwareBadObjectError);
    CHECK(!BRAQThreadIsInDeviceCycle());
}

static CFURLRef urlOf(const char* folder, const char* name) {
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", folder, name);
    return CFURLCreateFromFileSystemRepresentation(path);
}

static SInt64 lengthOf(ExtAudioFileRef file) {
    SInt64 length = -1;
    UInt32 size = sizeof length;
    CHECK(ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileLengthFrames, &size, &length) == 0);
    return length;
}

/// Reads up to `frames` stereo frames.
static UInt32 readStereo(ExtAudioFileRef file, UInt32 frames, Float32* left, Float32* right) {
    struct {
        AudioBufferList list;
        AudioBuffer second;
    } buffers = {{2, {{1, frames * (UInt32)sizeof(Float32), left}}}, {1, frames * (UInt32)sizeof(Float32), right}};
    CHECK(ExtAudioFileRead(file, &frames, &buffers.list) == 0);
    return frames;
}

static void readsAFile(const char* audio) {
    enum { lengthFrames = 176400 };
    CFURLRef url = urlOf(audio, "reference-44k-stereo-16.wav");
    ExtAudioFileRef file = NULL;
    CHECK(ExtAudioFileOpenURL(url, &file) == 0);
    CFURLRelease(url);

    AudioStreamBasicDescription format;
    UInt32 size = sizeof format;
    CHECK(ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &format) == 0);
    CHECK(format.mFormatID == kAudioFormatLinearPCM && format.mSampleRate == 44100.0);
    CHECK(format.mChannelsPerFrame == 2 && format.mBitsPerChannel == 16);
    CHECK(lengthOf(file) == lengthFrames);

    Float32* const left = calloc(2 * (size_t)lengthFrames, sizeof(Float32));
    Float32* const right = left + lengthFrames;
    CHECK(readStereo(file, lengthFrames, left, right) == lengthFrames);
    // The first three frames, as they stand in the file.
    CHECK(left[0] == 0x1845 / 32768.0F && right[0] == 0x1E6A / 32768.0F);
    CHECK(left[1] == 0x229C / 32768.0F && right[1] == 0x2AAB / 32768.0F);
    CHECK(left[2] == 0x3160 / 32768.0F && right[2] == 0x3BFA / 32768.0F);
    Float32 afterTheEnd[2] = {7, 7};
    CHECK(readStereo(file, 1, &afterTheEnd[0], &afterTheEnd[1]) == 0);

    enum { from = 100000, count = 500 };
    Float32 again[2][count];
    CHECK(ExtAudioFileSeek(file, from) == 0);
    CHECK(readStereo(file, count, again[0], again[1]) == count);
    CHECK(memcmp(again[0], left + from, sizeof again[0]) == 0);
    CHECK(memcmp(again[1], right + from, sizeof again[1]) == 0);

    free(left);
    CHECK(ExtAudioFileDispose(file) == 0);
    CHECK(ExtAudioFileDispose(file) == kAudioFileNotOpenError);

    url = urlOf(audio, "six-channel-48k-24.wav");
    CHECK(ExtAudioFileOpenURL(url, &file) == 0);
    CFURLRelease(url);
    BRAQChannelPosition positions[6];
    size = sizeof positions;
    CHECK(ExtAudioFileGetProperty(file, kBRAQExtAudioFileProperty_ChannelPositions, &size, positions) == 0);
    CHECK(size == sizeof positions && sizeof positions[0] == 4);
    CHECK(positions[0] == BRAQChannelPosition_frontLeft && positions[3] == BRAQChannelPosition_lowFrequency);
    CHECK(ExtAudioFileDispose(file) == 0);

    url = urlOf(audio, "no such file.wav");
    CHECK(ExtAudioFileOpenURL(url, &file) == kAudioFileFileNotFoundError);
    CFURLRelease(url);
    CHECK(ExtAudioFileOpenURL(NULL, &file) == kAudio_ParamError);
    CHECK(CFURLCreateFromFileSystemRepresentation(NULL) == NULL);
}

static void writesAFile(const char* folder) {
    const AudioStreamBasicDescription stereo = {
        48000.0, kAudioFormatLinearPCM, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked, 8, 1, 8, 2, 32, 0};
    Float32 played[2][3] = {{0.25F, -0.5F, 1.0F}, {-1.0F, 0.125F, 0.0F}};
    struct {
        AudioBufferList list;
        AudioBuffer second;
    } buffers = {{2, {{1, sizeof played[0], played[0]}}}, {1, sizeof played[1], played[1]}};
    CFURLRef url = urlOf(folder, "written.wav");
    ExtAudioFileRef file = NULL;
    CHECK(ExtAudioFileCreateWithURL(url, kAudioFileWAVEType, &stereo, NULL, kAudioFileFlags_EraseFile, &file) == 0);
    AudioStreamBasicDescription planar = stereo;
    planar.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
    planar.mBytesPerPacket = planar.mBytesPerFrame = sizeof(Float32);
    CHECK(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof planar, &planar) == 0);
    CHECK(ExtAudioFileWrite(file, 3, &buffers.list) == 0);
    CHECK(ExtAudioFileDispose(file) == 0);

    CHECK(ExtAudioFileOpenURL(url, &file) == 0);
    CFURLRelease(url);
    CHECK(lengthOf(file) == 3);
    Float32 read[2][3];
    CHECK(readStereo(file, 3, read[0], read[1]) == 3);
    CHECK(memcmp(read, played, sizeof played) == 0);
    CHECK(ExtAudioFileDispose(file) == 0);
}

enum { framesToHear = 4800 };

struct Source {
    sem_t done;
    UInt32 frames;
    int failures;
};

static OSStatus render(void* refCon, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                       UInt32 frames, AudioBufferList* list) {
    struct Source* source = refCon;
    (void)flags;
    source->failures += bus != 0 || (time->mFlags & kAudioTimeStampSampleTimeValid) == 0 || list->mNumberBuffers != 2 ||
                        list->mBuffers[1].mDataByteSize != frames * sizeof(Float32) || !BRAQThreadIsInDeviceCycle();
    const UInt32 before = source->frames;
    source->frames += frames;
    if (before < framesToHear && source->frames >= framesToHear) {
        sem_post(&source->done);
    }
    return 0;
}

static void playsThroughAGraph(void) {
    const AudioComponentDescription output = {kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                              kAudioUnitManufacturer_Platform, 0, 0};
    struct Source source = {.frames = 0};
    sem_init(&source.done, 0, 0);
    AUGraph graph = NULL;
    AUNode node = 0;
    AudioUnit unit = NULL;
    CHECK(NewAUGraph(&graph) == 0);
    CHECK(AUGraphAddNode(graph, &output, &node) == 0);
    CHECK(AUGraphOpen(graph) == 0);
    CHECK(AUGraphNodeInfo(graph, node, NULL, &unit) == 0);
    const AURenderCallbackStruct callback = {render, &source};
    CHECK(AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &callback,
                               sizeof callback) == 0);
    CHECK(AUGraphInitialize(graph) == 0);
    const OSStatus started = AUGraphStart(graph);
    CHECK(started == 0);
    if (started == 0) {
        sem_wait(&source.done);
    }
    CHECK(AUGraphStop(graph) == 0);
    CHECK(source.frames >= framesToHear);
    CHECK(source.failures == 0);
    CHECK(DisposeAUGraph(graph) == 0);
    CHECK(DisposeAUGraph(graph) == kAudio_ParamError);
    sem_destroy(&source.done);
}

int main(int argc, char** argv) {
    const char* const wanted = argc == 4 ? argv[1] : "";
    if (strcmp(wanted, "ListsTheDevices") == 0) {
        listsTheDevices();
    } else if (strcmp(wanted, "ReadsAFile") == 0) {
        readsAFile(argv[2]);
    } else if (strcmp(wanted, "WritesAFile") == 0) {
        writesAFile(argv[3]);
    } else if (strcmp(wanted, "PlaysThroughAGraph") == 0) {
        playsThroughAGraph();
    } else {
        fputs("usage: tests_platform_c CASE AUDIO_FOLDER EMPTY_FOLDER\n", stderr);
        return 2;
    }
    return failures == 0 ? 0 : 1;
}
