# surva_site: the files under site/ (site/art/ aside) as bytes inside the binary. An assembler file includes them, a table
# in C++ names them; both are made anew when a file comes, goes or changes.

set(site_root ${CMAKE_SOURCE_DIR}/site)
set(site_made ${CMAKE_BINARY_DIR}/site)

file(GLOB_RECURSE site_files CONFIGURE_DEPENDS RELATIVE ${site_root} ${site_root}/*)
list(FILTER site_files EXCLUDE REGEX "(^|/)\\.|^art/|~$")
list(SORT site_files)

set(site_bytes ".section .rodata\n")
set(site_labels "")
set(site_rows "")
set(site_inputs "")
set(site_number 0)
foreach(name IN LISTS site_files)
  set(label surva_site_${site_number})
  string(APPEND site_bytes
    ".balign 16\n.globl ${label}\n${label}:\n.incbin \"${site_root}/${name}\"\n.globl ${label}_end\n${label}_end:\n.byte 0\n")
  string(APPEND site_labels "extern const char ${label}[];\nextern const char ${label}_end[];\n")
  string(APPEND site_rows "    {\"${name}\", ${label}, ${label}_end},\n")
  list(APPEND site_inputs ${site_root}/${name})
  math(EXPR site_number "${site_number} + 1")
endforeach()
string(APPEND site_bytes ".section .note.GNU-stack,\"\",%progbits\n")

file(CONFIGURE OUTPUT ${site_made}/site_bytes.S CONTENT "${site_bytes}" @ONLY)
file(CONFIGURE OUTPUT ${site_made}/site_files.cc @ONLY CONTENT
"// Made by cmake/site.cmake.
#include \"host/site_files.h\"

extern \"C\" {
${site_labels}}

namespace surva::host {

const std::vector<SiteFile>& SiteFiles() {
  static const std::vector<SiteFile> files = {
${site_rows}  };
  return files;
}

}  // namespace surva::host
")
set_source_files_properties(${site_made}/site_bytes.S PROPERTIES OBJECT_DEPENDS "${site_inputs}")

add_library(surva_site STATIC ${site_made}/site_bytes.S ${site_made}/site_files.cc)
# The bytes need none of our compiler options.
target_include_directories(surva_site PUBLIC ${CMAKE_SOURCE_DIR})
