# cmake -DREADELF=... -DMODULES="a.so;b.so" -P no_lua_link.cmake
#
# A Lua C module takes the Lua API from the interpreter that loads it: neither
# the module nor anything it needs may bring a Lua library of its own (a
# second Lua core in the process, and a library the board may not have).
foreach(so ${MODULES})
  execute_process(COMMAND ${READELF} -d ${so} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "readelf failed on ${so}: ${err}")
  endif()
  if(out MATCHES "NEEDED[^\n]*\\[(liblua[^]]*)\\]")
    message(FATAL_ERROR "${so} links ${CMAKE_MATCH_1}")
  endif()
  # The Lua modules themselves call the API: it must stay undefined in them.
  if(so MATCHES "(tessel|sim)\\.so$")
    execute_process(COMMAND ${READELF} --dyn-syms -W ${so} OUTPUT_VARIABLE syms)
    if(NOT syms MATCHES "UND lua_")
      message(FATAL_ERROR "${so} does not take the Lua API from its loader")
    endif()
  endif()
endforeach()
message("no Lua library linked: ${MODULES}")
