#pragma once

namespace braq::pipewire {

/// What the server and its mixers call this process: the name of its program.
const char* applicationName();

} // namespace braq::pipewire
