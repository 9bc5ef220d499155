# Everything found outside the repository, once, as imported targets.

set(Boost_NO_WARN_NEW_VERSIONS ON)
find_package(Boost 1.81 REQUIRED COMPONENTS log json thread)
find_package(Threads REQUIRED)
find_package(CapnProto REQUIRED)
# Programs take it in, where it is there as static libraries, which are not fit for shared ones: the loader's work for two
# libraries more is a tenth of a program that asks one question.
find_library(static_capnp libcapnp.a)
find_library(static_kj libkj.a)
add_library(zelkor_capnp INTERFACE)
if(static_capnp AND static_kj)
  target_link_libraries(zelkor_capnp INTERFACE
    "$<IF:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>,${static_capnp};${static_kj},CapnProto::capnp>")
else()
  target_link_libraries(zelkor_capnp INTERFACE CapnProto::capnp)
endif()
find_package(SQLite3 REQUIRED)
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(libsodium REQUIRED IMPORTED_TARGET libsodium)
if(ZELKOR_FRAMEWORK STREQUAL "system")
  find_package(CppMicroServices CONFIG REQUIRED COMPONENTS
    Framework ServiceComponent usAsyncWorkService DeclarativeServices ConfigurationAdmin)
elseif(ZELKOR_FRAMEWORK STREQUAL "embedded")
  # pkg-config, for the CMake package of libzip wants its command-line tools as well.
  pkg_check_modules(libzip REQUIRED IMPORTED_TARGET libzip)
  pkg_check_modules(libelf REQUIRED IMPORTED_TARGET libelf)
else()
  message(FATAL_ERROR "ZELKOR_FRAMEWORK is '${ZELKOR_FRAMEWORK}'; set it to 'embedded' or 'system'.")
endif()
if(ZELKOR_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(ZELKOR_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
