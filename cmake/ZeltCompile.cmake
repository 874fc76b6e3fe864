# Warnings and sanitizers shared by every target of the project.
add_library(zelt_compile_options INTERFACE)
target_compile_options(zelt_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wno-unused-parameter
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)

# The presets of the test command turn this on, so that a warning fails the build there.
option(ZELT_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
if(ZELT_WARNINGS_AS_ERRORS)
  target_compile_options(zelt_compile_options INTERFACE -Werror)
endif()

if(ZELT_SANITIZE)
  add_compile_options(-fsanitize=${ZELT_SANITIZE} -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${ZELT_SANITIZE})
  if(ZELT_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

# Under ThreadSanitizer the executables carry their own definitions of GLib's and GStreamer's
# functions that hand memory between threads, which tell TSan what those order
# (tests/sanitizers/tsan_glib_locks.cpp). They are exported so that the libraries' calls bind
# to them.
if(ZELT_SANITIZE STREQUAL "thread")
  add_library(zelt_tsan_glib_locks OBJECT ${CMAKE_CURRENT_LIST_DIR}/../tests/sanitizers/tsan_glib_locks.cpp)
  target_link_libraries(zelt_tsan_glib_locks PRIVATE zelt_compile_options PkgConfig::GST
                                             PUBLIC PkgConfig::GLIB ${CMAKE_DL_LIBS})
  target_link_options(zelt_tsan_glib_locks INTERFACE
    "LINKER:--export-dynamic-symbol=g_*" "LINKER:--export-dynamic-symbol=gst_*")
endif()

# What the leak checkers (LeakSanitizer, memcheck) must not count: the device references the
# camera plug-in keeps by design, released when a process exits
# (tests/sanitizers/kept_device_references.cpp; the two parse functions it replaces are
# exported so that the plug-in's calls bind to them), and GLib's first quark block, which GLib
# drops on purpose when its quark table grows (tests/sanitizers/glib_first_quark_block.cpp).
add_library(zelt_leak_check_support OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/../tests/sanitizers/kept_device_references.cpp
  ${CMAKE_CURRENT_LIST_DIR}/../tests/sanitizers/glib_first_quark_block.cpp)
target_link_libraries(zelt_leak_check_support PRIVATE zelt_compile_options
                                              PUBLIC PkgConfig::GST ${CMAKE_DL_LIBS})
target_link_options(zelt_leak_check_support INTERFACE
  "LINKER:--export-dynamic-symbol=gst_message_parse_device_*")

# Links the leak checkers' support into `target` (once).
function(zelt_leak_checked_executable target)
  get_target_property(_linked ${target} ZELT_LEAK_CHECKED)
  if(NOT _linked)
    target_link_libraries(${target} PRIVATE zelt_leak_check_support)
    set_target_properties(${target} PROPERTIES ZELT_LEAK_CHECKED ON)
  endif()
endfunction()

# Links what an executable of the project needs under the sanitizer in use.
function(zelt_sanitized_executable target)
  if(TARGET zelt_tsan_glib_locks)
    target_link_libraries(${target} PRIVATE zelt_tsan_glib_locks)
  endif()
  if(ZELT_SANITIZE MATCHES "address")
    zelt_leak_checked_executable(${target})
  endif()
endfunction()
