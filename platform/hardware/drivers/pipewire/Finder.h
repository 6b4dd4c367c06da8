#pragma once

#include "platform/hardware/drivers/pipewire/Connection.h"
#include "platform/hardware/drivers/pipewire/Device.h"
#include "platform/hardware/drivers/pipewire/Publisher.h"
#include "platform/hardware/drivers/pipewire/WatchedObjects.h"

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace braq::pipewire {

/// Finds the devices and publishes them. Lives as long as the process.
///
/// Any change on the server requests a new description of everything. It is made when the server has answered a sync:
/// by then all parts of a change have arrived, and many changes lead to a single description.
class Finder final : private ConnectionListener, private DeviceServer {
  public:
    /// @param settled called on the loop's thread whenever everything known was published
    Finder(Loop& loop, const Driver& driver, DriverHost& host, std::function<void()> settled);
    ~Finder() = delete;
    Finder(const Finder&) = delete;
    Finder& operator=(const Finder&) = delete;

    /// Starts looking for the server. Any thread.
    void begin() { mConnection->begin(); }

  private:
    // ConnectionListener
    void connected(pw_core* core) override;
    void disconnected() override;
    void synchronised() override;

    // DeviceServer
    pw_core* core() override { return mCore; }
    const GraphSettings& settings() override { return mSettings; }
    RateWish& rateWish(const std::string& serial) override { return mRateWishes[serial]; }
    bool isInUse(const std::string& serial) override;
    std::optional<FoundDevice> deviceLinkedTo(UInt32 node) override;
    UInt32 requestedQuantum(const DeviceKey& device) override;
    bool hasSessionManager() override { return mDefaultsTable.has_value(); }
    void lookSoon() noexcept override { mLook.signal(); }
    void lookLater() override;
    UInt32 activeLinksOf(UInt32 node) override;
    void describeSoon() override;
    void describeNow() override { describeAll(); }

    void appeared(UInt32 id, const std::string& type, const Properties& properties);
    void portAppeared(UInt32 id, const Properties& properties);
    void linkAppeared(UInt32 id, const Properties& properties);
    bool isOfThisProcess(UInt32 node) const;
    void metadataAppeared(UInt32 id, const std::string& name);
    void vanished(UInt32 id);
    void missSessionManager();
    void stopCutOff();

    void describeAll();
    bool hasNode(const std::string& serial) const;
    NodeFacts factsOf(UInt32 id, const WatchedNode& node) const;
    Properties cardOf(const NodeFacts& node) const;
    GraphSettings settingsOf(const DeviceKey& device) const;
    void publishDefaults();
    struct Route;
    Route makeRoute(Use use);
    void publishRoute(Route& route, const std::vector<FoundDevice>& all);
    const FoundDevice* findEndOf(const Route& route, const std::vector<FoundDevice>& all);
    void missEndOf(Route& route);
    /// Whether there is a device to link it to.
    bool hasEnd(AudioDeviceID device) const;
    const Device* routeTo(const DeviceKey& device) const;

    /// Calls `action` with each published device or route and its id.
    template <class Action>
    void forEachDevice(Action action) const {
        mPublisher.forEach(action);
        for (const Route& route : mRoutes) {
            if (route.id != 0) {
                action(*route.device, route.id);
            }
        }
    }
    std::string uidOfSource(const std::string& nodeName) const;

    struct FoundNode {
        std::unique_ptr<WatchedNode> watched;
        UInt64 knownAfter; // the server's sync after which its facts are complete
    };
    struct Table {
        UInt32 id;
        std::unique_ptr<WatchedMetadata> watched;
    };
    /// Leads what names no device to the default, or to where the user moves it. Published once there is a device to lead
    /// to, and never taken back: what runs on it outlives devices and servers.
    struct Route {
        Use use;
        std::shared_ptr<Device> device;
        AudioDeviceID id = 0; // 0: not published
        DeviceDescription description{};
        std::optional<std::chrono::steady_clock::time_point> missing{}; // since when it leads nowhere
    };
    struct Defaults {
        std::string sink;
        std::string source;
        bool operator==(const Defaults&) const = default;
    };

    Loop& mLoop;
    const Driver& mDriver;
    DriverHost& mHost;
    const std::function<void()> mSettled;
    LoopEvent mLook;
    LoopEvent mDescribeProgram;
    LoopTimer mLookAgain;
    LoopTimer mMissSessionManager;
    LoopTimer mStopCutOff;
    Connection* const mConnection;
    Publisher mPublisher;

    // All with the loop's lock.
    pw_core* mCore = nullptr;
    pw_registry* mRegistry = nullptr;
    spa_hook mRegistryListener{};
    UInt64 mSyncsSent = 0;
    UInt64 mSyncsAnswered = 0;
    bool mMustDescribe = false;
    bool mIsThere = false;
    std::map<UInt32, FoundNode> mNodes;
    std::map<UInt32, std::unique_ptr<WatchedPort>> mPorts;
    std::map<UInt32, std::unique_ptr<WatchedLink>> mLinks; // of this process
    std::map<UInt32, std::unique_ptr<WatchedCard>> mCards;
    std::optional<Table> mSettingsTable;
    std::optional<Table> mDefaultsTable;         // owned by the session manager, and removed with it
    std::map<std::string, RateWish> mRateWishes; // by serial number of the node
    GraphSettings mSettings;
    Defaults mDefaults;          // names of nodes
    Defaults mPublishedDefaults; // UIDs
    std::array<Route, 2> mRoutes;
};

} // namespace braq::pipewire
