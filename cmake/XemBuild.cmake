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
if(NOT DEFINED CMAKE_POSITION_INDEPENDENT_CODE)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()

# LAPACK and BLAS by their generic names: the system's alternatives decide which implementation serves.
if(NOT DEFINED BLA_VENDOR)
  set(BLA_VENDOR Generic)
endif()
find_package(BLAS REQUIRED)
find_package(LAPACK REQUIRED)
add_library(xem_lapack INTERFACE)
target_link_libraries(xem_lapack INTERFACE ${LAPACK_LIBRARIES} ${BLAS_LIBRARIES} ${CMAKE_DL_LIBS})

find_package(Boost 1.74 REQUIRED)

# Two ways to build everything in a third of the time: headers of others that most files of a target include are read once
# for all of them, and files are compiled several at once. Off where a compiler cache serves better, which is also where
# somebody builds again after every change, and where a file that forgets an include is found.
if(CMAKE_CXX_COMPILER_LAUNCHER)
  set(XEM_TOGETHER_DEFAULT OFF)
else()
  set(XEM_TOGETHER_DEFAULT ON)
endif()
option(XEM_COMPILE_TOGETHER "Compile files together: quick from nothing, slower after a change" ${XEM_TOGETHER_DEFAULT})

function(xem_read_once target)
  if(XEM_COMPILE_TOGETHER)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # Read this way GCC 12 no longer knows which headers are the system's and warns of its own strings.
      target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
    endif()
  endif()
endfunction()

# Names in unnamed namespaces must then differ among the files of a target.
function(xem_compile_together target)
  if(XEM_COMPILE_TOGETHER)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  endif()
endfunction()

# Shows only the symbols of a linker map and gives the library its version.
function(xem_export_only target map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                             LINK_DEPENDS ${map})
  target_compile_definitions(${target} PRIVATE XEM_BUILDING_LIBRARY)
endfunction()
