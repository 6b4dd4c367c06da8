#pragma once

#include "tests/support/ChildProcess.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace braq::tests {

/// Calls `condition` until it is true or half a minute is over: far beyond what anything takes on a machine that is busy
/// with other things.
/// @return whether it became true
bool eventually(const std::function<bool()>& condition);

/// A sound server of the test's own: PipeWire, its session manager and a message bus, in folders of their own and without
/// the machine's sound hardware. While this object lives, the environment points programs and libraries to it. When the
/// test has failed, its logs are shown.
class PrivateSoundServer {
  public:
    /// A sink or source that is made of software.
    struct Node {
        std::string name;
        std::string positions = "FL,FR"; ///< of the channels, as many as there are
        std::string mediaClass = "Audio/Sink";
        std::string more{}; ///< further properties, `key=value key=value`
    };

    /// Prepares the folders and the environment; nothing runs yet.
    PrivateSoundServer();
    ~PrivateSoundServer();
    PrivateSoundServer(const PrivateSoundServer&) = delete;
    PrivateSoundServer& operator=(const PrivateSoundServer&) = delete;

    /// Has a property of the server's configuration, from the next `start` on.
    void configure(const std::string& key, const std::string& value);

    /// Has the server bring this node along whenever it starts.
    void keep(const Node& node);

    /// Starts the server, and returns when it is ready to have streams linked to the nodes that it brings along.
    void start();

    /// Starts the server and returns as soon as programs can connect to it.
    void startWithoutWaiting();

    /// Starts the server alone, as `startWithoutWaiting`: nobody connects streams to devices.
    void startWithoutSessionManager();
    /// Starts a session manager on the server, and returns when it is at work.
    void startSessionManager();
    /// Ends the session manager at once, without a chance to take leave of anyone.
    void killSessionManager() { mSessionManager.reset(); }

    /// Ends server and session manager at once, without a chance to take leave of anyone.
    void kill();

    /// Adds a node to the running server, and returns when streams can be linked to it.
    void create(const Node& node);
    /// Removes a node from the running server, of several with that name the oldest, and returns when it is gone.
    void destroy(const std::string& name);
    /// Removes any object of the server, a client say, at the next opportunity.
    void destroyObject(const std::string& idOrName);

    /// Chooses the default as a user would.
    void setDefaultSink(const std::string& name);
    void setDefaultSource(const std::string& name);

    /// Runs a program to its end.
    /// @return what it wrote
    std::string run(const std::vector<std::string>& arguments);

    /// Starts a program; what it writes is shown when the test fails.
    std::unique_ptr<ChildProcess> spawn(const std::vector<std::string>& arguments);

    /// The test's own folder.
    const std::filesystem::path& folder() const { return mFolder; }

  private:
    struct ListedNode {
        unsigned long id;
        unsigned long serial;
    };

    std::optional<ListedNode> oldestNode(const std::string& name);
    void setEnvironment(const std::string& name, const std::optional<std::string>& value);
    void writeConfiguration() const;
    void launchSessionManager();
    bool isListening() const;
    bool isReadyForStreams(const Node& node);
    std::string log(const std::string& program) const;

    std::filesystem::path mFolder;
    std::map<std::string, std::optional<std::string>> mEnvironmentBefore;
    std::map<std::string, std::string> mProperties;
    std::vector<Node> mKept;
    std::unique_ptr<ChildProcess> mBus;
    std::unique_ptr<ChildProcess> mServer;
    std::unique_ptr<ChildProcess> mSessionManager;
    int mRuns = 0;
};

} // namespace braq::tests
