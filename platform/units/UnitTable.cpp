#include "platform/units/UnitTable.h"

#include <cstdint>
#include <utility>

namespace braq {
namespace {

constexpr unsigned generationBits = 32;

AudioUnit referenceTo(UInt32 place, UInt32 generation) {
    return reinterpret_cast<AudioUnit>(std::uintptr_t{generation} << generationBits | (std::uintptr_t{place} + 1));
}

} // namespace

UInt32 UnitTable::generationOf(AudioUnit reference) noexcept {
    return static_cast<UInt32>(reinterpret_cast<std::uintptr_t>(reference) >> generationBits);
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
    const UInt32 generation = place.generation.load(std::memory_order_relaxed) + 1;
    AudioUnit reference = referenceTo(number, generation);
    unit->setReference(reference);
    place.unit.store(unit.get(), std::memory_order_relaxed);
    place.owned = std::move(unit);
    place.generation.store(generation, std::memory_order_release);
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
    const UInt32 generation = generationOf(reference);
    return generation % 2 == 1 && place.generation.load(std::memory_order_acquire) == generation ? &place : nullptr;
}

std::shared_ptr<Unit> UnitTable::find(AudioUnit reference) const {
    const std::lock_guard lock(mMutex);
    const Place* place = placeOf(reference);
    return place != nullptr ? place->owned : nullptr;
}

UnitTable::Use::Use(AudioUnit reference) noexcept : mPlace(instance().placeOf(reference)) {
    if (mPlace == nullptr) {
        return;
    }
    mPlace->use.enter();
    if (mPlace->generation.load() == generationOf(reference)) {
        mUnit = mPlace->unit.load(std::memory_order_relaxed);
    }
}

UnitTable::Use::~Use() {
    if (mPlace != nullptr) {
        mPlace->use.leave();
    }
}

std::shared_ptr<Unit> UnitTable::take(AudioUnit reference) {
    std::unique_lock lock(mMutex);
    Place* place = placeOf(reference);
    if (place == nullptr) {
        return nullptr;
    }
    const UInt32 generation = place->generation.fetch_add(1) + 1;
    auto unit = std::move(place->owned);
    lock.unlock(); // users may need it to find units
    place->use.waitUntilLeft();
    lock.lock();
    place->unit.store(nullptr, std::memory_order_relaxed);
    // Better to lose a place than to reuse a reference.
    constexpr UInt32 lastGeneration = ~UInt32{0} - 1;
    if (generation < lastGeneration) {
        mFree.push_back(static_cast<UInt32>(reinterpret_cast<std::uintptr_t>(reference)) - 1);
    }
    return unit;
}

} // namespace braq
