#pragma once

namespace braq::tests {

/// Keeps a test program away from the sound server of the machine: while the program starts, the hardware service is told
/// to find software devices only, of which there are none until a test makes one. One file of the program has, at
/// namespace scope:
///
///     const braq::tests::SoftwareDriversOnly softwareDriversOnly;
class SoftwareDriversOnly {
  public:
    SoftwareDriversOnly();
};

} // namespace braq::tests
