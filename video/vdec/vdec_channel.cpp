// VDECChannel: one decoder channel, addressed by its channel number.
#include <strings.h>

#include <cstring>

#include "frame/methods.h"
#include "frame/video_frame.h"
#include "video/vdec/vdec.h"

namespace Tessel {
namespace {

HI_S32 releaseImage(int, int chn, VIDEO_FRAME_INFO_S* frame) { return HI_MPI_VDEC_ReleaseImage(chn, frame); }

// The fields of SendStream's info table, into the zeroed structure: pts an
// integer, the flags by Lua truth. Raises for a pts that is no integer.
void readStreamInfo(lua_State* L, int idx, VDEC_STREAM_S* stream) {
  lua_getfield(L, idx, "pts");
  if (!lua_isnil(L, -1)) {
    int exact = 0;
    lua_Integer pts = lua_tointegerx(L, -1, &exact);
    if (!exact) luaL_argerror(L, idx, "pts must be an integer");
    stream->u64PTS = static_cast<HI_U64>(pts);
  }
  lua_getfield(L, idx, "endOfFrame");
  stream->bEndOfFrame = lua_toboolean(L, -1) ? HI_TRUE : HI_FALSE;
  lua_getfield(L, idx, "endOfStream");
  stream->bEndOfStream = lua_toboolean(L, -1) ? HI_TRUE : HI_FALSE;
  lua_pop(L, 3);
}

}  // namespace

// Going away stops reception whoever made the object; only the creator
// destroys the channel.
VDECChannel::~VDECChannel() {
  HI_MPI_VDEC_StopRecvStream(m_chnId);
  if (m_created) {
    m_created = false;
    HI_MPI_VDEC_DestroyChn(m_chnId);
  }
}

// Create(attrs): attrs is the last value on the stack, so that
// VDEC.CreateChannel can hand over its own argument.
int VDECChannel::Create(lua_State* L) {
  int top = lua_gettop(L);
  if (lua_type(L, top) != LUA_TTABLE) {
    TESSEL_DIAG("Invalid VDEC channel creation attributes!");
    return TESSEL_FAIL(L, "Invalid VDEC channel creation attributes!");
  }
  VDEC_CHN_ATTR_S attr;
  try {
    read(L, top, &attr);
  } catch (MPPConvException& e) {
    TESSEL_DIAG("Fail to convert channel attributes: " << e.m_msg);
    return pushFailure(L, e.m_msg, __func__, __LINE__);
  }
  HI_S32 rc = HI_MPI_VDEC_CreateChn(m_chnId, &attr);
  if (rc == HI_SUCCESS) m_created = true;
  return pushStatus(L, rc, "Fail to create VDEC channel", __func__, __LINE__);
}

// Stops reception; destroys the channel only when this object created it.
int VDECChannel::Destroy() {
  HI_MPI_VDEC_StopRecvStream(m_chnId);
  if (!m_created) return 0;
  m_created = false;
  return HI_MPI_VDEC_DestroyChn(m_chnId);
}

int VDECChannel::Query(lua_State* L) {
  return getAsTable<VDEC_CHN_STAT_S>(L, __func__, __LINE__, "Fail to query VDEC channel status",
                                     [&](VDEC_CHN_STAT_S* p) { return HI_MPI_VDEC_Query(m_chnId, p); });
}

int VDECChannel::GetAttr(lua_State* L) {
  return getAsTable<VDEC_CHN_ATTR_S>(L, __func__, __LINE__, "Fail to get VDEC channel attributes",
                                     [&](VDEC_CHN_ATTR_S* p) { return HI_MPI_VDEC_GetChnAttr(m_chnId, p); });
}

int VDECChannel::SetParam(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "INvalid VDEC channel parameters");
  return setFromTable<VDEC_CHN_PARAM_S>(L, __func__, __LINE__, "Fail to set VDEC channel parameters",
      [&](VDEC_CHN_PARAM_S* p) { return HI_MPI_VDEC_SetChnParam(m_chnId, p); });
}

int VDECChannel::GetParam(lua_State* L) {
  return getAsTable<VDEC_CHN_PARAM_S>(L, __func__, __LINE__, "Fail to get VDEC channel parameters",
      [&](VDEC_CHN_PARAM_S* p) { return HI_MPI_VDEC_GetChnParam(m_chnId, p); });
}

int VDECChannel::SetProtocolParam(lua_State* L) {
  if (lua_type(L, 2) != LUA_TTABLE) return TESSEL_FAIL(L, "INvalid VDEC channel protocol parameters");
  return setFromTable<VDEC_PRTCL_PARAM_S>(L, __func__, __LINE__, "Fail to set VDEC channel protocol parameters",
      [&](VDEC_PRTCL_PARAM_S* p) { return HI_MPI_VDEC_SetProtocolParam(m_chnId, p); });
}

int VDECChannel::GetProtocolParam(lua_State* L) {
  return getAsTable<VDEC_PRTCL_PARAM_S>(L, __func__, __LINE__, "Fail to get VDEC channel protocol parameters",
      [&](VDEC_PRTCL_PARAM_S* p) { return HI_MPI_VDEC_GetProtocolParam(m_chnId, p); });
}

// Below 4 the argument is the platform's rotation code; 4 to 270 are degrees
// taken up to the next quarter turn; above 270 nothing is asked.
int VDECChannel::SetRotate(int degrees) {
  int code;
  if (degrees < 4) code = degrees;
  else if (degrees <= 90) code = ROTATE_90;
  else if (degrees <= 180) code = ROTATE_180;
  else if (degrees <= 270) code = ROTATE_270;
  else return 0;
  return HI_MPI_VDEC_SetRotate(m_chnId, static_cast<ROTATE_E>(code));
}

// Degrees, or the platform's code when it fails.
int VDECChannel::GetRotate() {
  ROTATE_E rotate = ROTATE_NONE;
  HI_S32 rc = HI_MPI_VDEC_GetRotate(m_chnId, &rotate);
  if (rc != HI_SUCCESS) return rc;
  switch (rotate) {
    case ROTATE_90: return 90;
    case ROTATE_180: return 180;
    case ROTATE_270: return 270;
    default: return 0;
  }
}

// EnableUserPic([instant]): instant by Lua truth, absent meaning false.
int VDECChannel::EnableUserPic(lua_State* L) {
  HI_BOOL instant = lua_toboolean(L, 2) ? HI_TRUE : HI_FALSE;
  return pushStatus(L, HI_MPI_VDEC_EnableUserPic(m_chnId, instant), "Fail to enable user PIC", __func__,
                    __LINE__);
}

int VDECChannel::DisableUserPic(lua_State* L) {
  return pushStatus(L, HI_MPI_VDEC_DisableUserPic(m_chnId), "Fail to disable user PIC", __func__, __LINE__);
}

// SetDisplayMode(mode): a number as it stands; "PLAYBACK" in any case is
// playback, any other string or type preview.
int VDECChannel::SetDisplayMode(lua_State* L) {
  VIDEO_DISPLAY_MODE_E mode = VIDEO_DISPLAY_MODE_PREVIEW;
  if (lua_type(L, 2) == LUA_TNUMBER)
    mode = static_cast<VIDEO_DISPLAY_MODE_E>(luaL_checkinteger(L, 2));
  else if (lua_type(L, 2) == LUA_TSTRING && strcasecmp(lua_tostring(L, 2), "PLAYBACK") == 0)
    mode = VIDEO_DISPLAY_MODE_PLAYBACK;
  return pushStatus(L, HI_MPI_VDEC_SetDisplayMode(m_chnId, mode), "Fail to set VDEC channel display mode",
                    __func__, __LINE__);
}

int VDECChannel::GetDisplayMode(lua_State* L) {
  VIDEO_DISPLAY_MODE_E mode = VIDEO_DISPLAY_MODE_PREVIEW;
  HI_S32 rc = HI_MPI_VDEC_GetDisplayMode(m_chnId, &mode);
  if (rc != HI_SUCCESS) return TESSEL_FAIL_CODE(L, "Fail to get VDEC channel display mode", rc);
  lua_pushstring(L, mode == VIDEO_DISPLAY_MODE_PLAYBACK ? "PLAYBACK" : "PREVIEW");
  return 1;
}

// The count, or the platform's code when it fails.
int VDECChannel::GetVBCnt() {
  HI_U32 count = 0;
  HI_S32 rc = HI_MPI_VDEC_GetChnVBCnt(m_chnId, &count);
  return rc == HI_SUCCESS ? static_cast<int>(count) : rc;
}

// The picture pool, then the motion-vector pool.
int VDECChannel::AttachVbPool(int picture, int motionVectors) {
  VDEC_CHN_POOL_S pools = {static_cast<VB_POOL>(picture), static_cast<VB_POOL>(motionVectors)};
  return HI_MPI_VDEC_AttachVbPool(m_chnId, &pools);
}

// SendStream(data [, info] [, timeout]): a number in info's place is the
// timeout. The structure points at the string's bytes, which stay on the
// stack for the call.
int VDECChannel::SendStream(lua_State* L) {
  luaL_checktype(L, 2, LUA_TSTRING);
  VDEC_STREAM_S stream;
  std::memset(&stream, 0, sizeof stream);
  size_t length = 0;
  stream.pu8Addr = reinterpret_cast<HI_U8*>(const_cast<char*>(lua_tolstring(L, 2, &length)));
  stream.u32Len = static_cast<HI_U32>(length);
  int timeoutAt = 4;
  if (lua_type(L, 3) == LUA_TNUMBER) {
    timeoutAt = 3;
  } else if (lua_type(L, 3) == LUA_TTABLE) {
    readStreamInfo(L, 3, &stream);
  } else if (!lua_isnoneornil(L, 3)) {
    luaL_checktype(L, 3, LUA_TTABLE);
  }
  HI_S32 timeout = timeoutArg(L, timeoutAt);
  return pushStatus(L, HI_MPI_VDEC_SendStream(m_chnId, &stream, timeout), "Fail to send VDEC stream", __func__,
                    __LINE__);
}

int VDECChannel::GetImage(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  return pushLentFrame(L, FrameLender{&releaseImage, 0, m_chnId}, "Fail to get VDEC image", __func__, __LINE__,
                       [&](VIDEO_FRAME_INFO_S* frame) { return HI_MPI_VDEC_GetImage(m_chnId, frame, timeout); });
}

}  // namespace Tessel
