#include "library/src/BRAQExtendedAudioFile_Options.h"

const char kBRAQExtendedAudioFileClientDataFormatKey[] = "BRAQExtendedAudioFileClientDataFormat";
const char kBRAQExtendedAudioFileClientSampleRateKey[] = "BRAQExtendedAudioFileClientSampleRate";

namespace braq {
namespace {

using Value = BRAQExtendedAudioFileOptionValue;

[[noreturn]] void refuse(const std::string& key) {
    throw NSException(NSInvalidArgumentException, "the option " + key + " has a value of the wrong kind");
}

std::shared_ptr<BRAQAudioStreamBasicDescription> description(const std::string& key, const Value& value) {
    if (const auto* const held = std::get_if<std::shared_ptr<BRAQAudioStreamBasicDescription>>(&value)) {
        return *held;
    }
    refuse(key);
}

Float64 number(const std::string& key, const Value& value) {
    if (const auto* const whole = std::get_if<std::int64_t>(&value)) {
        return static_cast<Float64>(*whole);
    }
    if (const auto* const held = std::get_if<Float64>(&value)) {
        return *held;
    }
    refuse(key);
}

} // namespace

BRAQExtendedAudioFileOptions optionsIn(const BRAQExtendedAudioFileOptionDictionary& dictionary) {
    BRAQExtendedAudioFileOptions options;
    for (const auto& [key, value] : dictionary) {
        if (key == kBRAQExtendedAudioFileClientDataFormatKey) {
            options.clientDataFormat = description(key, value);
        } else if (key == kBRAQExtendedAudioFileClientSampleRateKey) {
            options.clientSampleRate = number(key, value);
        }
    }
    return options;
}

} // namespace braq
