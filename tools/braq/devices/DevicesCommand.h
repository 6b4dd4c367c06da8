#pragma once

/// What `braq devices` is asked for.
struct DevicesOptions {
    bool json = false;
    bool watch = false;
};

/// Lists the devices, and with `watch` then tells of each change until it is interrupted or nobody reads any more.
/// Throws what `writeOutput` and the library throw.
void runDevices(const DevicesOptions& options);
