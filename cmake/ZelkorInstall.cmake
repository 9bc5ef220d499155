# What is installed: the module, the programs, and what an application that loads the module is built with.
# As a CMake package (find_package(zelkor), target zelkor::host, variable ZELKOR_MODULE) and for pkg-config
# (package zelkor, variable module).

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# In the order in which a linker wants them.
set(ZELKOR_HOST_LIBRARIES
    zelkor_login zelkor_transport_client zelkor_wire zelkor_calls zelkor_cppmicroservices zelkor_records
    halvorin_foundation)
set(ZELKOR_MODULE_DIR "${CMAKE_INSTALL_LIBDIR}/zelkor")
set(include_dir "${CMAKE_INSTALL_INCLUDEDIR}/zelkor")

# Everything a host links, under one name; the same in this build and in the package.
add_library(zelkor_host INTERFACE)
add_library(zelkor::host ALIAS zelkor_host)
target_link_libraries(zelkor_host INTERFACE
  zelkor::login zelkor::connector zelkor::transport_client cppmicroservices::framework cppmicroservices::runtime_bundles
  halvorin::foundation)
set_target_properties(zelkor_host PROPERTIES EXPORT_NAME host)

install(TARGETS zelkor_host zelkor_connector zelkor_runtime_bundles ${ZELKOR_HOST_LIBRARIES}
  EXPORT zelkor
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  INCLUDES DESTINATION "${include_dir}")
install(TARGETS zelkorloginclient LIBRARY DESTINATION "${ZELKOR_MODULE_DIR}")
install(TARGETS hshd zelkorlogin RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")

foreach(dir IN ITEMS ground/foundation ground/cppmicroservices ground/connector contract/login transport)
  if(NOT (dir STREQUAL "ground/cppmicroservices" AND ZELKOR_FRAMEWORK STREQUAL "system"))
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}/include/" DESTINATION "${include_dir}")
  endif()
endforeach()
foreach(dir IN ITEMS contract/records contract/calls)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}/" DESTINATION "${include_dir}/${dir}" FILES_MATCHING PATTERN "*.h")
endforeach()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zelkor")
install(EXPORT zelkor NAMESPACE zelkor:: DESTINATION "${package_dir}" FILE zelkorTargets.cmake)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/zelkorConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/zelkorConfig.cmake"
  INSTALL_DESTINATION "${package_dir}" PATH_VARS ZELKOR_MODULE_DIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zelkorConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zelkorConfig.cmake" "${PROJECT_BINARY_DIR}/zelkorConfigVersion.cmake"
  DESTINATION "${package_dir}")

# Static libraries tell pkg-config nothing about what they need, and an installed framework knows no pkg-config: all of
# it is spelled out.
set(pc_libraries ${ZELKOR_HOST_LIBRARIES})
if(ZELKOR_FRAMEWORK STREQUAL "embedded")
  set(pc_requires " libzip libelf")
  set(runtime_bundles "")
  set(pc_framework_flags "")
  set(pc_framework_libraries "")
else()
  list(REMOVE_ITEM pc_libraries zelkor_cppmicroservices)
  set(framework_dir "$<TARGET_FILE_DIR:CppMicroServices>")
  set(runtime_bundles "$<TARGET_FILE:ConfigurationAdmin>;$<TARGET_FILE:DeclarativeServices>")
  set(pc_framework_flags " -I$<JOIN:$<TARGET_PROPERTY:CppMicroServices,INTERFACE_INCLUDE_DIRECTORIES>, -I>")
  set(pc_framework_libraries
    " -L${framework_dir} -lCppMicroServices -lusServiceComponent -Wl,-rpath,${framework_dir} -Wl,--disable-new-dtags")
endif()
list(TRANSFORM pc_libraries PREPEND "-l")
list(JOIN pc_libraries " " pc_libraries)
file(RELATIVE_PATH prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/zelkor.pc.in" "${PROJECT_BINARY_DIR}/zelkor.pc.in" @ONLY)
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/zelkor.pc" INPUT "${PROJECT_BINARY_DIR}/zelkor.pc.in")
install(FILES "${PROJECT_BINARY_DIR}/zelkor.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# A text with quotes does not survive the way from pkg-config through a shell: a header has it.
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/runtime_bundles.h" CONTENT
  "#pragma once\n\n#define ZELKOR_RUNTIME_BUNDLES \"${runtime_bundles}\"\n")
install(FILES "${PROJECT_BINARY_DIR}/runtime_bundles.h" DESTINATION "${include_dir}/zelkor")
