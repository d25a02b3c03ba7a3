# Installs the build into a scratch prefix, builds examples/consumer against the
# installed package with find_package, runs it and the installed qdifc.
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
message(STATUS "installed package found and used")
