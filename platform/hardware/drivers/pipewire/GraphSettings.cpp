#include "platform/hardware/drivers/pipewire/GraphSettings.h"

#include <spa/utils/json.h>

#include <algorithm>
#include <cstring>

namespace braq::pipewire {
namespace {

// `[ 44100 48000 ]`, with or without commas.
std::vector<UInt32> numbersIn(const char* text) {
    std::vector<UInt32> numbers;
    spa_json outer{};
    spa_json inner{};
    spa_json_init(&outer, text, std::strlen(text));
    if (spa_json_enter_array(&outer, &inner) <= 0) {
        return numbers;
    }
    int number = 0;
    while (spa_json_get_int(&inner, &number) > 0) {
        if (number > 0) {
            numbers.push_back(static_cast<UInt32>(number));
        }
    }
    return numbers;
}

} // namespace

void GraphSettings::set(const std::string& key, const char* value) {
    if (value == nullptr) {
        return;
    }
    if (key == "clock.allowed-rates") {
        allowedRates = numbersIn(value);
        return;
    }
    int parsed = 0;
    if (!spa_json_parse_int(value, static_cast<int>(std::strlen(value)), &parsed) || parsed < 0) {
        return;
    }
    const auto number = static_cast<UInt32>(parsed);
    if (key == "clock.force-rate") {
        forcedRate = number;
    } else if (key == "clock.force-quantum") {
        forcedQuantum = number;
    } else if (number == 0) {
        return;
    } else if (key == "clock.rate") {
        rate = number;
    } else if (key == "clock.quantum") {
        quantum = number;
    } else if (key == "clock.min-quantum") {
        smallestQuantum = number;
    } else if (key == "clock.max-quantum") {
        largestQuantum = number;
    }
}

std::vector<UInt32> GraphSettings::rates() const {
    std::vector<UInt32> all = allowedRates.empty() ? std::vector<UInt32>{rate} : allowedRates;
    std::ranges::sort(all);
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
}

std::string nodeNamedBy(const char* value) {
    if (value == nullptr) {
        return {};
    }
    spa_json outer{};
    spa_json inner{};
    spa_json_init(&outer, value, std::strlen(value));
    if (spa_json_enter_object(&outer, &inner) <= 0) {
        return {};
    }
    char key[64];
    while (spa_json_get_string(&inner, key, sizeof(key)) > 0) {
        char name[1024];
        if (std::strcmp(key, "name") == 0) {
            return spa_json_get_string(&inner, name, sizeof(name)) > 0 ? name : std::string();
        }
        const char* skipped = nullptr;
        if (spa_json_next(&inner, &skipped) <= 0) {
            break;
        }
    }
    return {};
}

} // namespace braq::pipewire
