# Cross build for the board's CPU with Debian's arm-linux-gnueabi compiler:
# Cortex-A9, NEON, the softfp calling convention; 32-bit pointers, size_t and
# long, while lua_Integer stays 64-bit. `make test-arm` builds the simulator
# configuration this way and runs the Lua tests under qemu-arm.
#
#   cmake -S . -B build-arm32 -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabi.cmake \
#         -DTESSEL_TARGET_ROOT=$PWD/build-arm32-root
#
# TESSEL_TARGET_ROOT is a directory holding the target's Debian armel
# packages unpacked (libc6, libstdc++6, lua5.3, liblua5.3-dev, ...): Lua's
# headers and library come from there, and tests run the interpreter found
# there through qemu-arm with that directory as the library prefix.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7-a)

set(CMAKE_C_COMPILER   arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)

set(_cpu "-mcpu=cortex-a9 -mfloat-abi=softfp -mfpu=neon -Wno-psabi")
set(CMAKE_C_FLAGS_INIT   "${_cpu}")
set(CMAKE_CXX_FLAGS_INIT "${_cpu}")

set(TESSEL_TARGET_ROOT "$ENV{TESSEL_TARGET_ROOT}" CACHE PATH "Unpacked armel packages (Lua, C/C++ runtime)")
if(NOT TESSEL_TARGET_ROOT)
  message(FATAL_ERROR "TESSEL_TARGET_ROOT must name the unpacked armel packages (see make test-arm)")
endif()
# try_compile projects read this file again and need the root too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSEL_TARGET_ROOT)
set(_multiarch ${TESSEL_TARGET_ROOT}/usr/lib/arm-linux-gnueabi)

# Lua 5.3 as the target has it; its luaconf.h includes a multiarch header.
set(ENV{PKG_CONFIG_LIBDIR} ${_multiarch}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${TESSEL_TARGET_ROOT})
set(TESSEL_EXTRA_LUA_INCLUDE ${TESSEL_TARGET_ROOT}/usr/include/arm-linux-gnueabi)
# Libraries the target's Lua library needs are found in the root at link time.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_multiarch} -Wl,-rpath-link,${TESSEL_TARGET_ROOT}/lib/arm-linux-gnueabi")

# Target programs run under the emulator, their libraries looked up in the root.
find_program(TESSEL_QEMU_ARM qemu-arm)
set(CMAKE_CROSSCOMPILING_EMULATOR ${TESSEL_QEMU_ARM} -L ${TESSEL_TARGET_ROOT})
set(TESSEL_TARGET_LUA ${TESSEL_TARGET_ROOT}/usr/bin/lua5.3)

set(CMAKE_FIND_ROOT_PATH ${TESSEL_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
