// VPSSGroup: one processing group, addressed by its group number.
#include <strings.h>

#include "frame/methods.h"
#include "frame/video_frame.h"
#include "video/vpss/vpss.h"

namespace Tessel {
namespace {

// Enable flag of the crop, sizer and prescale setters: a boolean, or a number
// (nonzero is true). Anything else is refused.
bool enableArg(lua_State* L, int idx, bool* on) {
  switch (lua_type(L, idx)) {
    case LUA_TBOOLEAN: *on = lua_toboolean(L, idx) != 0; return true;
    case LUA_TNUMBER: *on = toInteger(L, idx) != 0; return true;
    default: return false;
  }
}

// The sizer and the prescaler share one shape, {enable flag, size}, and one
// argument form: (enable flag, size), the size read only when enabled.
template <class Info>
int setEnabledSize(lua_State* L, const char* func, int line, const char* text, VPSS_GRP grp,
                   HI_S32 (*fn)(VPSS_GRP, Info*), HI_BOOL Info::*on, SIZE_S Info::*size) {
  Info info;
  std::memset(&info, 0, sizeof info);
  bool enable;
  if (!enableArg(L, 2, &enable)) return pushFailure(L, "Invalid arguments", func, line);
  if (enable) {
    info.*on = HI_TRUE;
    if (!readArg(L, 3, &(info.*size), func, line)) return 2;
  }
  return pushStatus(L, fn(grp, &info), text, func, line);
}

// Answers the enable flag and the size table.
template <class Info>
int getEnabledSize(lua_State* L, const char* func, int line, const char* text, VPSS_GRP grp,
                   HI_S32 (*fn)(VPSS_GRP, Info*), HI_BOOL Info::*on, SIZE_S Info::*size) {
  Info info;
  std::memset(&info, 0, sizeof info);
  HI_S32 rc = fn(grp, &info);
  if (rc != HI_SUCCESS) return pushFailure(L, text, func, line, rc);
  lua_pushboolean(L, info.*on);
  push(L, info.*size);
  return 2;
}

}  // namespace

int VPSSGroup::Create(lua_State* L) {
  VPSS_GRP_ATTR_S attr;
  VPSS_GRP_ATTR_S* given = nullptr;
  int top = lua_gettop(L);
  if (top > 0 && lua_type(L, top) == LUA_TTABLE) {
    if (!readArg(L, top, &attr, __func__, __LINE__)) return 2;
    given = &attr;
  }
  HI_S32 rc = HI_MPI_VPSS_CreateGrp(m_devId, given);
  if (rc == HI_SUCCESS) m_created = true;
  return pushStatus(L, rc, "Fail to create VPSS group", __func__, __LINE__);
}

int VPSSGroup::Destroy() {
  if (!m_created) return 0;
  m_created = false;
  return HI_MPI_VPSS_DestroyGrp(m_devId);
}

int VPSSGroup::SendFrame(lua_State* L) {
  return sendFrame(L, HI_ERR_VPSS_NULL_PTR, [&](VIDEO_FRAME_INFO_S* frame, HI_S32 timeout) {
    return HI_MPI_VPSS_SendFrame(m_devId, frame, timeout);
  });
}

int VPSSGroup::SetAttr(lua_State* L) {
  return setFromTable<VPSS_GRP_ATTR_S>(L, __func__, __LINE__, "Fail to set VPSS group attributes",
      [&](auto* p) { return HI_MPI_VPSS_SetGrpAttr(m_devId, p); });
}

int VPSSGroup::GetAttr(lua_State* L) {
  return getAsTable<VPSS_GRP_ATTR_S>(L, __func__, __LINE__, "Fail to get VPSS group attributes",
      [&](auto* p) { return HI_MPI_VPSS_GetGrpAttr(m_devId, p); });
}

RefCountedObjectPtr<VPSSChannel> VPSSGroup::GetChannel(lua_Integer chn) {
  if (static_cast<lua_Unsigned>(chn) >= kVpssMaxChannels) {
    TESSEL_DIAG_AS("GetChannel", "VPSS channel ID is out of range, limit [0," << kVpssMaxChannels << ")");
    return nullptr;
  }
  return new VPSSChannel(m_devId, static_cast<int>(chn));
}

int VPSSGroup::SetParam(lua_State* L) {
  return setFromTable<VPSS_GRP_PARAM_S>(L, __func__, __LINE__, "Set VPSS group parameter fail",
      [&](auto* p) { return HI_MPI_VPSS_SetGrpParam(m_devId, p); });
}

int VPSSGroup::GetParam(lua_State* L) {
  return getAsTable<VPSS_GRP_PARAM_S>(L, __func__, __LINE__, "Fail to get VPSS group parameter",
      [&](auto* p) { return HI_MPI_VPSS_GetGrpParam(m_devId, p); });
}

// SetAdvancedParam and GetAdvancedParam are registered but not offered.
int VPSSGroup::NotImplementedYet(lua_State* L) { return pushRefusal(L, "TODO: not implemented yet"); }

// SetCrop(enable, "RATIO" | "ABS" | raw mode, rect)
int VPSSGroup::SetCrop(lua_State* L) {
  VPSS_CROP_INFO_S info;
  std::memset(&info, 0, sizeof info);
  bool enable;
  if (!enableArg(L, 2, &enable)) return TESSEL_FAIL(L, "Invalid arguments");
  if (enable) {
    info.bEnable = HI_TRUE;
    if (lua_type(L, 3) == LUA_TNUMBER) {
      info.enCropCoordinate = static_cast<VPSS_CROP_COORDINATE_E>(toInteger(L, 3));
    } else if (lua_type(L, 3) == LUA_TSTRING) {
      const char* mode = lua_tostring(L, 3);
      if (strcasecmp(mode, "ABS") == 0) info.enCropCoordinate = VPSS_CROP_ABS_COOR;
      else if (strcasecmp(mode, "RATIO") == 0) info.enCropCoordinate = VPSS_CROP_RATIO_COOR;
    }
    if (!readArg(L, 4, &info.stCropRect, __func__, __LINE__)) return 2;
  }
  return pushStatus(L, HI_MPI_VPSS_SetGrpCrop(m_devId, &info), "Fail to set VPSS group cropping",
               __func__, __LINE__);
}

// Answers enabled, "RATIO" or "ABS", and the rectangle.
int VPSSGroup::GetCrop(lua_State* L) {
  VPSS_CROP_INFO_S info;
  std::memset(&info, 0, sizeof info);
  HI_S32 rc = HI_MPI_VPSS_GetGrpCrop(m_devId, &info);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get VPSS group cropping", rc);
  lua_pushboolean(L, info.bEnable);
  lua_pushstring(L, info.enCropCoordinate == VPSS_CROP_RATIO_COOR ? "RATIO" : "ABS");
  push(L, info.stCropRect);
  return 3;
}

int VPSSGroup::SetPreScale(lua_State* L) {
  return setEnabledSize(L, __func__, __LINE__, "Fail to set VPSS prescaling", m_devId,
                        &HI_MPI_VPSS_SetPreScale, &VPSS_PRESCALE_INFO_S::bPreScale,
                        &VPSS_PRESCALE_INFO_S::stDestSize);
}

int VPSSGroup::GetPreScale(lua_State* L) {
  return getEnabledSize(L, __func__, __LINE__, "Fail to get VPSS group prescaling", m_devId,
                        &HI_MPI_VPSS_GetPreScale, &VPSS_PRESCALE_INFO_S::bPreScale,
                        &VPSS_PRESCALE_INFO_S::stDestSize);
}

// "DEFAULT"/"VPSS" 0, "OTHER"/"VGS" 1, a number as it is, anything else 2.
int VPSSGroup::SetPreScaleMode(lua_State* L) {
  int mode = VPSS_PRESCALE_MODE_BUTT;
  if (lua_type(L, 2) == LUA_TNUMBER) {
    mode = static_cast<int>(toInteger(L, 2));
  } else if (lua_type(L, 2) == LUA_TSTRING) {
    const char* s = lua_tostring(L, 2);
    if (strcasecmp(s, "DEFAULT") == 0 || strcasecmp(s, "VPSS") == 0)
      mode = VPSS_PRESCALE_MODE_DEFAULT;
    else if (strcasecmp(s, "OTHER") == 0 || strcasecmp(s, "VGS") == 0)
      mode = VPSS_PRESCALE_MODE_OTHER;
  }
  return pushStatus(L, HI_MPI_VPSS_SetPreScaleMode(m_devId, static_cast<VPSS_PRESCALE_MODE_E>(mode)),
               "Fail to set VPSS group prescale mode", __func__, __LINE__);
}

int VPSSGroup::GetPreScaleMode(lua_State* L) {
  VPSS_PRESCALE_MODE_E mode = VPSS_PRESCALE_MODE_DEFAULT;
  HI_S32 rc = HI_MPI_VPSS_GetPreScaleMode(m_devId, &mode);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get VPSS group prescale mode", rc);
  lua_pushstring(L, mode == VPSS_PRESCALE_MODE_DEFAULT ? "DEFAULT" : "OTHER");
  return 1;
}

int VPSSGroup::SetSizer(lua_State* L) {
  return setEnabledSize(L, __func__, __LINE__, "Fail to set VPSS sizer", m_devId,
                        &HI_MPI_VPSS_SetGrpSizer, &VPSS_SIZER_INFO_S::bSizer, &VPSS_SIZER_INFO_S::stSize);
}

int VPSSGroup::GetSizer(lua_State* L) {
  return getEnabledSize(L, __func__, __LINE__, "Fail to get VPSS group sizer", m_devId,
                        &HI_MPI_VPSS_GetGrpSizer, &VPSS_SIZER_INFO_S::bSizer, &VPSS_SIZER_INFO_S::stSize);
}

int VPSSGroup::SetFrameRate(int src, int dst) {
  VPSS_FRAME_RATE_S rate = {src, dst};
  return HI_MPI_VPSS_SetGrpFrameRate(m_devId, &rate);
}

int VPSSGroup::GetFrameRate(lua_State* L) {
  VPSS_FRAME_RATE_S rate = {0, 0};
  HI_S32 rc = HI_MPI_VPSS_GetGrpFrameRate(m_devId, &rate);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get VPSS group frame rate", rc);
  lua_pushinteger(L, rate.s32SrcFrmRate);
  lua_pushinteger(L, rate.s32DstFrmRate);
  return 2;
}

int VPSSGroup::GetDelay() {
  HI_U32 delay = 0;
  HI_S32 rc = HI_MPI_VPSS_GetGrpDelay(m_devId, &delay);
  return rc == HI_SUCCESS ? static_cast<int>(delay) : rc;
}

}  // namespace Tessel
