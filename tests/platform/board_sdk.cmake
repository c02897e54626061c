# cmake -DSOURCE_DIR=... -DWORK_DIR=... -DCC=... -DGENERATOR=... -P board_sdk.cmake
#
# Lays out a fake vendor SDK (libmpi shared, libhdmi static, the rest as
# either), configures and builds a probe against it through tessel_platform,
# and runs it: the probe only compiles with the SDK's header and only prints
# the SDK's answer when linked with the SDK's library.
file(REMOVE_RECURSE ${WORK_DIR})
set(sdk ${WORK_DIR}/mpp)
file(MAKE_DIRECTORY ${sdk}/include ${sdk}/lib)
file(WRITE ${sdk}/include/mpi_sys.h
  "#define FAKE_SDK_HEADER 1\nint HI_MPI_SYS_Init(void);\nint HI_MPI_HDMI_Init(void);\n")
file(WRITE ${WORK_DIR}/mpi.c "int HI_MPI_SYS_Init(void) { return 42; }\n")
file(WRITE ${WORK_DIR}/hdmi.c "int HI_MPI_HDMI_Init(void) { return 7; }\n")
file(WRITE ${WORK_DIR}/empty.c "int fake_sdk_filler;\n")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

run(${CC} -shared -fPIC -o ${sdk}/lib/libmpi.so ${WORK_DIR}/mpi.c)
foreach(lib hdmi upvqe dnvqe VoiceEngine jpeg6b)
  set(src ${WORK_DIR}/empty.c)
  if(lib STREQUAL "hdmi")
    set(src ${WORK_DIR}/hdmi.c)
  endif()
  run(${CC} -c -fPIC -o ${WORK_DIR}/${lib}.o ${src})
  run(ar rcs ${sdk}/lib/lib${lib}.a ${WORK_DIR}/${lib}.o)
endforeach()

file(MAKE_DIRECTORY ${WORK_DIR}/probe)
file(WRITE ${WORK_DIR}/probe/CMakeLists.txt "
cmake_minimum_required(VERSION 3.16)
project(probe C)
add_subdirectory(${SOURCE_DIR}/platform platform)
add_executable(probe probe.c)
target_link_libraries(probe PRIVATE tessel_platform)
")
file(WRITE ${WORK_DIR}/probe/probe.c "
#include <stdio.h>
#include \"mpi_sys.h\"
#include \"tessel_dev.h\"
#ifndef FAKE_SDK_HEADER
#error not the SDK header
#endif
int main(void) { printf(\"sdk %d %d\\n\", HI_MPI_SYS_Init(), HI_MPI_HDMI_Init()); return 0; }
")
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${WORK_DIR}/probe -B ${WORK_DIR}/build -DTESSEL_SDK_DIR=${sdk})
if(NOT out MATCHES "Platform: vendor SDK" OR out MATCHES "simulator")
  message(FATAL_ERROR "configure did not select the vendor SDK:\n${out}")
endif()
if(EXISTS ${WORK_DIR}/build/platform/sim)
  message(FATAL_ERROR "a board build configured the simulator")
endif()
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/probe)
if(NOT out STREQUAL "sdk 42 7\n")
  message(FATAL_ERROR "probe linked against the wrong library: ${out}")
endif()

# An SDK without one of the libraries is refused at configure time.
file(REMOVE ${sdk}/lib/libjpeg6b.a)
execute_process(COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${WORK_DIR}/probe -B ${WORK_DIR}/build2
                        -DTESSEL_SDK_DIR=${sdk}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(rc EQUAL 0 OR NOT out MATCHES "lacks:[ \t\r\n]+libjpeg6b")
  message(FATAL_ERROR "an incomplete SDK was accepted:\n${out}")
endif()
