# Debian packages, split as Debian splits a library: what programs need to run, what it takes to build them, and the tool.
# The preset "package" makes what is handed out; cpack packs any other build as well, laid out as that one is.
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME braqaudio)
set(CPACK_PACKAGE_VENDOR "The BRAQAudio developers")
set(CPACK_PACKAGE_CONTACT "The BRAQAudio developers <braqaudio@example.org>")
# Each package has a summary of its own, the first line of its description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL library development)
if(TARGET braq)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
# Before version 1 every minor version may break programs, so packages of one version go together.
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
set(CPACK_COMPONENT_TOOLS_DEPENDS library)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Packages of programs that link the library learn from its package what they depend on.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# The other dependencies are those of the packages that the linked libraries are from.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME "libbraqaudio${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# The sound server, whose package also holds what its client library needs to start, and the service that gives threads
# their priority. Without them there is one device, which plays to nobody.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "pipewire, rtkit")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "audio playback, recording and metering - shared library
BRAQAudio plays audio files, records them, meters inputs, and lists and
watches audio devices, for desktop applications.
.
This package holds what programs need to run.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libbraqaudio-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# Only the static library needs these.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "libavcodec-dev, libavformat-dev, libavutil-dev, libdbus-1-dev, \
libpipewire-0.3-dev, libsoxr-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "audio playback, recording and metering - development files
BRAQAudio plays audio files, records them, meters inputs, and lists and
watches audio devices, for desktop applications.
.
This package holds headers, the static library, and descriptions for CMake
and pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME braqaudio-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "audio playback, recording and metering - command-line tool
BRAQAudio plays audio files, records them, meters inputs, and lists and
watches audio devices, for desktop applications.
.
This package holds the program braq.")

# Debian wants the terms in a file of this name for each package; other installations do without. What is compiled into the
# tool has terms of its own.
file(READ LICENSE terms)
file(READ cmake/debian/notice-of-the-tool notice)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(copyright "${PROJECT_BINARY_DIR}/copyright/${component}")
  if(component STREQUAL "tools")
    file(CONFIGURE OUTPUT "${copyright}" CONTENT "${terms}\n${notice}" @ONLY)
  else()
    file(CONFIGURE OUTPUT "${copyright}" CONTENT "${terms}" @ONLY)
  endif()
  install(FILES "${copyright}" RENAME copyright COMPONENT ${component} EXCLUDE_FROM_ALL
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
endforeach()

include(CPack)
