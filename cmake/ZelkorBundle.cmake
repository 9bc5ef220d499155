# zelkor_bundle(TARGET NAME symbolic.name MANIFEST file)
# Makes a library a bundle: gives it its symbolic name, and its manifest as a zip archive in the ELF section
# .us_resources, where frameworks look for it. The section survives strip.
function(zelkor_bundle target)
  cmake_parse_arguments(arg "" "NAME;MANIFEST" "" ${ARGN})
  cmake_path(ABSOLUTE_PATH arg_MANIFEST BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
  set(tree "${CMAKE_CURRENT_BINARY_DIR}/${target}_resources")
  set(zip "${CMAKE_CURRENT_BINARY_DIR}/${target}_resources.zip")
  add_custom_command(OUTPUT "${zip}"
    COMMAND ${CMAKE_COMMAND} -E rm -rf "${tree}"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${tree}/${arg_NAME}"
    COMMAND ${CMAKE_COMMAND} -E copy "${arg_MANIFEST}" "${tree}/${arg_NAME}/manifest.json"
    # The same sources give the same bytes.
    COMMAND ${CMAKE_COMMAND} -E chdir "${tree}" ${CMAKE_COMMAND} -E tar cf "${zip}" --format=zip
            "--mtime=2000-01-01 00:00:00 UTC" -- "${arg_NAME}"
    DEPENDS "${arg_MANIFEST}"
    COMMENT "Packing the manifest of ${arg_NAME}"
    VERBATIM)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}_resources.cpp")
  file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [[
// "a": part of the file and of memory; "R": kept when unused sections are dropped.
asm(".pushsection .us_resources, \"aR\", @progbits\n"
    ".incbin \"@zip@\"\n"
    ".popsection");
]])
  set_source_files_properties("${source}" PROPERTIES OBJECT_DEPENDS "${zip}" SKIP_PRECOMPILE_HEADERS ON)
  target_sources(${target} PRIVATE "${source}")
  target_compile_definitions(${target} PRIVATE US_BUNDLE_NAME=${arg_NAME})
  set_target_properties(${target} PROPERTIES NO_SONAME ON)
endfunction()
