#include "library/src/ClassKind.h"

#include <cstring>

namespace braq {
namespace {

// The ABI's records. Not every C++ library declares them in a header.
struct ClassRecord {
    const void* vtable;
    const char* name;
};
struct SingleBaseRecord {
    ClassRecord itself;
    const std::type_info* base;
};
struct BaseRecord {
    const std::type_info* base;
    long offsetAndFlags;
};
struct SeveralBasesRecord {
    ClassRecord itself;
    unsigned int flags;
    unsigned int count;
    BaseRecord first; // of `count`
};

constexpr long kIsPublic = 2;

bool isRecordOf(const std::type_info& info, const char* kind) noexcept {
    return std::strcmp(typeid(info).name(), kind) == 0;
}

} // namespace

bool isSameOrDerivedClass(const std::type_info& derived, const std::type_info& base) noexcept {
    if (derived == base) {
        return true;
    }
    const void* const record = &derived;
    if (isRecordOf(derived, "N10__cxxabiv120__si_class_type_infoE")) {
        return isSameOrDerivedClass(*static_cast<const SingleBaseRecord*>(record)->base, base);
    }
    if (isRecordOf(derived, "N10__cxxabiv121__vmi_class_type_infoE")) {
        const auto* const several = static_cast<const SeveralBasesRecord*>(record);
        const BaseRecord* const end = &several->first + several->count;
        for (const BaseRecord* each = &several->first; each != end; ++each) {
            if ((each->offsetAndFlags & kIsPublic) != 0 && isSameOrDerivedClass(*each->base, base)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace braq
