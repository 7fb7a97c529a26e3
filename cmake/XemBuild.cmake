# Build options shared by every target of the project.

add_library(xem_build_options INTERFACE)
target_compile_features(xem_build_options INTERFACE cxx_std_20)
# Contraction would make results depend on the processor.
target_compile_options(xem_build_options INTERFACE -ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                                   -Wno-sign-conversion -Wdelete-non-virtual-dtor -Woverloaded-virtual)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 warns about the standard library's own string concatenation when it optimises hard.
  target_compile_options(xem_build_options INTERFACE -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Solver variants are concrete bases of the templates over them; every object dies through its concrete type.
  target_compile_options(xem_build_options INTERFACE -Wno-delete-non-abstract-non-virtual-dtor)
endif()
if(XEM_WARNINGS_ARE_ERRORS)
  target_compile_options(xem_build_options INTERFACE -Werror)
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# LAPACK and BLAS by their generic names: the system's alternatives decide which implementation serves.
if(NOT DEFINED BLA_VENDOR)
  set(BLA_VENDOR Generic)
endif()
find_package(BLAS REQUIRED)
find_package(LAPACK REQUIRED)
add_library(xem_lapack INTERFACE)
target_link_libraries(xem_lapack INTERFACE ${LAPACK_LIBRARIES} ${BLAS_LIBRARIES} ${CMAKE_DL_LIBS})

find_package(Boost 1.74 REQUIRED)

# Headers of others that most files of a target include, read once for all of them: half of the time of a build. Where
# what is built is to be used, and under sanitizers where no compiler cache serves better; the build of the development
# finds a file that forgets an include.
function(xem_read_once target)
  if(CMAKE_BUILD_TYPE STREQUAL "Release" OR (CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT CMAKE_CXX_COMPILER_LAUNCHER))
    target_precompile_headers(${target} PRIVATE ${ARGN})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # Read this way GCC 12 no longer knows which headers are the system's and warns of its own strings.
      target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
    endif()
  endif()
endfunction()

# Shows only the symbols of a linker map and gives the library its version.
function(xem_export_only target map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                             LINK_DEPENDS ${map})
  target_compile_definitions(${target} PRIVATE XEM_BUILDING_LIBRARY)
endfunction()
