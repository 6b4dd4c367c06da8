#include "platform/units/UnitTable.h"

#include <chrono>
#include <cstdint>
#include <thread>
#include <utility>

namespace braq {
namespace {

constexpr unsigned turnBits = 32;

AudioUnit referenceTo(UInt32 place, UInt32 turn) {
    return reinterpret_cast<AudioUnit>(std::uintptr_t{turn} << turnBits | (std::uintptr_t{place} + 1));
}

} // namespace

UInt32 UnitTable::turnOf(AudioUnit reference) noexcept {
    return static_cast<UInt32>(reinterpret_cast<std::uintptr_t>(reference) >> turnBits);
}

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
    AudioUnit reference = referenceTo(number, turn);
    unit->setReference(reference);
    place.unit.store(unit.get(), std::memory_order_relaxed);
    place.owned = std::move(unit);
    place.turn.store(turn, std::memory_order_release);
    return reference;
}

// A reference that was never handed out does not match any place either.
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

// A user announces itself and then checks whether the unit is still there; this side removes the unit and then checks
// for users. Both are in one total order, so a user that is not seen here finds no unit.
UnitTable::Use::Use(AudioUnit reference) noexcept : mPlace(instance().placeOf(reference)) {
    if (mPlace == nullptr) {
        return;
    }
    mPlace->users.fetch_add(1);
    if (mPlace->turn.load() == turnOf(reference)) {
        mUnit = mPlace->unit.load(std::memory_order_relaxed);
    }
}

UnitTable::Use::~Use() {
    if (mPlace != nullptr) {
        mPlace->users.fetch_sub(1, std::memory_order_release);
    }
}

std::shared_ptr<Unit> UnitTable::take(AudioUnit reference) {
    std::unique_lock lock(mMutex);
    Place* place = placeOf(reference);
    if (place == nullptr) {
        return nullptr;
    }
    const UInt32 turn = place->turn.fetch_add(1) + 1;
    auto unit = std::move(place->owned);
    lock.unlock(); // users may need it to find units
    constexpr std::chrono::microseconds pause{20};
    while (place->users.load() != 0) { // an I/O thread makes no system call to announce its end
        std::this_thread::sleep_for(pause);
    }
    lock.lock();
    place->unit.store(nullptr, std::memory_order_relaxed);
    // Better to lose a place than to reuse a reference.
    constexpr UInt32 lastTurn = ~UInt32{0} - 1;
    if (turn < lastTurn) {
        mFree.push_back(static_cast<UInt32>(reinterpret_cast<std::uintptr_t>(reference)) - 1);
    }
    return unit;
}

} // namespace braq
