# Installs the build into a folder of its own, builds the project here against it and runs that.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()

set(work ${BUILD_DIR}/package-test)
file(REMOVE_RECURSE ${work})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${work}/prefix)
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package -B ${work}/build -DCMAKE_PREFIX_PATH=${work}/prefix
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_FLAGS=${FLAGS})
run(${CMAKE_COMMAND} --build ${work}/build)
run(${work}/build/consumer)
file(REMOVE_RECURSE ${work})
