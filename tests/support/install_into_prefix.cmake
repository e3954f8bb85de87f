# Shared by the install checks: `run` executes a command (bounded) and fails the script on a
# non-zero exit, keeping its output in `last_output`; `install_into_prefix` installs BUILD_DIR
# into a fresh WORK_DIR/prefix, sets `prefix`, and checks that every listed file is there.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out
                  TIMEOUT 300)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

macro(install_into_prefix)
  set(prefix ${WORK_DIR}/prefix)
  file(REMOVE_RECURSE ${WORK_DIR})
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component veqdx)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component dev)
  foreach(file ${ARGN})
    if(NOT EXISTS ${prefix}/${file})
      message(FATAL_ERROR "not installed: ${file}")
    endif()
  endforeach()
endmacro()
