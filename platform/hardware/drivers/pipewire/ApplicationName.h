#pragma once

namespace braq::pipewire {

/// The name of this process on the server and in its mixers: that of its program.
const char* applicationName();

} // namespace braq::pipewire
