# Writes OUTPUT, a C++ file with functions that return the STYLES, the SCRIPTS and those of an OVERVIEW, files of SOURCE, one after the other.
cmake_minimum_required(VERSION 3.25)

function(append_function name)
  set(bytes "")
  foreach(file IN LISTS ARGN)
    file(READ ${SOURCE}/${file} hex HEX)
    string(APPEND bytes ${hex})
  endforeach()
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(...............................................................................,)" "\\1\n"
         bytes "${bytes}")
  string(APPEND code "
constexpr unsigned char k${name}[] = {${bytes}0};
std::string_view ${name}() { return {reinterpret_cast<const char*>(k${name}), sizeof(k${name}) - 1}; }
")
  set(code "${code}" PARENT_SCOPE)
endfunction()

set(code "#include \"page_assets.h\"\n\nnamespace Xem::Tool::PageAssets {\n")
append_function(Style ${STYLES})
append_function(Script ${SCRIPTS})
append_function(OverviewScript ${OVERVIEW})
file(WRITE ${OUTPUT} "${code}\n}  // namespace Xem::Tool::PageAssets\n")
