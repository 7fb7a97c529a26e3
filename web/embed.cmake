# Writes OUTPUT, a C++ file that holds the parts of the report page. Without uPlot, because npm or the network is not
# there, its parts are empty and the page shows gnuplot's drawing; with CHARTS=ON that is an error.
cmake_minimum_required(VERSION 3.25)

# Sets `folder` to uPlot of the version that package.json names, empty when it is neither in the source folder, where the
# user may have run `npm ci`, nor in the build folder.
function(find_uplot folder)
  file(READ ${SOURCE}/package.json package)
  string(JSON wanted GET "${package}" dependencies uplot)
  foreach(place IN ITEMS ${SOURCE} ${BINARY})
    set(found ${place}/node_modules/uplot)
    if(EXISTS ${found}/package.json)
      file(READ ${found}/package.json package)
      string(JSON version GET "${package}" version)
      if(version STREQUAL wanted)
        set(${folder} ${found} PARENT_SCOPE)
        return()
      endif()
    endif()
  endforeach()
  set(${folder} "" PARENT_SCOPE)
endfunction()

# npm checks what it gets against the lock file. Its failure shows in that there is no uPlot afterwards.
function(fetch_uplot)
  file(COPY ${SOURCE}/package.json ${SOURCE}/package-lock.json DESTINATION ${BINARY})
  execute_process(COMMAND ${NPM} ci --omit=dev --ignore-scripts --no-audit --no-fund --fetch-retries=1
                  WORKING_DIRECTORY ${BINARY} TIMEOUT 120 OUTPUT_QUIET ERROR_QUIET)
endfunction()

# Appends a function that returns the bytes of a file; of no file, nothing.
function(append_function name file)
  set(bytes "")
  if(file)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(REGEX REPLACE "(...............................................................................,)" "\\1\n"
           bytes "${bytes}")
  endif()
  string(APPEND code "
constexpr unsigned char k${name}[] = {${bytes}0};
std::string_view ${name}() { return {reinterpret_cast<const char*>(k${name}), sizeof(k${name}) - 1}; }
")
  set(code "${code}" PARENT_SCOPE)
endfunction()

set(uplot "")
if(NOT CHARTS STREQUAL "OFF")
  find_uplot(uplot)
  if(NOT uplot AND NPM)
    fetch_uplot()
    find_uplot(uplot)
  endif()
  if(NOT uplot AND CHARTS STREQUAL "ON")
    message(FATAL_ERROR "uPlot cannot be had: npm or the network is missing; run npm ci in ${SOURCE}")
  elseif(NOT uplot)
    message(NOTICE "xemfit --report: without uPlot (no npm or no network), pages show gnuplot's drawing;"
                   " -DXEM_REPORT_CHARTS=ON insists on it, OFF silences this")
  endif()
endif()

set(code "#include \"page_assets.h\"\n\nnamespace Xem::Tool::PageAssets {\n")
append_function(Style ${SOURCE}/report.css)
append_function(Script ${SOURCE}/report.js)
if(uplot)
  append_function(ChartLibrary ${uplot}/dist/uPlot.iife.min.js)
  append_function(ChartStyle ${uplot}/dist/uPlot.min.css)
  append_function(ChartLicence ${uplot}/LICENSE)
else()
  append_function(ChartLibrary "")
  append_function(ChartStyle "")
  append_function(ChartLicence "")
endif()
file(WRITE ${OUTPUT} "${code}\n}  // namespace Xem::Tool::PageAssets\n")
