# Installation: libraries, headers and what they cite, CMake package, pkg-config file, tool and published curves. Each rule names the
# component, and so the package, to which its files belong: library, fit, development or tool.
include(CMakePackageConfigHelpers)

install(TARGETS xemmaterialutil EXPORT XemMaterialUtilTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS xemfitlib EXPORT XemMaterialUtilTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT fit NAMELINK_COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/xem DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

set(XEM_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/XemMaterialUtil)
install(EXPORT XemMaterialUtilTargets NAMESPACE Xem:: DESTINATION ${XEM_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/XemMaterialUtilConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/XemMaterialUtilConfig.cmake INSTALL_DESTINATION ${XEM_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/XemMaterialUtilConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/XemMaterialUtilConfig.cmake
              ${PROJECT_BINARY_DIR}/XemMaterialUtilConfigVersion.cmake DESTINATION ${XEM_PACKAGE_DIR}
        COMPONENT development)

# The prefix is found from the place of the .pc file, so that an installation may be moved.
file(RELATIVE_PATH XEM_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" XEM_PC_TO_PREFIX ${XEM_PC_TO_PREFIX})
foreach(library IN ITEMS xemmaterialutil xemfit)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endforeach()

# What the headers call docs/.
set(XEM_DOCUMENTS ${CMAKE_INSTALL_DATADIR}/doc/xemmaterialutil)
install(FILES ${PROJECT_SOURCE_DIR}/docs/behaviour.md ${PROJECT_SOURCE_DIR}/docs/safety.md DESTINATION ${XEM_DOCUMENTS}
        COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/theory DESTINATION ${XEM_DOCUMENTS} COMPONENT development)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/ DESTINATION ${CMAKE_INSTALL_DATADIR}/xemfit/data COMPONENT tool
        FILES_MATCHING PATTERN "*.csv")
