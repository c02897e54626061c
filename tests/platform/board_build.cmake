# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DCC=... -DGENERATOR=... -P board_build.cmake
#
# Builds the whole module the way a board user does, against an SDK whose
# headers behave like the vendor's: platform/include mirrors each vendor
# header's own include lines, so a header that is not self-contained is not
# self-contained here either, and a source that includes the platform in the
# wrong order fails here as it fails against the real SDK.
file(REMOVE_RECURSE ${WORK_DIR})
set(sdk ${WORK_DIR}/mpp)
file(MAKE_DIRECTORY ${sdk}/lib)
file(COPY ${SOURCE_DIR}/platform/include DESTINATION ${sdk})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}")
  endif()
endfunction()

# Every module source reaches the vendor declarations through platform/mpp.h.
file(GLOB_RECURSE sources RELATIVE ${SOURCE_DIR}
  ${SOURCE_DIR}/frame/* ${SOURCE_DIR}/sys/* ${SOURCE_DIR}/video/* ${SOURCE_DIR}/region/*
  ${SOURCE_DIR}/audio/* ${SOURCE_DIR}/bench/*)
set(direct)
foreach(src ${sources})
  file(STRINGS ${SOURCE_DIR}/${src} lines REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"](hi_[a-z0-9_]*\\.h|mpi_|acodec\\.h)")
  if(lines)
    list(APPEND direct "${src}: ${lines}")
  endif()
endforeach()
if(direct)
  string(REPLACE ";" "\n  " direct "${direct}")
  message(FATAL_ERROR "sources include vendor headers directly instead of platform/mpp.h:\n  ${direct}")
endif()

# The headers are as incomplete as the vendor's: hi_comm_rc.h on its own
# does not compile, after hi_type.h/hi_common.h/hi_comm_video.h it does.
file(WRITE ${WORK_DIR}/alone.c "#include \"hi_comm_rc.h\"\nint x;\n")
execute_process(COMMAND ${CC} -fsyntax-only -I${sdk}/include ${WORK_DIR}/alone.c
                RESULT_VARIABLE rc ERROR_VARIABLE err)
if(rc EQUAL 0 OR NOT err MATCHES "HI_U32")
  message(FATAL_ERROR "hi_comm_rc.h compiled on its own; the headers hide include-order faults:\n${err}")
endif()
file(WRITE ${WORK_DIR}/ordered.c
  "#include \"hi_type.h\"\n#include \"hi_common.h\"\n#include \"hi_comm_video.h\"\n#include \"hi_comm_rc.h\"\nint x;\n")
run(${CC} -fsyntax-only -I${sdk}/include ${WORK_DIR}/ordered.c)

# The SDK's libraries: empty stand-ins (the module links them as a shared
# object, so their symbols may stay undefined here).
file(WRITE ${WORK_DIR}/empty.c "int fake_sdk_filler;\n")
run(${CC} -shared -fPIC -o ${sdk}/lib/libmpi.so ${WORK_DIR}/empty.c)
run(${CC} -c -fPIC -o ${WORK_DIR}/empty.o ${WORK_DIR}/empty.c)
foreach(lib hdmi upvqe dnvqe VoiceEngine jpeg6b)
  run(ar rcs ${sdk}/lib/lib${lib}.a ${WORK_DIR}/empty.o)
endforeach()

run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE_DIR} -B ${WORK_DIR}/build
    -DTESSEL_SDK_DIR=${sdk} -DTESSEL_TESTS=OFF -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build --target tessel -j 2)
message("every module source builds against the vendor-like headers")
