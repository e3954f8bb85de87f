# Installs the build tree into a scratch prefix, builds examples/cpp on its own against it
# (find_package(veqdx), veqdx::veqdx_cpp) and runs the program in simulation.
# Arguments: BUILD_DIR, EXAMPLE_DIR, WORK_DIR (scratch), CMAKE_CXX_COMPILER, SANITIZE (the
# sanitizers the driver was built with, which the example must link too; may be empty).
cmake_minimum_required(VERSION 3.25)

include(${CMAKE_CURRENT_LIST_DIR}/../support/install_into_prefix.cmake)
install_into_prefix(include/veqdx/veqdx.hpp include/veqdx/interfaces.hpp lib/libveqdx_cpp.a)

set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
endif()
run(${CMAKE_COMMAND} -S ${EXAMPLE_DIR} -B ${WORK_DIR}/example -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
    "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_EXE_LINKER_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/example)
run(${WORK_DIR}/example/veqdx-example-cpp)
if(NOT last_output MATCHES "Measured 12\\.500 V, 1\\.500 A")
  message(FATAL_ERROR "unexpected output of the installed example:\n${last_output}")
endif()
