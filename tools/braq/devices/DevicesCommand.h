#pragma once

/// Options of `braq devices`.
struct DevicesOptions {
    bool json = false;
    bool watch = false;
};

/// Lists the devices. With `watch` it then reports changes until it is interrupted or the reader closes the pipe.
/// Throws what `writeOutput` and the library throw.
void runDevices(const DevicesOptions& options);
