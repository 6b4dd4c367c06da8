#include "platform/threads/Broker.h"

#include "BRAQAudio/platform/BRAQWorkQueue.h"
#include "platform/threads/RealtimeServices.h"
#include "platform/threads/Report.h"
#include "platform/threads/Scheduling.h"

#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace braq {
namespace {

struct Request {
    thread_act_t thread;
    ThreadKind kind;
};

class Broker {
  public:
    void submit(Request request);

  private:
    std::vector<Request> takeRequests();

    BRAQWorkQueue mQueue{"BRAQ rtkit", BRAQWorkQueue::Thread::endsWhenIdle};
    std::mutex mMutex;
    std::vector<Request> mRequests; // under mMutex
};

// Never destroyed: the queue's thread may still use it while the process exits.
Broker& broker() {
    static auto* const instance = new Broker;
    return *instance;
}

void serve(const std::vector<Request>& requests) {
    if (requests.empty()) {
        return;
    }
    RealtimeServices services;
    for (const Request& request : requests) {
        if (isThreadOfThisProcess(request.thread)) {
            reportOnce(request.kind, request.thread,
                       request.kind == ThreadKind::worker ? services.makeHighPriority(request.thread)
                                                          : services.makeRealtime(request.thread));
        }
    }
}

// Requests that came while others were served are served together, over one connection.
void Broker::submit(Request request) {
    {
        const std::lock_guard lock(mMutex);
        mRequests.push_back(request);
    }
    if (const int error = mQueue.run([this] { serve(takeRequests()); })) {
        takeRequests();
        reportOnce(request.kind, request.thread,
                   "no thread to ask rtkit on: " + std::generic_category().message(error));
    }
}

std::vector<Request> Broker::takeRequests() {
    const std::lock_guard lock(mMutex);
    return std::exchange(mRequests, {});
}

} // namespace

void askForHighPriority(thread_act_t thread) { broker().submit({thread, ThreadKind::worker}); }

void askForRealtime(thread_act_t thread) { broker().submit({thread, ThreadKind::io}); }

} // namespace braq
