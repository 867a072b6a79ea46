# The version with its commit, as a source file of the build folder. It is looked at by every build and written only
# when it has changed, so that a new commit compiles one file.
if(CMAKE_SCRIPT_MODE_FILE)
  set(commit "")
  execute_process(COMMAND git -C ${SOURCE} rev-parse --short=10 HEAD OUTPUT_VARIABLE commit ERROR_QUIET
    OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(commit)
    set(commit " (${commit})")
  endif()
  file(CONFIGURE OUTPUT ${OUTPUT} CONTENT
    "#include \"version/version.h\"\n\nnamespace surva {\n\nconst char* Version() {\n  return \"${VERSION}${commit}\";\n}\n\n}  // namespace surva\n")
  return()
endif()

set(version_source ${CMAKE_BINARY_DIR}/version/version.cc)
add_custom_target(surva_version_source BYPRODUCTS ${version_source}
  COMMAND ${CMAKE_COMMAND} -D SOURCE=${CMAKE_SOURCE_DIR} -D OUTPUT=${version_source} -D VERSION=${PROJECT_VERSION}
    -P ${CMAKE_CURRENT_LIST_FILE})
add_library(surva_version STATIC ${version_source})
add_dependencies(surva_version surva_version_source)
target_link_libraries(surva_version PUBLIC surva_options)
