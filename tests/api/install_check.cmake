# Installs the build tree into a scratch prefix, builds and runs a consumer project against it
# with find_package(veqdx), and checks the pkg-config file when pkg-config is available.
# Arguments: BUILD_DIR, SOURCE_DIR (tests/api), WORK_DIR (scratch).
cmake_minimum_required(VERSION 3.25)

include(${CMAKE_CURRENT_LIST_DIR}/../support/install_into_prefix.cmake)
install_into_prefix(include/veqdx.h include/veqdx/interfaces.hpp include/veqdx/enums.hpp
                    include/veqdx/status.hpp lib/cmake/veqdx/veqdxConfig.cmake
                    lib/pkgconfig/veqdx.pc)

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${WORK_DIR}/consumer
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/veqdx_consumer)

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
  run(${PKG_CONFIG} --modversion veqdx)
  if(NOT last_output MATCHES "^1\\.0\\.4")
    message(FATAL_ERROR "pkg-config version: ${last_output}")
  endif()
  run(${PKG_CONFIG} --cflags --libs veqdx)
  if(NOT last_output MATCHES "-lveqdx" OR NOT last_output MATCHES "include")
    message(FATAL_ERROR "pkg-config flags: ${last_output}")
  endif()
endif()
