# Cross build for HiSilicon boards with the vendor's arm-hisiv500-linux
# toolchain (GCC 4.9, uClibc): Cortex-A9, NEON, softfp calling convention.
#
#   cmake -S . -B build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/arm-hisiv500-linux.cmake \
#         -DTESSEL_SDK_DIR=/path/to/mpp
#
# HISIV500_ROOT may name the toolchain's install directory when its bin/ is
# not on PATH; CMAKE_SYSROOT may point at a sysroot holding Lua 5.3.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7-a)

set(HISIV500_PREFIX arm-hisiv500-linux- CACHE STRING "Cross tool name prefix")
set(HISIV500_ROOT "$ENV{HISIV500_ROOT}" CACHE PATH "Toolchain install directory (optional)")
if(HISIV500_ROOT)
  set(_bin "${HISIV500_ROOT}/bin/")
endif()
set(CMAKE_C_COMPILER   ${_bin}${HISIV500_PREFIX}gcc)
set(CMAKE_CXX_COMPILER ${_bin}${HISIV500_PREFIX}g++)
set(CMAKE_AR           ${_bin}${HISIV500_PREFIX}ar CACHE FILEPATH "")
set(CMAKE_RANLIB       ${_bin}${HISIV500_PREFIX}ranlib CACHE FILEPATH "")
set(CMAKE_STRIP        ${_bin}${HISIV500_PREFIX}strip CACHE FILEPATH "")

set(_cpu "-mcpu=cortex-a9 -mfloat-abi=softfp -mfpu=neon -mno-unaligned-access -fno-aggressive-loop-optimizations")
set(CMAKE_C_FLAGS_INIT   "${_cpu}")
set(CMAKE_CXX_FLAGS_INIT "${_cpu}")

# Look for libraries and headers in the target's root only; run host programs.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
