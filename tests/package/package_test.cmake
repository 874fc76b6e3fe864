# One step of the package tests (tests/package/CMakeLists.txt), chosen by STEP:
#   build       cpack builds the three packages of BUILD_DIR into SCRATCH/debs and dpkg-deb
#               unpacks them into SCRATCH/root; checks their names, versions and dependencies
#   lintian     lintian reports no error on the packages
#   host        the minimal host as zelt-camera-dev ships it, configured against SCRATCH/root
#               alone, records 30 frames of a virtual camera with increasing stamps and
#               12-byte headers
#   pkg_config  the shipped minimal host compiles and links with the pkg-config module alone
#   tool        the unpacked zelt-camera finds the unpacked plug-in and virtual cameras with no
#               environment variable
# Called by ctest with SOURCE_DIR, BUILD_DIR, SCRATCH, VERSION, BINDIR, LIBDIR, PLUGINDIR, CPACK,
# DPKG_DEB, LINTIAN, CXX, GENERATOR, MAKE_PROGRAM.
set(debs "${SCRATCH}/debs")
set(root "${SCRATCH}/root")
set(packages zelt-camera gstreamer1.0-zelt-vcam zelt-camera-dev)
set(example "${root}/usr/share/doc/zelt-camera-dev/examples/minimal-host")
# Whatever the calling shell points at must not reach a step: only the scratch root counts.
set(clean_env "${CMAKE_COMMAND}" -E env --unset=GST_PLUGIN_PATH --unset=ZELT_CAMERA_PLUGIN
  --unset=ZELT_VIRTUAL_CAMERAS --unset=CMAKE_PREFIX_PATH --unset=PKG_CONFIG_PATH
  --unset=LD_LIBRARY_PATH "GST_REGISTRY=${SCRATCH}/${STEP}-registry.bin" GST_REGISTRY_FORK=no
  ZELT_LOG_LEVEL=error)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
    ERROR_VARIABLE errors)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed (${result}): ${command}\n${output}\n${errors}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(package_file name out)
  file(GLOB found "${debs}/${name}_*.deb")
  list(LENGTH found count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one ${name}_*.deb in ${debs}, found: ${found}")
  endif()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# The little-endian 32-bit value at `offset` of a hexadecimal dump.
function(u32_at hex offset out)
  math(EXPR start "${offset} * 2")
  set(value 0)
  foreach(byte 3 2 1 0)
    math(EXPR at "${start} + ${byte} * 2")
    string(SUBSTRING "${hex}" ${at} 2 digits)
    math(EXPR value "(${value} << 8) + 0x${digits}")
  endforeach()
  set(${out} ${value} PARENT_SCOPE)
endfunction()

if(STEP STREQUAL "build")
  file(REMOVE_RECURSE "${SCRATCH}")
  file(MAKE_DIRECTORY "${debs}" "${root}")
  run("${CPACK}" -G DEB --config "${BUILD_DIR}/CPackConfig.cmake" -B "${debs}")
  foreach(name IN LISTS packages)
    package_file(${name} deb)
    run("${DPKG_DEB}" -f "${deb}" Package Version)
    if(NOT output STREQUAL "Package: ${name}\nVersion: ${VERSION}\n")
      message(FATAL_ERROR "${deb} says:\n${output}")
    endif()
    run("${DPKG_DEB}" -x "${deb}" "${root}")
  endforeach()
  # dpkg-shlibdeps computed what the ELF files need.
  package_file(zelt-camera deb)
  run("${DPKG_DEB}" -f "${deb}" Depends)
  foreach(needed libc6 libgstreamer1.0-0 libboost-log1.74.0 libpugixml1v5 gstreamer1.0-plugins-base)
    if(NOT output MATCHES "(^| )${needed}[ ,\n]")
      message(FATAL_ERROR "zelt-camera does not depend on ${needed}: ${output}")
    endif()
  endforeach()
  package_file(gstreamer1.0-zelt-vcam deb)
  run("${DPKG_DEB}" -f "${deb}" Depends)
  if(NOT output MATCHES "libjson-glib-1.0-0")
    message(FATAL_ERROR "gstreamer1.0-zelt-vcam does not depend on libjson-glib-1.0-0: ${output}")
  endif()
  foreach(installed
      "usr/${BINDIR}/zelt-camera"
      "usr/${PLUGINDIR}/libzelt_camera.so"
      "usr/${LIBDIR}/gstreamer-1.0/libgstzeltvcam.so"
      "usr/include/zelt-camera/zelt/daq_plugin.h"
      "usr/include/zelt-camera/config_items/config_items.h"
      "usr/${LIBDIR}/libzelt_config_items.a"
      "usr/${LIBDIR}/cmake/ZeltCamera/ZeltCameraConfig.cmake"
      "usr/${LIBDIR}/pkgconfig/zelt-camera.pc"
      "usr/share/doc/zelt-camera-dev/examples/minimal-host/main.cpp"
      "usr/share/man/man1/zelt-camera.1.gz")
    if(NOT EXISTS "${root}/${installed}")
      message(FATAL_ERROR "no package holds /${installed}")
    endif()
  endforeach()

elseif(STEP STREQUAL "lintian")
  file(GLOB all_debs "${debs}/*.deb")
  execute_process(COMMAND "${LINTIAN}" --fail-on error --tag-display-limit 0 ${all_debs}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  message(STATUS "lintian:\n${output}${errors}")
  if(NOT result EQUAL 0 OR output MATCHES "(^|\n)E: ")
    message(FATAL_ERROR "lintian reports errors (${result})")
  endif()

elseif(STEP STREQUAL "host")
  set(host_build "${SCRATCH}/minimal-host")
  file(REMOVE_RECURSE "${host_build}")
  run(${clean_env} "${CMAKE_COMMAND}" -S "${example}" -B "${host_build}"
    -G "${GENERATOR}" "-DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}" "-DCMAKE_PREFIX_PATH=${root}/usr")
  file(STRINGS "${host_build}/CMakeCache.txt" package_dir REGEX "^ZeltCamera_DIR:")
  if(NOT package_dir STREQUAL "ZeltCamera_DIR:PATH=${root}/usr/${LIBDIR}/cmake/ZeltCamera")
    message(FATAL_ERROR "the minimal host found another kit: ${package_dir}")
  endif()
  run(${clean_env} "${CMAKE_COMMAND}" --build "${host_build}")
  # No header, library or plug-in of the source or build tree on the host's command lines.
  file(GLOB_RECURSE command_files "${host_build}/build.ninja" "${host_build}/*/flags.make"
    "${host_build}/*/link.txt")
  set(output "")
  foreach(command_file IN LISTS command_files)
    file(READ "${command_file}" text)
    string(APPEND output "${text}")
  endforeach()
  foreach(tree "${SOURCE_DIR}/sdk" "${SOURCE_DIR}/lib" "${SOURCE_DIR}/host" "${SOURCE_DIR}/cmake"
      "${SOURCE_DIR}/examples" "${BUILD_DIR}/lib" "${BUILD_DIR}/vcam" "${BUILD_DIR}/bin"
      "${BUILD_DIR}/packaging")
    string(FIND "${output}" "${tree}" at)
    if(NOT at EQUAL -1)
      message(FATAL_ERROR "the minimal host was built with ${tree}:\n${output}")
    endif()
  endforeach()

  # Only the virtual cameras: every other video device provider ranked out.
  set(raw "${SCRATCH}/frames.raw")
  run(${clean_env} "GST_PLUGIN_PATH=${root}/usr/${LIBDIR}/gstreamer-1.0" ZELT_VIRTUAL_CAMERAS=1
    "GST_PLUGIN_FEATURE_RANK=v4l2deviceprovider:none,libcameraprovider:none,pipewiredeviceprovider:none"
    "${host_build}/minimal-host" "${raw}")
  message(STATUS "minimal-host:\n${output}")
  if(NOT output MATCHES "(^|\n)camera 0: Virtual Camera 0\n")
    message(FATAL_ERROR "the minimal host did not list the virtual camera")
  endif()
  string(REGEX MATCHALL "frame [0-9]+ stamp [0-9]+ bytes [0-9]+" frames "${output}")
  list(LENGTH frames count)
  if(NOT count EQUAL 30)
    message(FATAL_ERROR "the minimal host recorded ${count} frames, not 30")
  endif()
  file(SIZE "${raw}" raw_size)
  set(offset 0)
  set(index 0)
  foreach(frame IN LISTS frames)
    string(REGEX MATCH "frame ([0-9]+) stamp ([0-9]+) bytes ([0-9]+)" _ "${frame}")
    set(number ${CMAKE_MATCH_1})
    set(stamp ${CMAKE_MATCH_2})
    set(bytes ${CMAKE_MATCH_3})
    if(NOT number EQUAL index)
      message(FATAL_ERROR "frame ${index} is numbered ${number}")
    endif()
    if(index GREATER 0)
      math(EXPR step "${stamp} - ${previous}")
      if(NOT step GREATER 0)
        message(FATAL_ERROR "frame ${index} stamped ${stamp}, not after ${previous}")
      endif()
    endif()
    # The virtual camera's default mode: I420 640x480, 12 + 640*480*3/2 bytes a sample.
    if(NOT bytes EQUAL 460812)
      message(FATAL_ERROR "frame ${index} has ${bytes} bytes, not 460812")
    endif()
    file(READ "${raw}" header OFFSET ${offset} LIMIT 12 HEX)
    u32_at("${header}" 0 format)
    u32_at("${header}" 4 width)
    u32_at("${header}" 8 height)
    if(NOT format EQUAL 0x30323449 OR NOT width EQUAL 640 OR NOT height EQUAL 480)
      message(FATAL_ERROR "frame ${index} at byte ${offset}: header ${format} ${width} ${height}")
    endif()
    math(EXPR offset "${offset} + ${bytes}")
    math(EXPR index "${index} + 1")
    set(previous ${stamp})
  endforeach()
  if(NOT raw_size EQUAL offset)
    message(FATAL_ERROR "${raw} holds ${raw_size} bytes, the frames ${offset}")
  endif()

elseif(STEP STREQUAL "pkg_config")
  set(pc_env ${clean_env} "PKG_CONFIG_PATH=${root}/usr/${LIBDIR}/pkgconfig")
  run(${pc_env} pkg-config --variable=plugin zelt-camera)
  string(STRIP "${output}" plugin)
  file(REAL_PATH "${plugin}" plugin)
  if(NOT plugin STREQUAL "${root}/usr/${PLUGINDIR}/libzelt_camera.so")
    message(FATAL_ERROR "pkg-config names the plug-in ${plugin}")
  endif()
  run(${pc_env} pkg-config --cflags --libs zelt-camera gstreamer-1.0)
  string(STRIP "${output}" flags)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run("${CXX}" -std=c++17 "-DZELT_CAMERA_PLUGIN=\"${plugin}\""
    "${example}/main.cpp" ${flags} -ldl
    -o "${SCRATCH}/minimal-host-pkg-config")

elseif(STEP STREQUAL "tool")
  run(${clean_env} "${root}/usr/${BINDIR}/zelt-camera" --virtual list --json)
  string(JSON plugin GET "${output}" plugin)
  string(JSON name GET "${output}" cameras 0 name)
  if(NOT plugin STREQUAL "${root}/usr/${BINDIR}/../${PLUGINDIR}/libzelt_camera.so")
    message(FATAL_ERROR "the packaged tool loaded '${plugin}', not the packaged plug-in")
  endif()
  if(NOT name STREQUAL "Virtual Camera 0")
    message(FATAL_ERROR "the packaged tool listed something else:\n${output}")
  endif()

else()
  message(FATAL_ERROR "unknown STEP '${STEP}'")
endif()
