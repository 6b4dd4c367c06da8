# The lock-free stack swaps a counter and a pointer as one 16-byte word. That instruction must be inlined: a library call
# may take a lock, which the real-time thread must never do.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(BRAQ_PROCESSOR_OPTIONS -mcx16)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(BRAQ_PROCESSOR_OPTIONS)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(BRAQ_PROCESSOR_OPTIONS -mno-outline-atomics)
  endif()
else()
  message(FATAL_ERROR
    "BRAQAudio does not build for ${CMAKE_SYSTEM_PROCESSOR}: its real-time hand-over needs an inline, lock-free 16-byte "
    "compare-and-swap, which is known only for x86-64 (cmpxchg16b) and AArch64 (CASP or an exclusive pair).")
endif()
