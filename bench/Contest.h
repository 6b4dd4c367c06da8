#pragma once

#include "bench/Quantile.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace braq::bench {

/// Contenders that do the same work. They take turns in slices of a fraction of a millisecond within one run, so that what
/// disturbs the machine disturbs all of them alike, and each one's median over the turns is kept. The first contender is
/// ours.
class Contest {
  public:
    /// A stretch of work that is timed as a whole.
    using Slice = std::function<void()>;

    /// @param name of the counter in the results
    /// @param alsoIn what `slice` cannot help doing besides; timed too, and taken off
    void add(std::string name, Slice slice, Slice alsoIn = {}) {
        mContenders.push_back({std::move(name), std::move(slice), std::move(alsoIn), {}});
    }

    /// One round an iteration. Leaves nanoseconds a unit of work as one counter a contender.
    void run(benchmark::State& state, double unitsPerSlice) {
        std::size_t round = 0;
        for ([[maybe_unused]] auto iteration : state) {
            for (std::size_t i = 0; i < mContenders.size(); ++i) {
                takeTurn(mContenders[(round + i) % mContenders.size()], unitsPerSlice);
            }
            state.SetIterationTime(mContenders.front().nanoseconds.back() * 1e-9);
            ++round;
        }
        for (Contender& contender : mContenders) {
            state.counters[contender.name] = quantile(contender.nanoseconds, 0.5);
        }
    }

  private:
    struct Contender {
        std::string name;
        Slice slice;
        Slice alsoIn;
        std::vector<double> nanoseconds; // a unit, one a round
    };

    static void takeTurn(Contender& contender, double units) {
        double nanoseconds = time(contender.slice);
        if (contender.alsoIn) {
            nanoseconds -= time(contender.alsoIn);
        }
        contender.nanoseconds.push_back(nanoseconds / units);
    }

    static double time(const Slice& slice) {
        slice(); // so that nobody finds the caches as somebody else left them
        const auto begin = std::chrono::steady_clock::now();
        slice();
        return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count();
    }

    std::vector<Contender> mContenders;
};

} // namespace braq::bench
