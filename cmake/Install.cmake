# Installation: the two libraries, their public headers under one include folder,
# the host, and a CMake package: find_package(QdIfc) gives QdIfc::Core and QdIfc::IFC4.
include(CMakePackageConfigHelpers)

install(TARGETS QdIfcCore QdIfc4 EXPORT QdIfcTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qdifc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(FILES ${QDIFC_CORE_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QdIfcCore)
install(FILES ${QDIFC_MODULE_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QdIfc4)
install(DIRECTORY ${QDIFC_GEN_DIR}/ifc4/include/QdIfc4/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QdIfc4
  OPTIONAL FILES_MATCHING PATTERN "*.h")

set_target_properties(QdIfcCore PROPERTIES EXPORT_NAME Core)
set_target_properties(QdIfc4 PROPERTIES EXPORT_NAME IFC4)
install(EXPORT QdIfcTargets NAMESPACE QdIfc:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QdIfc)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/QdIfcConfig.cmake.in
  ${CMAKE_BINARY_DIR}/QdIfcConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QdIfc)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/QdIfcConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/QdIfcConfig.cmake ${CMAKE_BINARY_DIR}/QdIfcConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QdIfc)
