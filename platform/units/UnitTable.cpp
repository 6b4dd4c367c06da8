#include "platform/units/UnitTable.h"

#include <cstdint>
#include <utility>

namespace braq {
namespace {

constexpr unsigned turnBits = 32;

AudioUnit referenceTo(UInt32 place, UInt32 turn) {
    return reinterpret_cast<AudioUnit>(std::uintptr_t{turn} << turnBits | (std::uintptr_t{place} + 1));
}

UInt32 turnOf(AudioUnit reference) noexcept {
    return static_cast<UInt32>(reinterpret_cast<std::uintptr_t>(reference) >> turnBits);
}

} // namespace

UnitTable& UnitTable::instance() {
    // Never destroyed: units are rendered on other threads while the process exits.
    static auto* const table = new UnitTable;
    return *table;
}

AudioUnit UnitTable::add(std::shared_ptr<Unit> unit) {
    const std::lock_guard lock(mMutex);
    UInt32 number = mPlaces;
    if (!mFree.empty()) {
        number = mFree.back();
        mFree.pop_back();
    } else if (number == placesInABlock * mostBlocks) {
        return nullptr;
    } else {
        if (number % placesInABlock == 0) {
            mBlocks[number / placesInABlock].store(new Block, std::memory_order_release);
        }
        ++mPlaces;
    }
    Place& place = (*mBlocks[number / placesInABlock].load(std::memory_order_relaxed))[number % placesInABlock];
    const UInt32 turn = place.turn.load(std::memory_order_relaxed) + 1;
    const AudioUnit reference = referenceTo(number, turn);
    unit->setReference(reference);
    place.unit.store(unit.get(), std::memory_order_relaxed);
    place.owned = std::move(unit);
    place.turn.store(turn, std::memory_order_release);
    return reference;
}

// A reference that was never handed out is no place's either.
UnitTable::Place* UnitTable::placeOf(AudioUnit reference) const noexcept {
    const auto number = static_cast<UInt32>(reinterpret_cast<std::uintptr_t>(reference)) - 1; // null: the largest
    if (number >= placesInABlock * mostBlocks) {
        return nullptr;
    }
    Block* block = mBlocks[number / placesInABlock].load(std::memory_order_acquire);
    if (block == nullptr) {
        return nullptr;
    }
    Place& place = (*block)[number % placesInABlock];
    const UInt32 turn = turnOf(reference);
    return turn % 2 == 1 && place.turn.load(std::memory_order_acquire) == turn ? &place : nullptr;
}

std::shared_ptr<Unit> UnitTable::find(AudioUnit reference) const {
    const std::lock_guard lock(mMutex);
    const Place* place = placeOf(reference);
    return place != nullptr ? place->owned : nullptr;
}

Unit* UnitTable::findRendered(AudioUnit reference) const noexcept {
    const Place* place = placeOf(reference);
    return place != nullptr ? place->unit.load(std::memory_order_relaxed) : nullptr;
}

std::shared_ptr<Unit> UnitTable::take(AudioUnit reference) {
    const std::lock_guard lock(mMutex);
    Place* place = placeOf(reference);
    if (place == nullptr) {
        return nullptr;
    }
    place->turn.fetch_add(1, std::memory_order_release);
    place->unit.store(nullptr, std::memory_order_relaxed);
    // One place less in a process rather than a reference that is used again.
    constexpr UInt32 lastTurn = ~UInt32{0} - 1;
    if (place->turn.load(std::memory_order_relaxed) < lastTurn) {
        mFree.push_back(static_cast<UInt32>(reinterpret_cast<std::uintptr_t>(reference)) - 1);
    }
    return std::move(place->owned);
}

} // namespace braq
