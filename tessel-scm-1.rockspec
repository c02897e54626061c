-- The rock of the working tree: `luarocks make` builds it with CMake and
-- installs tessel (and, built for the host, tessel.sim with the simulator
-- libraries beside it; where FreeType is, tessel.osd) into the rock tree.
rockspec_format = "3.0"
package = "tessel"
version = "scm-1"
source = {
  url = "git+file://.",
}
description = {
  summary = "Lua scripts drive the media platform of HiSilicon video chips",
  detailed = [[
    Capture, processing, H.264/H.265/JPEG encoding, decoding, display output
    and HDMI, overlays, audio and the audio codec, from Lua. Built for a PC it
    runs against a simulator of the platform (tessel.sim); built for a board
    (TESSEL_SDK_DIR) against the vendor's libraries. Where FreeType is found,
    tessel.osd renders text into overlay bitmaps.
  ]],
  license = "Proprietary",
}
dependencies = {
  "lua == 5.3",
  -- tessel.rtsp also needs LuaSocket (Debian: lua-socket).
}
build = {
  type = "cmake",
  variables = {
    CMAKE_BUILD_TYPE = "Release",
    CMAKE_INSTALL_PREFIX = "$(PREFIX)",
    TESSEL_LUA_MODULE_DIR = "$(LIBDIR)",
    TESSEL_INSTALL_LUA_MODULES = "OFF",
    TESSEL_TESTS = "OFF",
  },
  -- The modules written in Lua, into the rock's Lua tree.
  install = {
    lua = {
      ["tessel.rtsp"] = "lua/tessel/rtsp.lua",
    },
  },
}
