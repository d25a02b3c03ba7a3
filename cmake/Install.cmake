# Installation: the core and the three schema modules, their public headers under one
# include folder each, the host, and a CMake package: find_package(QdIfc) gives
# QdIfc::Core, QdIfc::IFC4, QdIfc::IFC2X3 and QdIfc::IFC4X3_ADD2.
include(CMakePackageConfigHelpers)

install(TARGETS QdIfcCore QdIfc4 QdIfc2x3 QdIfc4x3 EXPORT QdIfcTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qdifc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(FILES ${QDIFC_CORE_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QdIfcCore)
install(FILES ${QDIFC_MODULE_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QdIfc4)
install(DIRECTORY ${QDIFC_GEN_DIR}/ifc4/include/QdIfc4/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/QdIfc4
  OPTIONAL FILES_MATCHING PATTERN "*.h")
foreach(edition ifc2x3:QdIfc2x3:IFC2X3 ifc4x3_add2:QdIfc4x3:IFC4X3_ADD2)
  string(REPLACE ":" ";" parts ${edition})
  list(GET parts 0 folder)
  list(GET parts 1 target)
  list(GET parts 2 schema)
  install(FILES ${QDIFC_${schema}_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${target})
  install(DIRECTORY ${QDIFC_GEN_DIR}/${folder}/include/${target}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${target}
    OPTIONAL FILES_MATCHING PATTERN "*.h")
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${schema})
endforeach()

set_target_properties(QdIfcCore PROPERTIES EXPORT_NAME Core)
set_target_properties(QdIfc4 PROPERTIES EXPORT_NAME IFC4)
install(EXPORT QdIfcTargets NAMESPACE QdIfc:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QdIfc)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/QdIfcConfig.cmake.in
  ${CMAKE_BINARY_DIR}/QdIfcConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QdIfc)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/QdIfcConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/QdIfcConfig.cmake ${CMAKE_BINARY_DIR}/QdIfcConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QdIfc)
