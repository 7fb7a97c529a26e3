# Debian packages, one per component: cpack -G DEB in a build folder of the preset "package", or scripts/package.
set(XEM_MAINTAINER "XemMaterialUtil maintainers <maintainers@xemmaterialutil.example>" CACHE STRING "Name and address in packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME xemmaterialutil)
set(CPACK_PACKAGE_VENDOR "XemMaterialUtil")
set(CPACK_PACKAGE_CONTACT "${XEM_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL library fit development tool)
if(XEM_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/src/fit)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY =)

foreach(component IN ITEMS LIBRARY FIT)
  set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)
endforeach()

set(XEM_THIS_VERSION "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libxemmaterialutil${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_FIT_PACKAGE_NAME libxemfit${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libxemmaterialutil-dev)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME xemfit)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-xemfit)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FIT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)

# First line: the short description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "material-test curves to constitutive parameters - host interface
A flat interface of functions for host applications: hyperelastic, viscoelastic
and creep models, cyclic soil behaviour, sheet-metal forming limits and
unsaturated soil, from test curves to parameters and back.")
set(CPACK_COMPONENT_FIT_DESCRIPTION "material-test curves to constitutive parameters - best fits
The fit layer behind the command-line tool xemfit: the best parameters that
the curves allow, with standard errors, measures and a diagnosis of the data.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "material-test curves to constitutive parameters - development files
Headers, CMake package and pkg-config files for programs that link
libxemmaterialutil or libxemfit.")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "material-test curves to constitutive parameters - command line
xemfit reads test curves as CSV files and prints the parameters of material
models with their uncertainty, plots, JSON, and summaries of whole batches of
specimens. Published test curves come with it.")

set(CPACK_COMPONENT_PYTHON_DESCRIPTION "material-test curves to constitutive parameters - Python
Package xemfit for Python: fits from files, frames and arrays, results that
print, plot, pickle and evaluate, and batches on processes, Dask or MPI.
Published test curves come with it.")

# dpkg-shlibdeps finds what the programs link; what they start or are compiled with is named here.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} ${XEM_THIS_VERSION}, ${CPACK_DEBIAN_FIT_PACKAGE_NAME} ${XEM_THIS_VERSION}")
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${CPACK_DEBIAN_FIT_PACKAGE_NAME} ${XEM_THIS_VERSION}")
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS gnuplot-nox)
if(XEM_BUILD_PYTHON)
  # The extension is built for one version of Python.
  math(EXPR XEM_PYTHON_NEXT "${XEM_PYTHON_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
      "python3 (>= 3.${XEM_PYTHON_MINOR}), python3 (<< 3.${XEM_PYTHON_NEXT}), python3-numpy, ${CPACK_DEBIAN_FIT_PACKAGE_NAME} ${XEM_THIS_VERSION}")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "python3-pandas, python3-matplotlib")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-openpyxl, python3-distributed, python3-mpi4py")
endif()

# Every package has the licence and the changes beside it, as Debian wants them.
string(TIMESTAMP XEM_CHANGELOG_DATE "%a, %d %b %Y 00:00:00 +0000" UTC)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in ${PROJECT_BINARY_DIR}/debian/copyright @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${PROJECT_BINARY_DIR}/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog DESTINATION ${documents}
          COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
# Compresses man pages and changelogs of the staged packages.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/XemCompressDocuments.cmake)

include(CPack)
