#pragma once

#include "BRAQAudio/BRAQAtomicProperty.h"

#include <mutex>
#include <optional>
#include <utility>

/// @addtogroup core
/// @{

/// The answer of an object that one thread at a time may ask, for threads that must not wait while another thread has
/// the object do something that takes long. Any thread but an I/O thread.
template <class Answer>
class BRAQPublishedAnswer {
  public:
    /// Asks the object if nobody uses it, and else returns what it answered last. Waits only if it was never asked since
    /// the answer was forgotten.
    /// @param inUse held by whoever uses the object; this thread may hold it already
    /// @param ask asks the object; what it throws is passed on
    template <class Ask>
    Answer get(std::recursive_mutex& inUse, Ask ask) {
        std::unique_lock lock(inUse, std::try_to_lock);
        if (!lock.owns_lock()) {
            if (auto known = mAnswer.get()) {
                return *std::move(known);
            }
            lock.lock();
        }
        Answer answer = ask();
        mAnswer.set(answer);
        return answer;
    }

    /// Sets what the object would answer. The thread that uses the object.
    void publish(Answer answer) { mAnswer.set(std::move(answer)); }
    /// The answer is another one now. The thread that uses the object.
    void forget() { mAnswer.set(std::nullopt); }

  private:
    BRAQAtomicProperty<std::optional<Answer>> mAnswer;
};

/// @}
