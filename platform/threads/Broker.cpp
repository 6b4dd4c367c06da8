#include "platform/threads/Broker.h"

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
    static void run(void* broker);
    void serveUntilEmpty();
    std::string startThread();

    std::mutex mMutex;
    std::vector<Request> mRequests; // under mMutex
    bool mIsRunning = false;        // under mMutex; cleared by the background thread as its last action
};

// Never destroyed: the background thread may still use it while the process exits.
Broker& broker() {
    static auto* const instance = new Broker;
    return *instance;
}

void serve(const std::vector<Request>& requests) {
    RealtimeServices services;
    for (const Request& request : requests) {
        if (isThreadOfThisProcess(request.thread)) {
            reportOnce(request.kind, request.thread,
                       request.kind == ThreadKind::worker ? services.makeHighPriority(request.thread)
                                                          : services.makeRealtime(request.thread));
        }
    }
}

void Broker::submit(Request request) {
    std::string problem;
    {
        const std::lock_guard lock(mMutex);
        mRequests.push_back(request);
        if (mIsRunning) {
            return;
        }
        problem = startThread();
        mIsRunning = problem.empty();
        if (!mIsRunning) {
            mRequests.clear();
        }
    }
    if (!problem.empty()) {
        reportOnce(request.kind, request.thread, problem);
    }
}

std::string Broker::startThread() {
    BRAQThread thread{};
    const int status = BRAQThreadStart(&thread, "BRAQ rtkit", run, this);
    return status == 0 ? std::string() : "no thread to ask rtkit on: " + std::generic_category().message(status);
}

void Broker::run(void* broker) { static_cast<Broker*>(broker)->serveUntilEmpty(); }

void Broker::serveUntilEmpty() {
    std::unique_lock lock(mMutex);
    while (!mRequests.empty()) {
        const std::vector<Request> requests = std::exchange(mRequests, {});
        lock.unlock();
        serve(requests);
        lock.lock();
    }
    mIsRunning = false;
}

} // namespace

void askForHighPriority(thread_act_t thread) { broker().submit({thread, ThreadKind::worker}); }

void askForRealtime(thread_act_t thread) { broker().submit({thread, ThreadKind::io}); }

} // namespace braq
