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

# Under ThreadSanitizer the executables carry their own definitions of GLib's lock functions,
# which tell TSan what GLib's futex-based locks order (tests/sanitizers/tsan_glib_locks.cpp).
# They are exported so that GStreamer's calls bind to them.
if(ZELT_SANITIZE STREQUAL "thread")
  add_library(zelt_tsan_glib_locks OBJECT ${CMAKE_CURRENT_LIST_DIR}/../tests/sanitizers/tsan_glib_locks.cpp)
  target_link_libraries(zelt_tsan_glib_locks PRIVATE zelt_compile_options)
  target_link_libraries(zelt_tsan_glib_locks INTERFACE ${CMAKE_DL_LIBS})
  target_link_options(zelt_tsan_glib_locks INTERFACE
    "LINKER:--export-dynamic-symbol=g_mutex_*"
    "LINKER:--export-dynamic-symbol=g_rec_mutex_*"
    "LINKER:--export-dynamic-symbol=g_rw_lock_*"
    "LINKER:--export-dynamic-symbol=g_cond_wait*"
    "LINKER:--export-dynamic-symbol=g_thread_pool_new"
    "LINKER:--export-dynamic-symbol=g_thread_pool_push"
    "LINKER:--export-dynamic-symbol=g_main_loop_new"
    "LINKER:--export-dynamic-symbol=g_source_*")
endif()

# Links what an executable of the project needs under the sanitizer in use.
function(zelt_sanitized_executable target)
  if(TARGET zelt_tsan_glib_locks)
    target_link_libraries(${target} PRIVATE zelt_tsan_glib_locks)
  endif()
endfunction()
