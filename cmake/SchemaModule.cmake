# One schema module: a shared library made of the IFC4 module's hand-written layers
# and the code the generator writes from an edition's data files.
#
#   qdifc_schema_module(TARGET QdIfc2x3 SCHEMA IFC2X3 MACRO QDIFC2X3 DATA <folder>)
#
# For IFC4 the layers are compiled from ifc4/ as they stand. For another edition the
# generator respells them (namespace, include folder, macros, schema name) into the
# build tree's kit/ beside the generated tables, so that every module keeps its
# symbols to itself. Sets QDIFC_<SCHEMA>_PUBLIC_HEADERS (the layers' public headers)
# in the caller's scope.

# The layers, lowest first; public headers under include/<target>, private ones beside
# the sources. A layer includes only from those before it (tools/check-layers).
set(QDIFC_MODULE_LAYERS values fields selects entities properties builder module)

function(qdifc_schema_module)
  cmake_parse_arguments(M "" "TARGET;SCHEMA;MACRO;DATA" "" ${ARGN})
  string(TOLOWER ${M_SCHEMA} folder)
  set(out ${QDIFC_GEN_DIR}/${folder})
  set(command ${QDIFC_GEN_TOOLS}/genifc.py --schema ${M_DATA} --out ${out})
  if(M_SCHEMA STREQUAL "IFC4")
    set(kit ${CMAKE_SOURCE_DIR}/ifc4)
  else()
    list(APPEND command --edition ${M_SCHEMA} ${M_TARGET} ${M_MACRO} --kit ${CMAKE_SOURCE_DIR}/ifc4)
    set(kit ${out}/kit)
  endif()
  file(GLOB data CONFIGURE_DEPENDS ${M_DATA}/*.txt)
  file(GLOB_RECURSE kit_files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/ifc4/*.h ${CMAKE_SOURCE_DIR}/ifc4/*.cpp)

  execute_process(COMMAND ${Python3_EXECUTABLE} ${command} --list-outputs
    OUTPUT_VARIABLE generated RESULT_VARIABLE result OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "The schema generator could not list the outputs of ${M_SCHEMA}")
  endif()
  string(REPLACE "\n" ";" generated "${generated}")
  set(kit_depends "")
  if(NOT M_SCHEMA STREQUAL "IFC4")
    set(kit_depends ${kit_files})
  endif()
  add_custom_command(
    OUTPUT ${generated}
    COMMAND Python3::Interpreter ${command}
    DEPENDS ${data} ${QDIFC_GEN_SCRIPTS} ${kit_depends}
    COMMENT "Generating the ${M_SCHEMA} schema module"
    VERBATIM)
  add_custom_target(${M_TARGET}_generated DEPENDS ${generated})
  # The list of outputs depends on the data: list it again when the data changes.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${data} ${QDIFC_GEN_SCRIPTS} ${kit_depends})

  set(sources "")
  set(headers "")
  set(public_dirs "")
  set(private_dirs "")
  foreach(layer ${QDIFC_MODULE_LAYERS})
    if(M_SCHEMA STREQUAL "IFC4")
      file(GLOB layer_files CONFIGURE_DEPENDS ${kit}/${layer}/*.cpp ${kit}/${layer}/*.h)
      file(GLOB layer_headers CONFIGURE_DEPENDS ${kit}/${layer}/include/${M_TARGET}/*.h)
      list(APPEND sources ${layer_files})
    else()
      set(layer_headers ${generated})
      list(FILTER layer_headers INCLUDE REGEX "/kit/${layer}/include/${M_TARGET}/[^/]*\\.h$")
    endif()
    list(APPEND headers ${layer_headers})
    list(APPEND public_dirs $<BUILD_INTERFACE:${kit}/${layer}/include>)
    list(APPEND private_dirs ${kit}/${layer})
  endforeach()

  # The generated units are tables and one-line forwards: line tables (-g1) are enough to
  # step through them and read backtraces, and compile a sixth faster than full debug
  # information; the hand-written layers and the core keep theirs.
  set(generated_sources ${generated})
  list(FILTER generated_sources INCLUDE REGEX "\\.cpp$")
  list(FILTER generated_sources EXCLUDE REGEX "/kit/")
  set_source_files_properties(${generated_sources} PROPERTIES
    COMPILE_OPTIONS "$<$<CONFIG:RelWithDebInfo,Debug>:-g1>")
  add_library(${M_TARGET} SHARED ${sources} ${generated})
  add_library(QdIfc::${M_SCHEMA} ALIAS ${M_TARGET})
  target_compile_definitions(${M_TARGET} PRIVATE ${M_MACRO}_BUILDING)
  target_include_directories(${M_TARGET}
    PUBLIC ${public_dirs}
      $<BUILD_INTERFACE:${out}/include>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    PRIVATE ${private_dirs} ${out})
  target_link_libraries(${M_TARGET} PUBLIC QdIfcCore)
  set_target_properties(${M_TARGET} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  set(QDIFC_${M_SCHEMA}_PUBLIC_HEADERS ${headers} PARENT_SCOPE)
  set(QDIFC_${M_SCHEMA}_GENERATED ${generated} PARENT_SCOPE)
endfunction()
