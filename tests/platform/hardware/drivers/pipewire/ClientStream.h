#pragma once

#include <spa/utils/hook.h>

#include <atomic>
#include <chrono>
#include <map>
#include <string>

struct pw_stream;
struct pw_thread_loop;

namespace braq::tests {

/// A stereo stream of another client of the server: it plays silence, or takes what it is given.
class ClientStream {
  public:
    struct Options {
        bool plays = true;
        std::map<std::string, std::string> properties;
        std::chrono::milliseconds timeInCycle{0}; ///< that it takes in each cycle of the graph
    };

    explicit ClientStream(const Options& options);
    ~ClientStream();
    ClientStream(const ClientStream&) = delete;
    ClientStream& operator=(const ClientStream&) = delete;

    /// Cycles that it took part in.
    int cycles() const { return mCycles; }

  private:
    void connect(const Options& options);
    void process();

    const std::chrono::milliseconds mTimeInCycle;
    pw_thread_loop* mLoop;
    pw_stream* mStream = nullptr;
    spa_hook mListener{};
    std::atomic<int> mCycles{0};
};

} // namespace braq::tests
