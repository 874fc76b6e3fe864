# Installs the build into PREFIX and runs the installed tool:
#   PREFIX/bin/zelt-camera --virtual list --json
# must list "Virtual Camera 0" through the plug-in installed in PREFIX, finding the virtual
# camera plug-in installed there too. Called by ctest with BUILD_DIR, PREFIX, BINDIR, LIBDIR, PLUGINDIR.
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}"
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${result}):\n${output}")
endif()

foreach(installed
    "${BINDIR}/zelt-camera"
    "${PLUGINDIR}/libzelt_camera.so"
    "${LIBDIR}/gstreamer-1.0/libgstzeltvcam.so")
  if(NOT EXISTS "${PREFIX}/${installed}")
    message(FATAL_ERROR "not installed: ${PREFIX}/${installed}")
  endif()
endforeach()

execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env --unset=GST_PLUGIN_PATH --unset=ZELT_CAMERA_PLUGIN
          --unset=ZELT_VIRTUAL_CAMERAS
          "${PREFIX}/${BINDIR}/zelt-camera" --virtual list --json
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the installed tool failed (${result}):\n${output}\n${errors}")
endif()
string(JSON plugin GET "${output}" plugin)
string(JSON name GET "${output}" cameras 0 name)
string(JSON count LENGTH "${output}" cameras)
if(NOT plugin STREQUAL "${PREFIX}/${BINDIR}/../${PLUGINDIR}/libzelt_camera.so")
  message(FATAL_ERROR "the installed tool loaded '${plugin}', not the installed plug-in")
endif()
if(NOT count EQUAL 1 OR NOT name STREQUAL "Virtual Camera 0")
  message(FATAL_ERROR "the installed tool listed something else:\n${output}")
endif()
message(STATUS "installed tool lists '${name}' through ${plugin}")
