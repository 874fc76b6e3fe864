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
