# What a builder may choose, and the compiler settings that follow.

set(ZELKOR_FRAMEWORK "embedded" CACHE STRING
    "Service-component framework: 'embedded' (in ground/) or 'system' (find_package)")
set_property(CACHE ZELKOR_FRAMEWORK PROPERTY STRINGS embedded system)
option(ZELKOR_BUILD_TESTS "Build the test suite" ON)
option(ZELKOR_BUILD_BENCH "Build the benchmarks" ON)
option(ZELKOR_BUILD_FUZZ "Build the fuzz targets (clang only)" OFF)
option(ZELKOR_WERROR "Treat warnings as errors" ON)
set(ZELKOR_SANITIZE "" CACHE STRING "Sanitizers for every target, e.g. 'thread' or 'address,undefined'")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# The module is a shared library built from these static ones.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(ZELKOR_CCACHE ccache)
if(ZELKOR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # With paths taken relative to the tree, a second clone finds what the first one compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND};-E;env;CCACHE_BASEDIR=${PROJECT_SOURCE_DIR};CCACHE_NOHASHDIR=1;${ZELKOR_CCACHE}")
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wshadow=local)
endif()
if(ZELKOR_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options(-Wthread-safety)
endif()
if(ZELKOR_SANITIZE)
  add_compile_options(-fsanitize=${ZELKOR_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZELKOR_SANITIZE})
  if(ZELKOR_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
  if(ZELKOR_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ warns that atomic_thread_fence is not modelled; none of ours relies on it.
    add_compile_options(-Wno-tsan)
  endif()
endif()
