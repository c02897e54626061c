# cmake -DBUILD_DIR=... -DWORK_DIR=... -DLUA=... -P install.cmake
#
# Installs the build under a prefix of its own, then moves the tree elsewhere
# and loads the module, tessel.sim and tessel.errors from there with the
# stock interpreter (and tessel.rtsp beside them): the install follows the prefix, and the installed
# modules find the simulator libraries wherever the tree is.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed:\n${out}")
endif()
if(out MATCHES "Installing: /usr/")
  message(FATAL_ERROR "the install left the prefix:\n${out}")
endif()
file(RENAME ${WORK_DIR}/prefix ${WORK_DIR}/moved)
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "LUA_CPATH=${WORK_DIR}/moved/lib/lua/5.3/?.so" ${LUA} -e
          "require 'tessel'; local sim = require 'tessel.sim'; Tessel.SYS.Init(); local c = sim.calls(); print(c[#c].name, require('tessel.errors').name(c[#c].ret))"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "HI_MPI_SYS_Init\tHI_ERR_SYS_NOTREADY\n")
  message(FATAL_ERROR "the moved install does not load:\n${out}${err}")
endif()
# The modules written in Lua, found on the path beside the C module.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "LUA_PATH=${WORK_DIR}/moved/lib/lua/5.3/?.lua;;" ${LUA} -e
          "print(type(require('tessel.rtsp').server))"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "function\n")
  message(FATAL_ERROR "tessel.rtsp is not installed beside the module:\n${out}${err}")
endif()
message("installed, moved and loaded")
