#include "library/src/BRAQBackgroundThread.h"

#include "platform/hardware/DeviceIO.h"
#include "tests/src/UnitFixture.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <thread>

namespace {

/// Tells on which thread it was destroyed.
class Witness : public BRAQReleasable, public std::enable_shared_from_this<Witness> {
  public:
    static std::shared_ptr<Witness> make(std::promise<std::thread::id>& destroyed) {
        return own(new Witness(destroyed));
    }
    ~Witness() override { mDestroyed.set_value(std::this_thread::get_id()); }

    bool mMustNotBeDestroyedHere = false;

  private:
    explicit Witness(std::promise<std::thread::id>& destroyed) : mDestroyed(destroyed) {
        BRAQBackgroundThread::instance();
    }
    bool isOnThreadOfItsOwn() const noexcept override { return mMustNotBeDestroyedHere; }

    std::promise<std::thread::id>& mDestroyed;
};

std::thread::id backgroundThread() {
    std::promise<std::thread::id> thread;
    BRAQBackgroundThread::instance().run([&] { thread.set_value(std::this_thread::get_id()); });
    return thread.get_future().get();
}

class BackgroundThreadTest : public unit_test::UnitTest {
  protected:
    /// Runs `work` in a cycle of the device, under the guard.
    void runInCycle(std::function<void()> work) {
        braq::IOProcedureID id = 0;
        ASSERT_EQ(braq::addIOProcedure(
                      software->deviceID(), braq::IODirections::playback,
                      [](void* context, const braq::IOSlice&) { (*static_cast<std::function<void()>*>(context))(); },
                      &work, &id),
                  0);
        ASSERT_EQ(braq::startIOProcedure(software->deviceID(), id), 0);
        braq::tests::runRealtime([&] { software->step(16); });
        ASSERT_EQ(braq::removeIOProcedure(software->deviceID(), id), 0);
    }

    std::promise<std::thread::id> destroyed;
};

TEST_F(BackgroundThreadTest, DestroysWhatAnIOThreadLetsGoLast) {
    auto witness = Witness::make(destroyed);
    Witness* const address = witness.get();
    const auto background = backgroundThread();
    runInCycle([&] {
        const BRAQIOReference<Witness> reference(address);
        witness.reset(); // by whoever had it, while the I/O thread uses it
        EXPECT_TRUE(static_cast<bool>(reference));
    });
    EXPECT_EQ(destroyed.get_future().get(), background);
}

TEST_F(BackgroundThreadTest, DestroysWhereItIsWhatAnotherThreadLetsGoLast) {
    auto witness = Witness::make(destroyed);
    witness.reset();
    EXPECT_EQ(destroyed.get_future().get(), std::this_thread::get_id());
}

TEST_F(BackgroundThreadTest, DestroysWhatIsLetGoOnAThreadOfItsOwn) {
    auto witness = Witness::make(destroyed);
    witness->mMustNotBeDestroyedHere = true;
    const auto background = backgroundThread();
    witness.reset();
    EXPECT_EQ(destroyed.get_future().get(), background);
}

TEST_F(BackgroundThreadTest, RunsWorkInOrderAndGoesOnAfterOneThatThrows) {
    const braq::tests::CapturedLog log;
    std::vector<int> order; // the background thread, then this one
    std::promise<void> isDone;
    auto& background = BRAQBackgroundThread::instance();
    background.run([&] { order.push_back(1); });
    background.run([] { throw std::runtime_error("no"); });
    background.run([&] { order.push_back(2); });
    background.run([&] { isDone.set_value(); });
    isDone.get_future().wait();
    EXPECT_THAT(order, testing::ElementsAre(1, 2));
    EXPECT_THAT(log.errors(), testing::ElementsAre("(ERROR) BRAQBackground : no"));
}

} // namespace
