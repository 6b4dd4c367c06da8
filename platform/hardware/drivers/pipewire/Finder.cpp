#include "platform/hardware/drivers/pipewire/Finder.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/foundation/ApplicationFacts.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace braq::pipewire {
namespace {

// Long enough for a busy session manager to connect all channels of a stream, short enough not to look like a hang.
constexpr std::chrono::milliseconds lookInterval{500};
// A session manager that is only restarted is back by then, and nothing is logged.
constexpr std::chrono::milliseconds longestRestart{500};
// From its end until playback and recording stop for good, unless a new one has connected them by then.
constexpr std::chrono::seconds longestCutOff{5};
// Time for a session manager to move a stream to the next device when the one that it is on has been removed.
constexpr std::chrono::milliseconds longestMove{300};

UInt32 numberIn(const std::string& text) {
    UInt32 number = SPA_ID_INVALID;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

} // namespace

Finder::Finder(Loop& loop, const Driver& driver, DriverHost& host, std::function<void()> settled)
    : mLoop(loop),
      mDriver(driver),
      mHost(host),
      mSettled(std::move(settled)),
      mLook(loop, [this] { forEachDevice([](Device& device, AudioDeviceID) { device.look(); }); }),
      mDescribeProgram(loop,
                       [this] { forEachDevice([](Device& device, AudioDeviceID) { device.describeProgram(); }); }),
      mLookAgain(loop,
                 [this] {
                     forEachDevice([](Device& device, AudioDeviceID) { device.lookAgain(); });
                     describeSoon();
                 }),
      mMissSessionManager(loop, [this] { missSessionManager(); }),
      mStopCutOff(loop, [this] { stopCutOff(); }),
      mConnection(new Connection(loop, *this)),
      mPublisher(loop, *this, host),
      mRoutes{makeRoute(Use::playback), makeRoute(Use::record)} {
    watchApplicationFacts([this] { mDescribeProgram.signal(); });
}

Finder::Route Finder::makeRoute(Use use) {
    DeviceServer& server = *this;
    return {.use = use, .device = std::make_shared<Device>(mLoop, server, DeviceKey{{}, use}, ChannelLayout())};
}

// ---- the server comes and goes

void Finder::connected(pw_core* core) {
    static const pw_registry_events events = {
        .version = PW_VERSION_REGISTRY_EVENTS,
        .global =
            [](void* self, uint32_t id, uint32_t /*permissions*/, const char* type, uint32_t /*version*/,
               const spa_dict* dictionary) {
                Properties properties;
                properties.assign(dictionary);
                static_cast<Finder*>(self)->appeared(id, type, properties);
            },
        .global_remove = [](void* self, uint32_t id) { static_cast<Finder*>(self)->vanished(id); },
    };
    mCore = core;
    mRegistry = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
    mRegistryListener = {};
    pw_registry_add_listener(mRegistry, &mRegistryListener, &events, this);
    describeSoon();
}

void Finder::disconnected() {
    mPublisher.publish({});
    for (Route& route : mRoutes) {
        route.device->loseServer();
        missEndOf(route);
    }
    mNodes.clear();
    mPorts.clear();
    mLinks.clear();
    mCards.clear();
    mSettingsTable.reset();
    mDefaultsTable.reset();
    mRateWishes.clear();
    mSettings = {};
    mDefaults = {};
    if (mRegistry != nullptr) {
        spa_hook_remove(&mRegistryListener);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(mRegistry));
        mRegistry = nullptr;
    }
    mCore = nullptr;
    mSyncsAnswered = mSyncsSent;
    mMustDescribe = false;
    publishDefaults();
    if (std::exchange(mIsThere, false)) {
        NSLog("PipeWire : the connection to the sound server has ended; its devices are back when it is.");
    }
    mHost.serverIsThere(mDriver, false);
    mSettled();
}

void Finder::synchronised() {
    ++mSyncsAnswered;
    describeAll();
    mLoop.conditionsChanged();
    if (std::exchange(mMustDescribe, false)) {
        describeSoon();
        return;
    }
    if (!std::exchange(mIsThere, true)) {
        mHost.serverIsThere(mDriver, true);
    }
    mSettled();
}

// ---- what the server has

void Finder::appeared(UInt32 id, const std::string& type, const Properties& properties) {
    const auto changed = [this] { describeSoon(); };
    if (type == PW_TYPE_INTERFACE_Node && isDeviceClass(properties.get(PW_KEY_MEDIA_CLASS))) {
        // Replies to earlier requests may arrive before the node's facts.
        mNodes[id] = {std::make_unique<WatchedNode>(mRegistry, id, changed), mSyncsSent + 1};
    } else if (type == PW_TYPE_INTERFACE_Port) {
        portAppeared(id, properties);
    } else if (type == PW_TYPE_INTERFACE_Link) {
        linkAppeared(id, properties);
        return;
    } else if (type == PW_TYPE_INTERFACE_Device && properties.get(PW_KEY_MEDIA_CLASS) == "Audio/Device") {
        mCards[id] = std::make_unique<WatchedCard>(mRegistry, id, changed);
    } else if (type == PW_TYPE_INTERFACE_Metadata) {
        metadataAppeared(id, properties.get(PW_KEY_METADATA_NAME));
    } else {
        return;
    }
    describeSoon();
}

// The first port of a kind represents the others.
void Finder::portAppeared(UInt32 id, const Properties& properties) {
    if (properties.get(PW_KEY_PORT_ID) != "0" || properties.get(PW_KEY_FORMAT_DSP).empty()) {
        return;
    }
    WatchedPort::Kind kind = WatchedPort::Kind::sink;
    if (properties.get(PW_KEY_PORT_DIRECTION) == "out") {
        const bool isMonitor = properties.get(PW_KEY_PORT_MONITOR) == "true";
        kind = isMonitor ? WatchedPort::Kind::monitor : WatchedPort::Kind::source;
    }
    mPorts[id] = std::make_unique<WatchedPort>(mRegistry, id, numberIn(properties.get(PW_KEY_NODE_ID)), kind,
                                               [this] { describeSoon(); });
}

void Finder::linkAppeared(UInt32 id, const Properties& properties) {
    const UInt32 output = numberIn(properties.get(PW_KEY_LINK_OUTPUT_NODE));
    const UInt32 input = numberIn(properties.get(PW_KEY_LINK_INPUT_NODE));
    for (const auto& [node, device] : {std::pair(output, input), std::pair(input, output)}) {
        if (isOfThisProcess(node)) {
            mLinks[id] = std::make_unique<WatchedLink>(mRegistry, id, node, device, [this] { lookSoon(); });
        }
    }
}

bool Finder::isOfThisProcess(UInt32 node) const {
    bool isIt = false;
    forEachDevice([&](const Device& device, AudioDeviceID) { isIt |= device.hasStream(node); });
    return isIt;
}

void Finder::metadataAppeared(UInt32 id, const std::string& name) {
    if (name == "settings" && !mSettingsTable) {
        const auto take = [this](const char* key, const char* value) {
            if (key != nullptr) {
                mSettings.set(key, value);
            }
            describeSoon();
        };
        mSettingsTable = {id, std::make_unique<WatchedMetadata>(mRegistry, id, take)};
    } else if (name == "default" && !mDefaultsTable) {
        const auto take = [this](const char* key, const char* value) {
            if (key == nullptr || std::strcmp(key, "default.audio.sink") == 0) {
                mDefaults.sink = nodeNamedBy(value);
            }
            if (key == nullptr || std::strcmp(key, "default.audio.source") == 0) {
                mDefaults.source = nodeNamedBy(value);
            }
            describeSoon();
        };
        mDefaultsTable = {id, std::make_unique<WatchedMetadata>(mRegistry, id, take)};
        mLoop.conditionsChanged();
    }
}

void Finder::vanished(UInt32 id) {
    if (mSettingsTable && mSettingsTable->id == id) {
        mSettingsTable.reset();
        mSettings = {};
    }
    if (mDefaultsTable && mDefaultsTable->id == id) {
        mDefaultsTable.reset();
        mDefaults = {};
        mMissSessionManager.fireAfter(longestRestart);
        mStopCutOff.fireAfter(longestCutOff);
    }
    const bool wasNode = mNodes.erase(id) != 0;
    mPorts.erase(id);
    mLinks.erase(id);
    mCards.erase(id);
    if (wasNode) {
        describeAll();
        std::erase_if(mRateWishes, [this](const auto& wish) { return !hasNode(wish.first); });
    }
    describeSoon();
}

// When a session manager ends, the server removes the links that it made. From 0.5 on, the next one restores them;
// 0.4.13 does not prepare nodes that existed before it, for any program.
void Finder::missSessionManager() {
    bool isRunning = false;
    forEachDevice([&](const Device& device, AudioDeviceID) { isRunning |= device.isRunning(); });
    if (mCore != nullptr && !hasSessionManager() && isRunning) {
        NSLog("(WARNING) PipeWire : the session manager has ended and taken the connections to devices along; what "
              "plays and records stands still until it is connected again.");
    }
}

// A notified program can report that, or start again. A route without any device waits for one.
void Finder::stopCutOff() {
    bool hasStopped = false;
    forEachDevice([&](const Device& device, AudioDeviceID id) {
        if (mCore != nullptr && device.isCutOff() && hasEnd(id)) {
            mHost.deviceStopped(id);
            hasStopped = true;
        }
    });
    if (hasStopped) {
        NSLog("(ERROR) PipeWire : what has lost its connections to devices has not got them back, and has stopped.");
    }
}

// ---- what is published

void Finder::describeSoon() {
    if (mCore == nullptr) {
        return;
    }
    if (mSyncsSent != mSyncsAnswered) {
        mMustDescribe = true;
        return;
    }
    ++mSyncsSent;
    mConnection->sync();
}

void Finder::describeAll() {
    std::vector<FoundDevice> all;
    for (const auto& [id, node] : mNodes) {
        if (node.knownAfter > mSyncsAnswered) {
            continue;
        }
        const NodeFacts facts = factsOf(id, *node.watched);
        std::ranges::move(
            describe(facts, cardOf(facts), [this](const DeviceKey& device) { return settingsOf(device); }),
            std::back_inserter(all));
    }
    for (FoundDevice& device : all) {
        if (const Device* const published = mPublisher.find(device.key)) {
            DeviceDescription& description = device.description;
            const bool plays = device.key.use == Use::playback;
            const Device* const route = published->isRunning() ? nullptr : routeTo(device.key);
            (plays ? description.playback : description.record).mixerLevel =
                (route != nullptr ? *route : *published).mixerLevel();
        }
    }
    mPublisher.publish(all);
    for (Route& route : mRoutes) {
        publishRoute(route, all);
    }
    publishDefaults();
}

void Finder::publishRoute(Route& route, const std::vector<FoundDevice>& all) {
    const FoundDevice* const end = findEndOf(route, all);
    if (end == nullptr) {
        const auto now = std::chrono::steady_clock::now();
        if (now - route.missing.value_or(now) >= longestMove) {
            missEndOf(route);
        } else if (route.id != 0 && !route.description.leadsTo->empty()) {
            route.missing = route.missing.value_or(now);
            lookLater();
        }
        return;
    }
    route.missing.reset();
    route.device->leadTo(*end);
    DeviceDescription description = end->description;
    description.uid = route.use == Use::playback ? "BRAQAudio.route.playback" : "BRAQAudio.route.record";
    description.leadsTo = end->description.uid;
    (route.use == Use::playback ? description.playback : description.record).mixerLevel = route.device->mixerLevel();
    if (route.id == 0) {
        route.id = mHost.deviceAppeared(description, route.device);
    } else if (description != route.description) {
        mHost.deviceChanged(route.id, description);
    }
    route.description = std::move(description);
}

// The default device may be named before it appears, and still be named after it was removed.
const FoundDevice* Finder::findEndOf(const Route& route, const std::vector<FoundDevice>& all) {
    const auto find = [&](const auto& isIt) {
        const auto found = std::ranges::find_if(all, isIt);
        return found != all.end() ? &*found : nullptr;
    };
    const auto node = route.device->streamNode();
    if (const auto linked = node ? deviceLinkedTo(*node) : std::nullopt) {
        return find([&](const FoundDevice& device) { return device.key == linked->key; });
    }
    if (node) {
        return find([&](const FoundDevice& device) { return device.key == route.device->target(); });
    }
    const std::string uid = route.use == Use::playback ? mDefaults.sink : uidOfSource(mDefaults.source);
    return find([&](const FoundDevice& device) { return device.description.uid == uid; });
}

// What is known of the last device stays, for what goes on when there is another one.
void Finder::missEndOf(Route& route) {
    route.missing.reset();
    if (route.id != 0 && !route.description.leadsTo->empty()) {
        route.description.leadsTo = std::string();
        mHost.deviceChanged(route.id, route.description);
    }
}

bool Finder::hasEnd(AudioDeviceID device) const {
    return std::ranges::none_of(
        mRoutes, [&](const Route& route) { return route.id == device && route.description.leadsTo->empty(); });
}

/// The running route that leads to a device; null if there is none.
const Device* Finder::routeTo(const DeviceKey& device) const {
    const auto found = std::ranges::find_if(
        mRoutes, [&](const Route& route) { return route.device->isRunning() && route.device->target() == device; });
    return found != mRoutes.end() ? found->device.get() : nullptr;
}

NodeFacts Finder::factsOf(UInt32 id, const WatchedNode& node) const {
    NodeFacts facts = node.facts();
    for (const auto& [portId, port] : mPorts) {
        if (port->nodeId() == id) {
            switch (port->kind()) {
            case WatchedPort::Kind::sink: facts.sinkLatency = port->latency(); break;
            case WatchedPort::Kind::source: facts.sourceLatency = port->latency(); break;
            case WatchedPort::Kind::monitor: facts.monitorLatency = port->latency(); break;
            }
        }
    }
    return facts;
}

Properties Finder::cardOf(const NodeFacts& node) const {
    const auto card = mCards.find(numberIn(node.properties.get(PW_KEY_DEVICE_ID)));
    return card != mCards.end() ? card->second->properties() : Properties();
}

GraphSettings Finder::settingsOf(const DeviceKey& device) const {
    const Device* const published = mPublisher.find(device);
    const Device* const route = published == nullptr || published->isRunning() ? nullptr : routeTo(device);
    if (route != nullptr) {
        return route->settings();
    }
    return published != nullptr ? published->settings() : mSettings;
}

void Finder::publishDefaults() {
    const Defaults defaults{mDefaults.sink, uidOfSource(mDefaults.source)};
    if (!(defaults == mPublishedDefaults)) {
        mPublishedDefaults = defaults;
        mHost.defaultsChanged(mDriver, defaults.sink, defaults.source);
    }
}

// A sink's monitor is the default source if there is no other, and then has the name of the sink.
std::string Finder::uidOfSource(const std::string& nodeName) const {
    const bool isSink = std::ranges::any_of(mNodes, [&](const auto& node) {
        const NodeFacts& facts = node.second.watched->facts();
        return facts.isSink() && facts.properties.get(PW_KEY_NODE_NAME) == nodeName;
    });
    return isSink ? monitorUID(nodeName) : nodeName;
}

// ---- what devices ask for

bool Finder::hasNode(const std::string& serial) const {
    return std::ranges::any_of(mNodes, [&](const auto& node) {
        return node.second.watched->facts().properties.get(PW_KEY_OBJECT_SERIAL) == serial;
    });
}

bool Finder::isInUse(const std::string& serial) {
    return std::ranges::any_of(mNodes, [&](const auto& node) {
        const NodeFacts& facts = node.second.watched->facts();
        return facts.isRunning && facts.properties.get(PW_KEY_OBJECT_SERIAL) == serial;
    });
}

std::optional<FoundDevice> Finder::deviceLinkedTo(UInt32 node) {
    std::optional<UInt32> end;
    for (const auto& [id, link] : mLinks) {
        if (link->node() == node && std::exchange(end, link->device()).value_or(link->device()) != link->device()) {
            return std::nullopt; // on the way from one to another
        }
    }
    const auto known = end ? mNodes.find(*end) : mNodes.end();
    if (known == mNodes.end()) {
        return std::nullopt;
    }
    bool plays = false;
    for (const Route& route : mRoutes) {
        plays |= route.use == Use::playback && route.device->hasStream(node);
    }
    const NodeFacts facts = factsOf(known->first, *known->second.watched);
    auto devices = describe(facts, cardOf(facts), [this](const DeviceKey& device) { return settingsOf(device); });
    const auto found = std::ranges::find_if(
        devices, [&](const FoundDevice& device) { return (device.key.use == Use::playback) == plays; });
    return found != devices.end() ? std::optional(std::move(*found)) : std::nullopt;
}

UInt32 Finder::requestedQuantum(const DeviceKey& device) {
    const Device* const published = mPublisher.find(device);
    return published != nullptr ? published->requestedQuantum() : 0;
}

void Finder::lookLater() { mLookAgain.fireAfter(lookInterval); }

UInt32 Finder::activeLinksOf(UInt32 node) {
    return static_cast<UInt32>(std::ranges::count_if(
        mLinks, [&](const auto& link) { return link.second->node() == node && link.second->isActive(); }));
}

} // namespace braq::pipewire
