// The module's one entry point: registers the Tessel namespace and returns
// nothing, so require "tessel" yields true.
#include <lua.hpp>

#include "frame/modules.h"

extern "C" __attribute__((visibility("default"))) int luaopen_tessel(lua_State* L) {
  Tessel::SYS_Register(L);
  Tessel::VB_Register(L);
  Tessel::VI_Register(L);
  Tessel::VO_Register(L);
  Tessel::VPSS_Register(L);
  Tessel::VENC_Register(L);
  Tessel::VDEC_Register(L);
  Tessel::RGN_Register(L);
  Tessel::AI_Register(L);
  Tessel::AO_Register(L);
  Tessel::AENC_Register(L);
  Tessel::ADEC_Register(L);
  Tessel::ACODEC_Register(L);
  Tessel::HDMI_Register(L);
  return 0;
}
