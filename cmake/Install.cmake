# What an application needs to build against the library: the kinds of it that were chosen, the public headers in one
# folder, and a description each for CMake and pkg-config. Nothing installed names a folder of the machine that built it.
#
# The components, for who wants a part only: "library" is what a program needs to run, "development" what it takes to build
# one, "tools" the programs for users.
include(CMakePackageConfigHelpers)

if(BRAQ_BUILD_SHARED)
  install(TARGETS BRAQAudio EXPORT BRAQAudioTargets COMPONENT library
    LIBRARY COMPONENT library NAMELINK_COMPONENT development)
endif()
if(BRAQ_BUILD_STATIC)
  install(TARGETS BRAQAudio_static EXPORT BRAQAudioTargets COMPONENT development)
endif()
# How the library's own threads are scheduled, and what they run, is between it and the platform.
install(DIRECTORY include/BRAQAudio DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "platform/threads.h" EXCLUDE PATTERN "platform/BRAQWorkQueue.h" EXCLUDE)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/BRAQAudio")
install(EXPORT BRAQAudioTargets NAMESPACE BRAQAudio:: DESTINATION "${package_dir}" COMPONENT development)
configure_package_config_file(cmake/BRAQAudioConfig.cmake.in "${PROJECT_BINARY_DIR}/BRAQAudioConfig.cmake"
  INSTALL_DESTINATION "${package_dir}"
  NO_SET_AND_CHECK_MACRO)
# Before version 1 every minor version may break what was built against the one before.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/BRAQAudioConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/BRAQAudioConfig.cmake" "${PROJECT_BINARY_DIR}/BRAQAudioConfigVersion.cmake"
  DESTINATION "${package_dir}" COMPONENT development)

# Relative to the file itself, so that a prefix can be moved.
set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH BRAQ_PKGCONFIG_TO_PREFIX "/prefix/${pkgconfig_dir}" "/prefix")
# The last ones are those that a compiler for C does not link by itself.
set(needed_libraries " -ldbus-1 -lpipewire-0.3 -lavformat -lavcodec -lavutil -lsoxr -lSoundTouch -pthread")
foreach(standard_library stdc++ c++)
  if(standard_library IN_LIST CMAKE_CXX_IMPLICIT_LINK_LIBRARIES)
    string(APPEND needed_libraries " -l${standard_library}")
  endif()
endforeach()
string(APPEND needed_libraries " -lm")
if(BRAQ_BUILD_SHARED)
  set(BRAQ_LIBS_OF_STATIC_ONLY "${needed_libraries}")
else()
  set(BRAQ_LIBS_OF_EITHER_KIND "${needed_libraries}")
endif()
configure_file(cmake/BRAQAudio.pc.in "${PROJECT_BINARY_DIR}/BRAQAudio.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/BRAQAudio.pc" DESTINATION "${pkgconfig_dir}" COMPONENT development)
