#pragma once

#include <spa/param/latency.h>

#include <string>

struct pw_filter;
struct pw_thread_loop;

namespace braq::tests {

/// A mono sink or source that another client of the server has made, and that says which latency it has. The latency is that
/// of its port: that of a stream is not told to others by every version of the server.
class LatentDevice {
  public:
    /// @param latency its direction says whether it is a sink (input) or a source
    LatentDevice(const std::string& name, const spa_latency_info& latency);
    ~LatentDevice();
    LatentDevice(const LatentDevice&) = delete;
    LatentDevice& operator=(const LatentDevice&) = delete;

  private:
    pw_thread_loop* mLoop;
    pw_filter* mFilter;
};

} // namespace braq::tests
