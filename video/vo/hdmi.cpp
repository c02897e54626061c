// Module class HDMI, the HDMI interface, and their registration.
#include "video/vo/hdmi.h"

#include "frame/methods.h"
#include "frame/modules.h"

namespace Tessel {

// GetInterface([id]): interface 0 for 0, nothing or anything but a number;
// any other number, fractions included, is logged and answers nil.
int HDMI::GetInterface(lua_State* L) {
  if (lua_type(L, 1) == LUA_TNUMBER && lua_tonumber(L, 1) != 0) {
    if (lua_isinteger(L, 1))
      TESSEL_DIAG("Invalid HDMI interface number:" << lua_tointeger(L, 1) << ", valid range is [0,"
                                                    << HI_HDMI_ID_BUTT << ")!");
    else
      TESSEL_DIAG("Invalid HDMI interface number:" << lua_tonumber(L, 1) << ", valid range is [0,"
                                                    << HI_HDMI_ID_BUTT << ")!");
    lua_pushnil(L);
    return 1;
  }
  push(L, RefCountedObjectPtr<HDMIInterface>(new HDMIInterface(HI_HDMI_ID_0)));
  return 1;
}

int HDMIInterface::Close() {
  HI_MPI_HDMI_Stop(m_id);
  return HI_MPI_HDMI_Close(m_id);
}

int HDMIInterface::SetAttr(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid attrs");
  return setFromTable<HI_HDMI_ATTR_S>(L, __func__, __LINE__, "Set HDMI attributes fail",
                                      [&](HI_HDMI_ATTR_S* p) { return HI_MPI_HDMI_SetAttr(m_id, p); });
}

int HDMIInterface::GetAttr(lua_State* L) {
  return getAsTable<HI_HDMI_ATTR_S>(L, __func__, __LINE__, "Get HDMI attributes fail",
                                    [&](HI_HDMI_ATTR_S* p) { return HI_MPI_HDMI_GetAttr(m_id, p); });
}

int HDMIInterface::GetSinkCapability(lua_State* L) {
  HI_HDMI_SINK_CAPABILITY_S cap;
  std::memset(&cap, 0, sizeof cap);
  HI_S32 rc = HI_MPI_HDMI_GetSinkCapability(m_id, &cap);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Get HDMI sink capability fail", rc);
  int top = lua_gettop(L);
  try {
    pushSinkCapability(L, cap);
    return 1;
  } catch (MPPConvException& e) {
    lua_settop(L, top);
    return pushFailure(L, e.m_msg, __func__, __LINE__);
  }
}

// The raw EDID bytes, zero bytes included; "" when the sink gave none.
int HDMIInterface::ForceGetEDID(lua_State* L) {
  HI_HDMI_EDID_S edid;
  std::memset(&edid, 0, sizeof edid);
  HI_S32 rc = HI_MPI_HDMI_Force_GetEDID(m_id, &edid);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Get HDMI EDID fail", rc);
  size_t length = edid.u32Edidlength < sizeof edid.u8Edid ? edid.u32Edidlength : sizeof edid.u8Edid;
  lua_pushlstring(L, reinterpret_cast<const char*>(edid.u8Edid), length);
  return 1;
}

// SetDeepColor(bits): 24, 30 or 36 bits per pixel, deep colour off above.
int HDMIInterface::SetDeepColor(lua_State* L) {
  HI_HDMI_DEEP_COLOR_E mode;
  if (!readArg(L, 2, &mode, __func__, __LINE__)) return 2;
  return pushStatus(L, HI_MPI_HDMI_SetDeepColor(m_id, mode), "Set HDMI deep color fail", __func__, __LINE__);
}

// Its messages carry the name "SetAttr", as they always have.
int HDMIInterface::GetDeepColor(lua_State* L) {
  HI_HDMI_DEEP_COLOR_E mode = HI_HDMI_DEEP_COLOR_OFF;
  HI_S32 rc = HI_MPI_HDMI_GetDeepColor(m_id, &mode);
  if (rc != HI_SUCCESS) return pushFailure(L, "Get HDMI deep color fail", "SetAttr", __LINE__, rc);
  return pushResult(L, mode, "SetAttr", __LINE__);
}

void HDMI_Register(lua_State* L) {
  beginClass<HDMIInterface>(L, "HDMIInterface")
      .addFunction<&HDMIInterface::Open>("Open")
      .addFunction<&HDMIInterface::Close>("Close")
      .addFunction<&HDMIInterface::Start>("Start")
      .addFunction<&HDMIInterface::Stop>("Stop")
      .addCFunction<&HDMIInterface::SetAttr>("SetAttr")
      .addCFunction<&HDMIInterface::GetAttr>("GetAttr")
      .addCFunction<&HDMIInterface::GetSinkCapability>("GetSinkCapability")
      .addFunction<&HDMIInterface::SetAVMute>("SetAVMute")
      .addCFunction<&HDMIInterface::ForceGetEDID>("ForceGetEDID")
      .addCFunction<&HDMIInterface::SetDeepColor>("SetDeepColor")
      .addCFunction<&HDMIInterface::GetDeepColor>("GetDeepColor")
      .addCFunction<&HDMIInterface::Placeholder>("SetInfoFrame")
      .addCFunction<&HDMIInterface::Placeholder>("GetInfoFrame");

  beginClass<HDMI>(L, "HDMI")
      .addStaticCFunction("GetInterface", &HDMI::GetInterface)
      .addStaticFunction<&HDMI::Init>("Init")
      .addStaticFunction<&HDMI::DeInit>("DeInit");
}

}  // namespace Tessel
