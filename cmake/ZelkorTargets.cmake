# Small helpers so that each folder's CMakeLists.txt says only what is its own.
include(GoogleTest OPTIONAL)

# zelkor_library(TARGET ALIAS ns::name SOURCES ... [PUBLIC libs...] [PRIVATE libs...] [INCLUDE dirs...] [FOR_HOSTS])
# A static library with a namespaced alias. INCLUDE directories are public,
# relative to the calling folder. FOR_HOSTS: it is part of libzelkorhost.so as well, which lets others see it.
function(zelkor_library target)
  cmake_parse_arguments(arg "FOR_HOSTS" "ALIAS" "SOURCES;PUBLIC;PRIVATE;INCLUDE" ${ARGN})
  if(arg_SOURCES)
    add_library(${target} STATIC ${arg_SOURCES})
    set(scope PUBLIC)
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  add_library(${arg_ALIAS} ALIAS ${target})
  foreach(dir IN LISTS arg_INCLUDE)
    target_include_directories(${target} ${scope} "$<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/${dir}>")
  endforeach()
  target_compile_features(${target} ${scope} cxx_std_20) # of who includes the headers, too
  if(arg_FOR_HOSTS AND arg_SOURCES)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET default VISIBILITY_INLINES_HIDDEN OFF)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # clang does so of itself
      target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    endif()
  endif()
  target_link_libraries(${target} ${scope} ${arg_PUBLIC})
  if(arg_PRIVATE)
    target_link_libraries(${target} PRIVATE ${arg_PRIVATE})
  endif()
endfunction()

# zelkor_test(TARGET SOURCES ... [LIBS libs...] [LABELS labels...] [TIMEOUT seconds])
# One test program; every TEST in it is a ctest case.
function(zelkor_test target)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE ${arg_LIBS} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 TEST_LIST ${target}_cases
    PROPERTIES TIMEOUT ${arg_TIMEOUT})
  # Labels are set in a file of their own: of a list among the PROPERTIES above
  # only the first element arrives.
  if(arg_LABELS)
    set(labels "${CMAKE_CURRENT_BINARY_DIR}/${target}_labels.cmake")
    file(CONFIGURE OUTPUT "${labels}" @ONLY CONTENT [[
if(@target@_cases)
  set_tests_properties(${@target@_cases} PROPERTIES LABELS "@arg_LABELS@")
endif()
]])
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${labels}")
  endif()
endfunction()
