# Code generated from the schema data files. Nothing generated is committed: it is
# written into the build tree and made again whenever the data or a generator changes.
# The commands themselves stand in the folder of the target that compiles their output.

set(QDIFC_GEN_TOOLS ${CMAKE_SOURCE_DIR}/tools/gen)
set(QDIFC_SCHEMA_DIR ${CMAKE_SOURCE_DIR}/ifc4/data)
file(GLOB QDIFC_GEN_SCRIPTS CONFIGURE_DEPENDS ${QDIFC_GEN_TOOLS}/*.py)
include(${CMAKE_CURRENT_LIST_DIR}/SchemaModule.cmake)
