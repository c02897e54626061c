# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DLUA=... -DLUAROCKS=... -P rock.cmake
#
# Builds and installs the rock of the working tree with `luarocks make` into
# a tree of its own, then loads tessel, tessel.sim and tessel.errors from
# that tree with the stock interpreter, and tessel.rtsp from its Lua tree.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${LUAROCKS} --lua-version=5.3 make --tree ${WORK_DIR}/tree ${SOURCE_DIR}/tessel-scm-1.rockspec
                WORKING_DIRECTORY ${SOURCE_DIR} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
file(REMOVE_RECURSE ${SOURCE_DIR}/build.luarocks)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "luarocks make failed:\n${out}")
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "LUA_CPATH=${WORK_DIR}/tree/lib/lua/5.3/?.so" ${LUA} -e
          "require 'tessel'; local sim = require 'tessel.sim'; Tessel.SYS.Init(); local c = sim.calls(); print(c[#c].name, require('tessel.errors').name(c[#c].ret))"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "HI_MPI_SYS_Init\tHI_ERR_SYS_NOTREADY\n")
  message(FATAL_ERROR "the rock's tree does not load:\n${out}${err}")
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "LUA_PATH=${WORK_DIR}/tree/share/lua/5.3/?.lua;;" ${LUA} -e
          "print(type(require('tessel.rtsp').server))"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "function\n")
  message(FATAL_ERROR "the rock's tree lacks tessel.rtsp:\n${out}${err}")
endif()
message("rock built, installed and loaded")
