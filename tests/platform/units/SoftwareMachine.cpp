#include "tests/support/SoftwareDriversOnly.h"

namespace {

const braq::testing::SoftwareDriversOnly softwareDriversOnly;

} // namespace
