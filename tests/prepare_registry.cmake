# Writes one of the sealed environment's GStreamer registries before any test runs, with
# GStreamer's own gst-inspect-1.0 (built without sanitizers). A test process that found its
# registry missing or stale would scan every installed plug-in itself, loading each one in
# process, and the sanitizers would report what those libraries leak (pango's
# font-configuration thread).
# Called by ctest with GST_INSPECT, REGISTRY and PLUGIN_PATH (empty: installed plug-ins only).
execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env --unset=GST_PLUGIN_PATH_1_0
          "GST_REGISTRY=${REGISTRY}" "GST_PLUGIN_PATH=${PLUGIN_PATH}" "${GST_INSPECT}" --version
  RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors)
if(NOT result EQUAL 0 OR NOT EXISTS "${REGISTRY}")
  message(FATAL_ERROR "gst-inspect-1.0 did not write ${REGISTRY} (${result}):\n${errors}")
endif()
message(STATUS "registry ${REGISTRY} written (plug-in path '${PLUGIN_PATH}')")
