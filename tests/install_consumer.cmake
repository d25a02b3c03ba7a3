# Installs the build into a scratch prefix, builds examples/consumer against the
# installed package with find_package, runs it, the installed qdifc and the installed
# Python package.
# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -P install_consumer.cmake
file(REMOVE_RECURSE ${WORK_DIR})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
# A sanitized library needs a program sanitized alike, by the same compiler.
set(flags "${SANITIZE_FLAGS}")
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/consumer -B ${WORK_DIR}/consumer -G Ninja
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix "-DCMAKE_CXX_FLAGS=${flags}" -DCMAKE_CXX_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/consumer)
if(NOT LAST_OUTPUT MATCHES "^IFC4 4\\.0: ")
  message(FATAL_ERROR "unexpected consumer output: ${LAST_OUTPUT}")
endif()
run(${WORK_DIR}/prefix/bin/qdifc schema --dump)
if(NOT LAST_OUTPUT MATCHES "^schema\tIFC4\t4\t0\n")
  message(FATAL_ERROR "the installed qdifc printed: ${LAST_OUTPUT}")
endif()
# The Python package, where it was built: imported from the prefix, it finds the
# libraries and the module there.
if(PYTHON_PACKAGE_DIR AND EXISTS ${WORK_DIR}/prefix/${PYTHON_PACKAGE_DIR}/qdifc)
  run(${CMAKE_COMMAND} -E env PYTHONPATH=${WORK_DIR}/prefix/${PYTHON_PACKAGE_DIR} ${PYTHON} -c
      "import qdifc, qdifc._qdifc as q\nprint(q._module_path())\nprint(qdifc.Model().create_entity('IfcWall', Name='W'))")
  string(FIND "${LAST_OUTPUT}" "${WORK_DIR}/prefix/" module_at)
  string(FIND "${LAST_OUTPUT}" "#1=IfcWall($,$,'W'," wall_at)
  if(NOT module_at EQUAL 0 OR wall_at LESS 0)
    message(FATAL_ERROR "the installed Python package printed: ${LAST_OUTPUT}")
  endif()
endif()
message(STATUS "installed package found and used")
