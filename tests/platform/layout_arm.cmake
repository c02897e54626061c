# cmake -DPLATFORM_DIR=... -DOUT_DIR=... -P layout_arm.cmake
find_program(ARM_CXX arm-linux-gnueabi-g++)
find_program(ARM_CC arm-linux-gnueabi-gcc)
if(NOT ARM_CXX OR NOT ARM_CC)
  message("SKIPPED: arm-linux-gnueabi-g++/gcc not found (Debian: g++-arm-linux-gnueabi)")
  return()
endif()
set(flags -march=armv7-a -mfloat-abi=softfp -I${PLATFORM_DIR}/include -c)
foreach(step "${ARM_CXX};-std=c++11;${PLATFORM_DIR}/check/layout_check.cpp"
             "${ARM_CC};-std=c11;-Wall;-Werror;${PLATFORM_DIR}/check/all_headers.c")
  execute_process(COMMAND ${step} ${flags} -o ${OUT_DIR}/layout_check.o
                  RESULT_VARIABLE rc ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "declarations differ from the ARM ABI facts:\n${err}")
  endif()
endforeach()
message("ARM layout matches the ABI facts")
