#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace braq::tests {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    return content.str();
}

void write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << content;
}

bool accepts(const std::string& socketPath) {
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof(address.sun_path) - 1);
    const bool isAccepted = connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(connection);
    return isAccepted;
}

void require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error("private sound server: " + what);
    }
}

std::string propertiesOf(const PrivateSoundServer::Node& node) {
    const auto channels = 1 + std::ranges::count(node.positions, ',');
    return "{ factory.name=support.null-audio-sink node.name=\"" + node.name + "\" media.class=" + node.mediaClass +
           " audio.channels=" + std::to_string(channels) + " audio.position=\"" + node.positions +
           "\" object.linger=true " + node.more + " }";
}

} // namespace

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

PrivateSoundServer::PrivateSoundServer() {
    // Short: paths of sockets are limited to about a hundred bytes.
    std::string name = "/tmp/braq-sound-XXXXXX";
    require(mkdtemp(name.data()) != nullptr, "no folder");
    mFolder = name;
    fs::create_directories(mFolder / "runtime");
    fs::permissions(mFolder / "runtime", fs::perms::owner_all);
    setEnvironment("XDG_RUNTIME_DIR", mFolder / "runtime");
    setEnvironment("HOME", mFolder / "home");
    setEnvironment("XDG_CONFIG_HOME", mFolder / "config");
    setEnvironment("XDG_STATE_HOME", mFolder / "state");
    setEnvironment("XDG_DATA_HOME", mFolder / "data");
    setEnvironment("XDG_CACHE_HOME", mFolder / "cache");
    setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (mFolder / "runtime/bus").string());
    for (const char* const other : {"PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR", "PIPEWIRE_CONFIG_DIR",
                                    "PIPEWIRE_CONFIG_NAME", "PIPEWIRE_LATENCY", "PIPEWIRE_RATE", "PIPEWIRE_QUANTUM",
                                    "PIPEWIRE_PROPS", "PIPEWIRE_NODE", "WIREPLUMBER_CONFIG_DIR", "DISPLAY"}) {
        setEnvironment(other, std::nullopt);
    }
}

PrivateSoundServer::~PrivateSoundServer() {
    kill();
    mBus.reset();
    if (::testing::Test::HasFailure()) {
        for (const auto& file : fs::directory_iterator(mFolder)) {
            if (file.path().extension() == ".log") {
                std::cerr << "---- " << file.path().filename() << "\n" << contentOf(file.path());
            }
        }
    }
    for (const auto& [name, value] : mEnvironmentBefore) {
        value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }
    std::error_code ignored;
    fs::remove_all(mFolder, ignored);
}

void PrivateSoundServer::setEnvironment(const std::string& name, const std::optional<std::string>& value) {
    const char* const before = std::getenv(name.c_str());
    mEnvironmentBefore[name] = before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
}

std::string PrivateSoundServer::log(const std::string& program) const { return mFolder / (program + ".log"); }

void PrivateSoundServer::configure(const std::string& key, const std::string& value) { mProperties[key] = value; }

void PrivateSoundServer::keep(const Node& node) { mKept.push_back(node); }

void PrivateSoundServer::writeConfiguration() const {
    std::string server = "context.properties = {\n";
    for (const auto& [key, value] : mProperties) {
        server += "    " + key + " = " + value + "\n";
    }
    server += "}\ncontext.objects = [\n";
    for (const Node& node : mKept) {
        server += "    { factory = adapter args = " + propertiesOf(node) + " }\n";
    }
    server += "]\n";
    write(mFolder / "config/pipewire/pipewire.conf.d/test.conf", server);
    // Session managers up to 0.4 read Lua, later ones fragments. Each ignores what the other reads.
    write(mFolder / "config/wireplumber/main.lua.d/51-no-hardware.lua", "alsa_monitor.enabled = false\n"
                                                                        "v4l2_monitor.enabled = false\n"
                                                                        "libcamera_monitor.enabled = false\n");
    write(mFolder / "config/wireplumber/bluetooth.lua.d/51-no-hardware.lua", "bluez_monitor.enabled = false\n");
    write(mFolder / "config/wireplumber/wireplumber.conf.d/no-hardware.conf",
          "wireplumber.profiles = {\n"
          "    main = {\n"
          "        hardware.audio = disabled\n"
          "        hardware.bluetooth = disabled\n"
          "        hardware.video-capture = disabled\n"
          "    }\n"
          "}\n");
}

void PrivateSoundServer::start() {
    startWithoutWaiting();
    for (const Node& node : mKept) {
        require(eventually([&] { return isReadyForStreams(node); }), node.name + " has no ports");
    }
}

void PrivateSoundServer::startWithoutWaiting() {
    startWithoutSessionManager();
    launchSessionManager();
}

void PrivateSoundServer::startWithoutSessionManager() {
    if (mBus == nullptr) {
        const std::string address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        mBus = std::make_unique<ChildProcess>(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--address=" + address}, log("bus"));
        require(eventually([&] { return accepts(mFolder / "runtime/bus"); }), "no message bus");
    }
    writeConfiguration();
    mServer = std::make_unique<ChildProcess>(std::vector<std::string>{"pipewire"}, log("pipewire"));
    require(eventually([&] { return isListening(); }), "PipeWire does not listen");
}

void PrivateSoundServer::launchSessionManager() {
    mSessionManager = std::make_unique<ChildProcess>(std::vector<std::string>{"wireplumber"}, log("wireplumber"));
}

// WirePlumber 0.5.8 stands still for good in one start of some forty on a server that others use already. It is started
// again then, as the system's service manager would on a user's word.
void PrivateSoundServer::startSessionManager() {
    constexpr int starts = 3;
    constexpr std::chrono::seconds patience{10};
    for (int i = 0; i < starts; ++i) {
        mSessionManager.reset();
        launchSessionManager();
        const auto end = std::chrono::steady_clock::now() + patience;
        while (std::chrono::steady_clock::now() < end) {
            if (run({"pw-cli", "ls", "Metadata"}).find("\"default\"") != std::string::npos) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    require(false, "the session manager does not begin to work");
}

void PrivateSoundServer::kill() {
    mSessionManager.reset();
    mServer.reset();
}

bool PrivateSoundServer::isListening() const { return accepts(mFolder / "runtime/pipewire-0"); }

// The session manager gives a node its ports, and from then on links streams to it.
bool PrivateSoundServer::isReadyForStreams(const Node& node) {
    const bool plays = node.mediaClass == "Audio/Sink" || node.mediaClass == "Audio/Duplex";
    return run({"pw-link", plays ? "-i" : "-o"}).find(node.name + ":") != std::string::npos;
}

void PrivateSoundServer::create(const Node& node) {
    run({"pw-cli", "create-node", "adapter", propertiesOf(node)});
    require(eventually([&] { return isReadyForStreams(node); }), node.name + " has no ports");
}

void PrivateSoundServer::destroy(const std::string& name) {
    const auto oldest = oldestNode(name);
    require(oldest.has_value(), "there is no node " + name);
    require(eventually([&] {
                run({"pw-cli", "destroy", std::to_string(oldest->id)});
                const auto now = oldestNode(name);
                return !now || now->serial != oldest->serial;
            }),
            name + " stays");
}

void PrivateSoundServer::destroyObject(const std::string& idOrName) { run({"pw-cli", "destroy", idOrName}); }

// Each node is listed with its id, and its properties in lines below.
std::optional<PrivateSoundServer::ListedNode> PrivateSoundServer::oldestNode(const std::string& name) {
    std::optional<ListedNode> oldest;
    ListedNode listed{};
    std::istringstream lines(run({"pw-cli", "ls", "Node"}));
    for (std::string line; std::getline(lines, line);) {
        unsigned long number = 0;
        if (std::sscanf(line.c_str(), " id %lu,", &number) == 1) {
            listed = {.id = number, .serial = 0};
        } else if (std::sscanf(line.c_str(), " object.serial = \"%lu\"", &number) == 1) {
            listed.serial = number;
        } else if (line.find("node.name = \"" + name + "\"") != std::string::npos &&
                   (!oldest || listed.serial < oldest->serial)) {
            oldest = listed;
        }
    }
    return oldest;
}

void PrivateSoundServer::setDefaultSink(const std::string& name) {
    run({"pw-metadata", "0", "default.configured.audio.sink", R"({ "name": ")" + name + R"(" })", "Spa:String:JSON"});
}

void PrivateSoundServer::setDefaultSource(const std::string& name) {
    run({"pw-metadata", "0", "default.configured.audio.source", R"({ "name": ")" + name + R"(" })", "Spa:String:JSON"});
}

std::string PrivateSoundServer::run(const std::vector<std::string>& arguments) {
    const fs::path output = mFolder / (std::to_string(++mRuns) + ".out");
    ChildProcess program(arguments, output);
    const int status = program.wait();
    std::string written = contentOf(output);
    fs::remove(output);
    require(status == 0, arguments[0] + " ends with " + std::to_string(status) + ": " + written);
    return written;
}

std::unique_ptr<ChildProcess> PrivateSoundServer::spawn(const std::vector<std::string>& arguments) {
    return std::make_unique<ChildProcess>(arguments, log(arguments[0] + std::to_string(++mRuns)));
}

} // namespace braq::tests
