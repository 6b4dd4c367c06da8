#include "platform/samples/FixedRateConverter.h"

#include <soxr.h>

namespace braq {

std::unique_ptr<FixedRateConverter> FixedRateConverter::create(Float64 fromRate, Float64 toRate, UInt32 channels,
                                                               Quality quality) {
    const soxr_io_spec_t planar = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t recipe =
        soxr_quality_spec(quality == Quality::high ? SOXR_HQ : SOXR_VHQ, SOXR_LINEAR_PHASE);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    std::unique_ptr<soxr, Deleter> made(soxr_create(fromRate, toRate, channels, &error, &planar, &recipe, &oneThread));
    if (error != nullptr || made == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<FixedRateConverter>(new FixedRateConverter(made.release()));
}

FixedRateConverter::FixedRateConverter(soxr* converter) : mConverter(converter) {}

FixedRateConverter::~FixedRateConverter() = default;

void FixedRateConverter::Deleter::operator()(soxr* converter) const noexcept { soxr_delete(converter); }

FixedRateConverter::Progress FixedRateConverter::process(const float* const* from, std::size_t frames, float* const* to,
                                                         std::size_t capacity) noexcept {
    Progress progress;
    // libsoxr takes arrays of channels as pointers to anything, and changes neither.
    const soxr_error_t error = soxr_process(mConverter.get(), from, frames, &progress.taken, const_cast<float**>(to),
                                            capacity, &progress.made);
    progress.isGood = error == nullptr;
    return progress;
}

void FixedRateConverter::clear() noexcept { soxr_clear(mConverter.get()); }

} // namespace braq
