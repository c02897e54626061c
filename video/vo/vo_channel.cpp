// VOChannel: one output channel (a window of video on a layer), addressed by
// its layer and channel numbers.
#include <strings.h>

#include "frame/methods.h"
#include "frame/video_frame.h"
#include "video/vo/vo.h"

namespace Tessel {
namespace {

HI_S32 releaseShown(int layer, int chn, VIDEO_FRAME_INFO_S* frame) {
  return HI_MPI_VO_ReleaseChnFrame(layer, chn, frame);
}

}  // namespace

int VOChannel::SetAttr(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid attr table");
  return setFromTable<VO_CHN_ATTR_S>(L, __func__, __LINE__, "Fail to set channel attributes",
      [&](VO_CHN_ATTR_S* p) { return HI_MPI_VO_SetChnAttr(m_devId, m_chnId, p); });
}

int VOChannel::GetAttr(lua_State* L) {
  return getAsTable<VO_CHN_ATTR_S>(L, __func__, __LINE__, "Fail to get channel attributes",
      [&](VO_CHN_ATTR_S* p) { return HI_MPI_VO_GetChnAttr(m_devId, m_chnId, p); });
}

// The channel parameter is its aspect ratio.
int VOChannel::SetParam(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid argument");
  VO_CHN_PARAM_S param;
  std::memset(&param, 0, sizeof param);
  if (!readArg(L, 2, &param.stAspectRatio, __func__, __LINE__)) return 2;
  return pushStatus(L, HI_MPI_VO_SetChnParam(m_devId, m_chnId, &param), "Fail to set channel parameters",
                    __func__, __LINE__);
}

int VOChannel::GetParam(lua_State* L) {
  VO_CHN_PARAM_S param;
  std::memset(&param, 0, sizeof param);
  HI_S32 rc = HI_MPI_VO_GetChnParam(m_devId, m_chnId, &param);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get channel parameters", rc);
  return pushResult(L, param.stAspectRatio, __func__, __LINE__);
}

int VOChannel::SetDispPos(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "Invalid argument");
  return setFromTable<POINT_S>(L, __func__, __LINE__, "Fail to set channel display position",
      [&](POINT_S* p) { return HI_MPI_VO_SetChnDispPos(m_devId, m_chnId, p); });
}

int VOChannel::GetDispPos(lua_State* L) {
  return getAsTable<POINT_S>(L, __func__, __LINE__, "Fail to get channel display position",
      [&](POINT_S* p) { return HI_MPI_VO_GetChnDispPos(m_devId, m_chnId, p); });
}

// Unknown names and other values pass one past the last field, which the
// platform refuses.
int VOChannel::SetField(lua_State* L) {
  VO_DISPLAY_FIELD_E field;
  if (!readArg(L, 2, &field, __func__, __LINE__)) return 2;
  return pushStatus(L, HI_MPI_VO_SetChnField(m_devId, m_chnId, field), "Fail to set channel field argument",
                    __func__, __LINE__);
}

int VOChannel::GetField(lua_State* L) {
  VO_DISPLAY_FIELD_E field = VO_FIELD_TOP;
  HI_S32 rc = HI_MPI_VO_GetChnField(m_devId, m_chnId, &field);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get channel field argument", rc);
  return pushResult(L, field, __func__, __LINE__);
}

int VOChannel::GetFrameRate() {
  HI_S32 rate = 0;
  HI_S32 rc = HI_MPI_VO_GetChnFrameRate(m_devId, m_chnId, &rate);
  return rc == HI_SUCCESS ? rate : rc;
}

// SetZoomInWindow(type, window): the window is a rectangle for type 0
// ("RECT"), a ratio for any other type.
int VOChannel::SetZoomInWindow(lua_State* L) {
  VO_ZOOM_ATTR_S zoom;
  std::memset(&zoom, 0, sizeof zoom);
  if (lua_type(L, 2) == LUA_TNUMBER)
    zoom.enZoomType = static_cast<VOU_ZOOM_IN_E>(luaL_checkinteger(L, 2));
  else if (lua_type(L, 2) == LUA_TSTRING)
    zoom.enZoomType = strcasecmp(lua_tostring(L, 2), "RATIO") == 0 ? VOU_ZOOM_IN_RATIO : VOU_ZOOM_IN_RECT;
  else
    return TESSEL_FAIL(L, "Invalid ratio type");
  bool read = zoom.enZoomType == VOU_ZOOM_IN_RECT ? readArg(L, 3, &zoom.stZoomRect, __func__, __LINE__)
                                                  : readArg(L, 3, &zoom.stZoomRatio, __func__, __LINE__);
  if (!read) return 2;
  return pushStatus(L, HI_MPI_VO_SetZoomInWindow(m_devId, m_chnId, &zoom), "Fail to set zoom in window", __func__,
                    __LINE__);
}

// The type's name and the window; the name and the window's table form are
// crossed ("RECT" with the ratio keys, "RATIO" with the rectangle keys), as
// scripts have always read them. Both forms read the same four words.
int VOChannel::GetZoomInWindow(lua_State* L) {
  VO_ZOOM_ATTR_S zoom;
  std::memset(&zoom, 0, sizeof zoom);
  HI_S32 rc = HI_MPI_VO_GetZoomInWindow(m_devId, m_chnId, &zoom);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get zoom in window", rc);
  if (zoom.enZoomType == VOU_ZOOM_IN_RECT) {
    lua_pushstring(L, "RECT");
    if (pushResult(L, zoom.stZoomRatio, __func__, __LINE__) != 1) return 2;
  } else {
    lua_pushstring(L, "RATIO");
    if (pushResult(L, zoom.stZoomRect, __func__, __LINE__) != 1) return 2;
  }
  return 2;
}

// {high 32 bits, low 32 bits} of the time stamp, or a single nil.
int VOChannel::GetPts(lua_State* L) {
  return pushTimeStamp(L, [&](HI_U64* pts) { return HI_MPI_VO_GetChnPts(m_devId, m_chnId, pts); });
}

// {u32ChnBufUsed = n}, or a single nil.
int VOChannel::Query(lua_State* L) {
  VO_QUERY_STATUS_S status = {0};
  if (HI_MPI_VO_QueryChnStat(m_devId, m_chnId, &status) != HI_SUCCESS) {
    lua_pushnil(L);
    return 1;
  }
  lua_createtable(L, 0, 1);
  lua_pushinteger(L, status.u32ChnBufUsed);
  lua_setfield(L, -2, "u32ChnBufUsed");
  return 1;
}

// ClearBuffer([all]): only a Lua true clears everything. Nothing on
// success; nil and the platform's code on failure.
int VOChannel::ClearBuffer(lua_State* L) {
  HI_BOOL all = lua_type(L, 2) == LUA_TBOOLEAN && lua_toboolean(L, 2) ? HI_TRUE : HI_FALSE;
  HI_S32 rc = HI_MPI_VO_ClearChnBuffer(m_devId, m_chnId, all);
  if (rc == HI_SUCCESS) return 0;
  lua_pushnil(L);
  lua_pushinteger(L, rc);
  return 2;
}

// SetBorder(enable [, border]): the border is read only when enabling; a
// border that does not convert is reported on standard error and answers -1.
int VOChannel::SetBorder(lua_State* L) {
  VO_BORDER_S border;
  std::memset(&border, 0, sizeof border);
  if (lua_toboolean(L, 2)) {
    border.bBorderEn = HI_TRUE;
    try {
      read(L, 3, &border.stBorder);
    } catch (MPPConvException& e) {
      TESSEL_DIAG("Fail to convert border arguments: " << e.m_msg);
      lua_pushinteger(L, -1);
      return 1;
    }
  }
  lua_pushinteger(L, HI_MPI_VO_SetChnBorder(m_devId, m_chnId, &border));
  return 1;
}

// The enabled flag and the border.
int VOChannel::GetBorder(lua_State* L) {
  VO_BORDER_S border;
  std::memset(&border, 0, sizeof border);
  HI_S32 rc = HI_MPI_VO_GetChnBorder(m_devId, m_chnId, &border);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get border", rc);
  lua_pushboolean(L, border.bBorderEn);
  if (pushResult(L, border.stBorder, __func__, __LINE__) != 1) return 2;
  return 2;
}

int VOChannel::GetReceiveThreshold() {
  return valueOrCode([&](HI_U32* v) { return HI_MPI_VO_GetChnReceiveThreshold(m_devId, m_chnId, v); });
}

int VOChannel::SendFrame(lua_State* L) {
  return sendFrame(L, HI_ERR_VO_NULL_PTR, [&](VIDEO_FRAME_INFO_S* frame, HI_S32 timeout) {
    return HI_MPI_VO_SendFrame(m_devId, m_chnId, frame, timeout);
  });
}

int VOChannel::GetFrame(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  return pushLentFrame(L, FrameLender{&releaseShown, m_devId, m_chnId}, "Fail to get VO channel frame", __func__,
                       __LINE__, [&](VIDEO_FRAME_INFO_S* frame) {
                         return HI_MPI_VO_GetChnFrame(m_devId, m_chnId, frame, timeout);
                       });
}

void registerOutputChannels(lua_State* L) {
  beginClass<VOChannel, Channel>(L, "VOChannel")
      .addProperty<&VOChannel::get_LayerID>("LayerID")
      .addFunction<&VOChannel::Enable>("Enable")
      .addFunction<&VOChannel::Disable>("Disable")
      .addCFunction<&VOChannel::SetAttr>("SetAttr")
      .addCFunction<&VOChannel::GetAttr>("GetAttr")
      .addCFunction<&VOChannel::SetParam>("SetParam")
      .addCFunction<&VOChannel::GetParam>("GetParam")
      .addCFunction<&VOChannel::SetDispPos>("SetDispPos")
      .addCFunction<&VOChannel::GetDispPos>("GetDispPos")
      .addCFunction<&VOChannel::SetField>("SetField")
      .addCFunction<&VOChannel::GetField>("GetField")
      .addFunction<&VOChannel::SetFrameRate>("SetFrameRate")
      .addFunction<&VOChannel::GetFrameRate>("GetFrameRate")
      .addFunction<&VOChannel::Pause>("Pause")
      .addFunction<&VOChannel::Resume>("Resume")
      .addFunction<&VOChannel::Step>("Step")
      .addFunction<&VOChannel::Refresh>("Refresh")
      .addFunction<&VOChannel::Show>("Show")
      .addFunction<&VOChannel::Hide>("Hide")
      .addFunction<&VOChannel::EnableRecvFrameRateMatch>("EnableRecvFrameRateMatch")
      .addFunction<&VOChannel::DisableRecvFrameRateMatch>("DisableRecvFrameRateMatch")
      .addCFunction<&VOChannel::SetZoomInWindow>("SetZoomInWindow")
      .addCFunction<&VOChannel::GetZoomInWindow>("GetZoomInWindow")
      .addCFunction<&VOChannel::GetPts>("GetPts")
      .addCFunction<&VOChannel::Query>("Query")
      .addCFunction<&VOChannel::ClearBuffer>("ClearBuffer")
      .addCFunction<&VOChannel::SetBorder>("SetBorder")
      .addCFunction<&VOChannel::GetBorder>("GetBorder")
      .addFunction<&VOChannel::SetReceiveThreshold>("SetReceiveThreshold")
      .addFunction<&VOChannel::GetReceiveThreshold>("GetReceiveThreshold")
      .addCFunction<&VOChannel::SendFrame>("SendFrame")
      .addCFunction<&VOChannel::GetFrame>("GetFrame");
  registerWriteBack(L);
}

}  // namespace Tessel
