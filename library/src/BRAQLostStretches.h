#pragma once

#include "BRAQAudio/BRAQLostStretch.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>

/// Where frames of a recording went missing, in order. One real-time thread adds what another thread takes.
class BRAQLostStretches {
  public:
    /// When too many wait to be taken, those that find no room become one, at the place of the first of them. It is added
    /// with the next one that finds room.
    /// @realtime The adding thread.
    void add(const BRAQLostStretch& stretch) noexcept;

    /// The oldest. The taking thread.
    std::optional<BRAQLostStretch> first() const noexcept;
    /// Removes the oldest; there is one. The taking thread.
    void removeFirst() noexcept { mTaken.store(mTaken.load(std::memory_order_relaxed) + 1, std::memory_order_release); }

  private:
    static constexpr std::size_t capacity = 64;

    std::array<BRAQLostStretch, capacity> mStretches{};
    std::atomic<std::size_t> mAdded{0}; // written by the adding thread
    std::atomic<std::size_t> mTaken{0}; // written by the taking thread
    BRAQLostStretch mWaiting{0, 0};     // adding thread; no frames: none
};
