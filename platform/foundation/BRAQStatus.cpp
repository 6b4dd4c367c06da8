#include "BRAQAudio/platform/foundation/BRAQStatus.h"

#include "BRAQAudio/platform/files.h"
#include "BRAQAudio/platform/foundation/NSBundle.h"
#include "BRAQAudio/platform/graphs.h"
#include "BRAQAudio/platform/hardware.h"
#include "BRAQAudio/platform/units.h"

#include <algorithm>
#include <iterator>

namespace {

struct Words {
    OSStatus status;
    const char* text; // the key of its translations
};

// A status that several services share stands here once.
constexpr Words words[] = {
    {0, "no error"},
    {kAudio_ParamError, "an argument is not valid"},

    {kAudioFileUnspecifiedError, "the file cannot be read or written"},
    {kAudioFileUnsupportedFileTypeError, "this type of file is not supported"},
    {kAudioFileUnsupportedDataFormatError, "this type of file cannot hold this format, rate or number of channels"},
    {kAudioFileUnsupportedPropertyError, "the file has no such property"},
    {kAudioFileBadPropertySizeError, "the value has the wrong size"},
    {kAudioFilePermissionsError, "permission denied"},
    {kAudioFileInvalidFileError, "there is no audio in it that can be read"},
    {kAudioFileNotOpenError, "the file is not open"},
    {kAudioFileEndOfFileError, "the end of the file has been reached"},
    {kAudioFilePositionError, "the file has no such position"},
    {kAudioFileFileNotFoundError, "no such file or directory"},
    {kExtAudioFileError_InvalidProperty, "the file has no such property"},
    {kExtAudioFileError_InvalidPropertySize, "the value has the wrong size"},
    {kExtAudioFileError_NonPCMClientFormat, "the client format is not linear PCM"},
    {kExtAudioFileError_InvalidChannelMap, "the channel map is not valid"},
    {kExtAudioFileError_InvalidOperationOrder, "the file does not allow this operation now"},
    {kExtAudioFileError_InvalidDataFormat, "the client format is not supported"},
    {kExtAudioFileError_MaxPacketSizeUnknown, "the size of the largest packet is not known"},
    {kExtAudioFileError_InvalidSeek, "the file has no such frame"},
    {kExtAudioFileError_AsyncWriteTooLarge, "too many frames are to be written at once"},
    {kExtAudioFileError_AsyncWriteBufferOverflow, "frames come faster than they can be written"},
    {kAudioConverterErr_PropertyNotSupported, "the converter has no such property"},

    {kAudioHardwareNotRunningError, "the device is not running"},
    {kAudioHardwareUnspecifiedError, "the device or the sound server has failed"},
    {kAudioHardwareUnknownPropertyError, "the device has no such property"},
    {kAudioHardwareIllegalOperationError, "the device does not allow this operation"},
    {kAudioHardwareBadObjectError, "there is no such device or object any more"},
    {kAudioHardwareBadDeviceError, "there is no such device"},
    {kAudioHardwareBadStreamError, "the device has no such stream"},
    {kAudioHardwareUnsupportedOperationError, "the device does not support this operation"},
    {kAudioDeviceUnsupportedFormatError, "the device does not support this format or rate"},

    {kAudioUnitErr_InvalidProperty, "the unit has no such property"},
    {kAudioUnitErr_InvalidParameter, "the unit has no such parameter"},
    {kAudioUnitErr_InvalidElement, "the unit has no such element"},
    {kAudioUnitErr_NoConnection, "nothing is connected to the unit"},
    {kAudioUnitErr_FailedInitialization, "the unit cannot be initialised"},
    {kAudioUnitErr_TooManyFramesToProcess, "more frames than the unit can process at once"},
    {kAudioUnitErr_FormatNotSupported, "the unit does not support this format"},
    {kAudioUnitErr_Uninitialized, "the unit is not initialised"},
    {kAudioUnitErr_InvalidScope, "the property is not in this scope"},
    {kAudioUnitErr_PropertyNotWritable, "the property cannot be changed"},
    {kAudioUnitErr_CannotDoInCurrentContext, "the unit does not allow this operation now"},
    {kAudioUnitErr_InvalidPropertyValue, "the property cannot have this value"},
    {kAudioUnitErr_PropertyNotInUse, "the property is not in use"},
    {kAudioUnitErr_Initialized, "the unit is initialised already"},

    {kAUGraphErr_NodeNotFound, "the graph has no such node"},
    {kAUGraphErr_InvalidConnection, "the nodes cannot be connected like this"},
    {kAUGraphErr_OutputNodeErr, "a graph needs exactly one output node"},
    {kAUGraphErr_InvalidAudioUnit, "the unit of a node cannot be made"},
};

std::string nameOf(OSStatus status) {
    std::string characters;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        characters += static_cast<char>(static_cast<UInt32>(status) >> shift & 0xFFU);
    }
    const bool isPrintable = std::ranges::all_of(characters, [](char each) { return each >= ' ' && each <= '~'; });
    return isPrintable ? '\'' + characters + '\'' : std::to_string(status);
}

} // namespace

std::string BRAQStatusDescription(OSStatus status) {
    const auto bundle = NSBundle::libraryBundle();
    const auto* const found = std::ranges::find(words, status, &Words::status);
    return found != std::end(words)
               ? bundle->localizedString(found->text, "StatusDescription")
               : bundle->localizedString("unknown error", "StatusDescription") + ' ' + nameOf(status);
}
