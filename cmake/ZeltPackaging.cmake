# What is installed besides the three run-time files, and how CPack turns the installation into
# Debian packages. Each install() rule names one of three components, one package each:
#
#   runtime  zelt-camera             the camera plug-in (<libdir>/zelt/plugins/libzelt_camera.so)
#                                    and the zelt-camera tool (bin/)
#   vcam     gstreamer1.0-zelt-vcam  the virtual cameras, a GStreamer plug-in
#                                    (<libdir>/gstreamer-1.0/libgstzeltvcam.so)
#   dev      zelt-camera-dev         the kit for host developers: headers
#                                    (include/zelt-camera/), libzelt_config_items.a, the CMake
#                                    package ZeltCamera and the pkg-config module zelt-camera
#
# The virtual cameras are a package of their own so that a machine with real cameras does not
# get a second device provider in every GStreamer application; zelt-camera only suggests it.
# Every version below is the project() version.
include(CMakePackageConfigHelpers)

set(ZELT_KIT_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/zelt-camera")
set(ZELT_CMAKE_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ZeltCamera")
set(ZELT_PACKAGING_DIR "${CMAKE_BINARY_DIR}/packaging")

# --- The kit ----------------------------------------------------------------------------------

# The host interfaces and the configuration items, in their own folder so that the short
# top-level names (zelt/, tsa/, uni/, ...) do not land in /usr/include.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/sdk/include/" "${PROJECT_SOURCE_DIR}/lib/config_items/inc/"
  DESTINATION "${ZELT_KIT_INCLUDE_DIR}" COMPONENT dev FILES_MATCHING PATTERN "*.h")
# ConfigItem and the constraints have code of their own; a host links it statically, as the
# plug-in does, so that the kit has no shared library whose ABI would need a package of its own.
install(TARGETS config_items ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev)

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/ZeltCameraConfig.cmake.in"
  "${ZELT_PACKAGING_DIR}/ZeltCameraConfig.cmake"
  INSTALL_DESTINATION "${ZELT_CMAKE_PACKAGE_DIR}"
  PATH_VARS ZELT_KIT_INCLUDE_DIR CMAKE_INSTALL_LIBDIR ZELT_PLUGIN_INSTALL_DIR)
# 0.x releases may change the interfaces with every minor version.
write_basic_package_version_file("${ZELT_PACKAGING_DIR}/ZeltCameraConfigVersion.cmake"
  VERSION "${PROJECT_VERSION}" COMPATIBILITY SameMinorVersion)
install(FILES "${ZELT_PACKAGING_DIR}/ZeltCameraConfig.cmake"
              "${ZELT_PACKAGING_DIR}/ZeltCameraConfigVersion.cmake"
  DESTINATION "${ZELT_CMAKE_PACKAGE_DIR}" COMPONENT dev)

# The pkg-config module finds its prefix from its own folder, so that it holds wherever the
# installation is unpacked.
file(RELATIVE_PATH ZELT_PC_PREFIX_FROM_PCFILEDIR
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" ZELT_PC_PREFIX_FROM_PCFILEDIR "${ZELT_PC_PREFIX_FROM_PCFILEDIR}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/zelt-camera.pc.in"
  "${ZELT_PACKAGING_DIR}/zelt-camera.pc" @ONLY)
install(FILES "${ZELT_PACKAGING_DIR}/zelt-camera.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)

# The minimal host, the starting point a host developer copies.
install(FILES "${PROJECT_SOURCE_DIR}/examples/minimal-host/CMakeLists.txt"
              "${PROJECT_SOURCE_DIR}/examples/minimal-host/main.cpp"
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/zelt-camera-dev/examples/minimal-host"
  COMPONENT dev)

# --- Debian packages --------------------------------------------------------------------------

set(ZELT_PACKAGE_MAINTAINER "zelt-camera maintainers <zelt-camera@example.org>" CACHE STRING
  "Maintainer field of the Debian packages and their changelog")
set(ZELT_DEB_RUNTIME zelt-camera)
set(ZELT_DEB_VCAM gstreamer1.0-zelt-vcam)
set(ZELT_DEB_DEV zelt-camera-dev)

# gzip -9n: `source` compressed into `target`, without a name or time stamp; `what` names the
# file in the error that stops the configuration when gzip fails.
function(zelt_gzip_reproducibly source target what)
  execute_process(COMMAND gzip -9nc "${source}" OUTPUT_FILE "${target}"
    RESULT_VARIABLE _result)
  if(NOT _result EQUAL 0)
    message(FATAL_ERROR "gzip could not compress ${what} (${_result})")
  endif()
endfunction()

# Every package carries the copyright file and the changelog in /usr/share/doc/<package>/.
# The packages are native (no Debian revision): the changelog is changelog.gz, compressed
# without a time stamp so that two builds give the same bytes. The top entry of
# cmake/debian/changelog.in carries the project() version: a release writes its own entry on
# top of the earlier ones, whose versions are then spelled out.
configure_file("${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in"
  "${ZELT_PACKAGING_DIR}/changelog" @ONLY)
zelt_gzip_reproducibly("${ZELT_PACKAGING_DIR}/changelog" "${ZELT_PACKAGING_DIR}/changelog.gz"
  "the Debian changelog")
# The tool's manual page, compressed the same way.
zelt_gzip_reproducibly("${PROJECT_SOURCE_DIR}/docs/zelt-camera.1"
  "${ZELT_PACKAGING_DIR}/zelt-camera.1.gz" "the manual page")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  "${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in" "${PROJECT_SOURCE_DIR}/docs/zelt-camera.1")
install(FILES "${ZELT_PACKAGING_DIR}/zelt-camera.1.gz"
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT runtime)
foreach(_component runtime vcam dev)
  string(TOUPPER "${_component}" _upper)
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/debian/copyright" "${ZELT_PACKAGING_DIR}/changelog.gz"
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${ZELT_DEB_${_upper}}" COMPONENT ${_component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelt-camera)
set(CPACK_PACKAGE_VENDOR "zelt-camera")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "${ZELT_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime vcam dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${ZELT_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Run-time dependencies come from dpkg-shlibdeps; the fields below add what no ELF file says.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${ZELT_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION video)
# The capture pipeline converts with videoconvert (base); real cameras come through the V4L2
# device provider (good), and the tool records Matroska and PNG with elements of good.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "gstreamer1.0-plugins-base")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "gstreamer1.0-plugins-good")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "${ZELT_DEB_VCAM}")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "camera plug-in for the zelt data-acquisition host
The plug-in finds USB and system cameras through the GStreamer device
monitor, offers each as a channel with frame settings and hands every frame
to the host as one image sample time-stamped on the host's clock.
This package holds the plug-in, installed in the host's plug-in folder, and
the zelt-camera tool, which lists, describes and records the cameras through
the plug-in.")

set(CPACK_DEBIAN_VCAM_PACKAGE_NAME ${ZELT_DEB_VCAM})
set(CPACK_DEBIAN_VCAM_PACKAGE_SECTION video)
set(CPACK_DEBIAN_VCAM_PACKAGE_ENHANCES "${ZELT_DEB_RUNTIME}")
set(CPACK_DEBIAN_VCAM_DESCRIPTION "virtual cameras for testing the zelt camera plug-in
A GStreamer plug-in with a device provider and a live source that stand in
for real cameras in tests and demonstrations. It offers no camera unless
ZELT_VIRTUAL_CAMERAS is set or zelt-camera is run with --virtual.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${ZELT_DEB_DEV})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# A host includes the Boost headers of ConfigItem, links Boost.Log and initialises GStreamer
# itself before the plug-in's init.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "${ZELT_DEB_RUNTIME} (= ${PROJECT_VERSION}), libboost-log1.74-dev, libboost1.74-dev, libgstreamer1.0-dev")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "${ZELT_DEB_VCAM}")
set(CPACK_DEBIAN_DEV_DESCRIPTION "host plug-in kit of the zelt camera plug-in
The kit a data-acquisition host is built against: the host interfaces the
plug-in implements, the configuration items (ConfigItem) and constraints with
their library, a CMake package (find_package(ZeltCamera)) and a pkg-config
module (zelt-camera).")

include(CPack)
