# Installation: libraries, headers, CMake package, pkg-config file, tool and published curves.
include(CMakePackageConfigHelpers)

install(TARGETS xemmaterialutil xemfitlib EXPORT XemMaterialUtilTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/xem DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(XEM_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/XemMaterialUtil)
install(EXPORT XemMaterialUtilTargets NAMESPACE Xem:: DESTINATION ${XEM_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/XemMaterialUtilConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/XemMaterialUtilConfig.cmake INSTALL_DESTINATION ${XEM_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/XemMaterialUtilConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/XemMaterialUtilConfig.cmake
              ${PROJECT_BINARY_DIR}/XemMaterialUtilConfigVersion.cmake DESTINATION ${XEM_PACKAGE_DIR})

# The prefix is found from the place of the .pc file, so that an installation may be moved.
file(RELATIVE_PATH XEM_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" XEM_PC_TO_PREFIX ${XEM_PC_TO_PREFIX})
foreach(library IN ITEMS xemmaterialutil xemfit)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/ DESTINATION ${CMAKE_INSTALL_DATADIR}/xemfit/data FILES_MATCHING PATTERN "*.csv")
