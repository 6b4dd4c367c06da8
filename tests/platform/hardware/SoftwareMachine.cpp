#include "tests/support/SoftwareDriversOnly.h"

namespace {

const braq::tests::SoftwareDriversOnly softwareDriversOnly;

} // namespace
