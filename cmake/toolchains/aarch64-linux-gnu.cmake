# Builds for AArch64 on another processor, with Debian's cross compiler and with the libraries of the architecture arm64
# beside those of the machine's own (dpkg --add-architecture arm64). Programs that the build runs, and ctest, run under QEMU
# where it is installed.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# Libraries of both architectures lie below the same root; only their folders differ, and pkg-config has to be told.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig")

find_program(BRAQ_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static)
if(BRAQ_QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${BRAQ_QEMU_AARCH64}")
endif()
