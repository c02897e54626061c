// Registration functions of the platform modules, called by luaopen_tessel in
// this order. Each lives in its module's folder.
#pragma once

struct lua_State;

namespace Tessel {
void SYS_Register(lua_State* L);
void VB_Register(lua_State* L);
void VI_Register(lua_State* L);
void VO_Register(lua_State* L);
void VPSS_Register(lua_State* L);
void VENC_Register(lua_State* L);
void VDEC_Register(lua_State* L);
void RGN_Register(lua_State* L);
void AI_Register(lua_State* L);
void AO_Register(lua_State* L);
void AENC_Register(lua_State* L);
void ADEC_Register(lua_State* L);
void ACODEC_Register(lua_State* L);
void HDMI_Register(lua_State* L);
}  // namespace Tessel
