# What is installed: the module, the programs, and what an application that loads the module is built with.
# As a CMake package (find_package(zelkor), target zelkor::host, variable ZELKOR_MODULE) and for pkg-config
# (package zelkor, variable module).

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZELKOR_MODULE_DIR "${CMAKE_INSTALL_LIBDIR}/zelkor")
set(include_dir "${CMAKE_INSTALL_INCLUDEDIR}/zelkor")

install(TARGETS zelkor_host zelkor_runtime_bundles
  EXPORT zelkor
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  INCLUDES DESTINATION "${include_dir}")
# For who asks for find_package(zelkor COMPONENTS static).
install(TARGETS zelkor_host_static zelkor_connector zelkor_login zelkor_prompt zelkor_transport_client zelkor_wire zelkor_calls
                zelkor_cppmicroservices zelkor_records halvorin_foundation
  EXPORT zelkor_static
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  INCLUDES DESTINATION "${include_dir}")
install(TARGETS zelkorloginclient LIBRARY DESTINATION "${ZELKOR_MODULE_DIR}")
install(TARGETS hshd zelkorlogin RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS hshd-keyring RUNTIME DESTINATION "${CMAKE_INSTALL_LIBEXECDIR}/hshd")

foreach(dir IN ITEMS ground/foundation ground/cppmicroservices ground/connector contract/login contract/prompt transport)
  if(NOT (dir STREQUAL "ground/cppmicroservices" AND ZELKOR_FRAMEWORK STREQUAL "system"))
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}/include/" DESTINATION "${include_dir}"
      PATTERN json.h EXCLUDE # our own use of a library that hosts need not have
      PATTERN Server.h EXCLUDE)
  endif()
endforeach()
foreach(dir IN ITEMS contract/records contract/calls)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}/" DESTINATION "${include_dir}/${dir}" FILES_MATCHING PATTERN "*.h")
endforeach()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zelkor")
install(EXPORT zelkor NAMESPACE zelkor:: DESTINATION "${package_dir}" FILE zelkorTargets.cmake)
install(EXPORT zelkor_static NAMESPACE zelkor:: DESTINATION "${package_dir}" FILE zelkorStaticTargets.cmake)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/zelkorConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/zelkorConfig.cmake"
  INSTALL_DESTINATION "${package_dir}" PATH_VARS ZELKOR_MODULE_DIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zelkorConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zelkorConfig.cmake" "${PROJECT_BINARY_DIR}/zelkorConfigVersion.cmake"
  DESTINATION "${package_dir}")

# An installed framework knows no pkg-config: it is spelled out.
if(ZELKOR_FRAMEWORK STREQUAL "embedded")
  set(runtime_bundles "")
  set(pc_framework_flags "")
  set(pc_framework_libraries "")
else()
  set(framework_dir "$<TARGET_FILE_DIR:CppMicroServices>")
  set(runtime_bundles "$<TARGET_FILE:ConfigurationAdmin>;$<TARGET_FILE:DeclarativeServices>")
  set(pc_framework_flags " -I$<JOIN:$<TARGET_PROPERTY:CppMicroServices,INTERFACE_INCLUDE_DIRECTORIES>, -I>")
  set(pc_framework_libraries
    " -L${framework_dir} -lCppMicroServices -lusServiceComponent -Wl,-rpath,${framework_dir} -Wl,--disable-new-dtags")
endif()
file(RELATIVE_PATH prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/zelkor.pc.in" "${PROJECT_BINARY_DIR}/zelkor.pc.in" @ONLY)
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/zelkor.pc" INPUT "${PROJECT_BINARY_DIR}/zelkor.pc.in")
# Where the loader looks anyway, programs want no run path.
install(CODE "
  file(READ \"${PROJECT_BINARY_DIR}/zelkor.pc\" text)
  if(NOT CMAKE_INSTALL_PREFIX MATCHES \"^/usr(/local)?/?$\")
    string(REPLACE \"-lzelkorhost\" \"-lzelkorhost -Wl,-rpath,\\\${libdir}\" text \"\${text}\")
  endif()
  file(WRITE \"${PROJECT_BINARY_DIR}/installed/zelkor.pc\" \"\${text}\")
  file(INSTALL \"${PROJECT_BINARY_DIR}/installed/zelkor.pc\"
       DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\")
")

# A text with quotes does not survive the way from pkg-config through a shell: a header has it.
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/runtime_bundles.h" CONTENT
  "#pragma once\n\n#define ZELKOR_RUNTIME_BUNDLES \"${runtime_bundles}\"\n")
install(FILES "${PROJECT_BINARY_DIR}/runtime_bundles.h" DESTINATION "${include_dir}/zelkor")
