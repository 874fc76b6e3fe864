# Writes one of the sealed environment's GStreamer registries before any test runs, with
# GStreamer's own gst-inspect-1.0 (built without sanitizers). A test process that found its
# registry missing or stale would scan every installed plug-in itself, loading each one in
# process, and the sanitizers would report what those libraries leak and race (pango's
# font-configuration thread, OpenNI2's locks). Only the installed plug-ins are scanned here: the
# build tree's virtual cameras are built with the sanitizer of the build and cannot be loaded
# by gst-inspect-1.0; the first test process adds them to the registry itself.
# Called by ctest with GST_INSPECT and REGISTRY.
execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env --unset=GST_PLUGIN_PATH --unset=GST_PLUGIN_PATH_1_0
          "GST_REGISTRY=${REGISTRY}" "${GST_INSPECT}" --version
  RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors)
if(NOT result EQUAL 0 OR NOT EXISTS "${REGISTRY}")
  message(FATAL_ERROR "gst-inspect-1.0 did not write ${REGISTRY} (${result}):\n${errors}")
endif()
message(STATUS "registry ${REGISTRY} holds the installed plug-ins")
