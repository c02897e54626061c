// VPSSChannel: one output channel of a processing group.
#include "frame/methods.h"
#include "frame/video_frame.h"
#include "video/vpss/vpss.h"

namespace Tessel {
namespace {

HI_S32 releaseFrame(int grp, int chn, VIDEO_FRAME_INFO_S* frame) {
  return HI_MPI_VPSS_ReleaseChnFrame(grp, chn, frame);
}

}  // namespace

int VPSSChannel::SetAttr(lua_State* L) {
  return setFromTable<VPSS_CHN_ATTR_S>(L, __func__, __LINE__, "Fail to set VPSS channel attributes",
      [&](auto* p) { return HI_MPI_VPSS_SetChnAttr(m_devId, m_chnId, p); });
}

int VPSSChannel::GetAttr(lua_State* L) {
  return getAsTable<VPSS_CHN_ATTR_S>(L, __func__, __LINE__, "Fail to get VPSS channel attributes",
      [&](auto* p) { return HI_MPI_VPSS_GetChnAttr(m_devId, m_chnId, p); });
}

int VPSSChannel::SetParam(lua_State* L) {
  return setFromTable<VPSS_CHN_PARAM_S>(L, __func__, __LINE__, "Fail to set VPSS channel parameters",
      [&](auto* p) { return HI_MPI_VPSS_SetChnParam(m_devId, m_chnId, p); });
}

int VPSSChannel::GetParam(lua_State* L) {
  return getAsTable<VPSS_CHN_PARAM_S>(L, __func__, __LINE__, "Fail to get VPSS channel parameters",
      [&](auto* p) { return HI_MPI_VPSS_GetChnParam(m_devId, m_chnId, p); });
}

int VPSSChannel::SetMode(lua_State* L) {
  return setFromTable<VPSS_CHN_MODE_S>(L, __func__, __LINE__, "Fail to set VPSS channel mode",
      [&](auto* p) { return HI_MPI_VPSS_SetChnMode(m_devId, m_chnId, p); });
}

int VPSSChannel::GetMode(lua_State* L) {
  return getAsTable<VPSS_CHN_MODE_S>(L, __func__, __LINE__, "Fail to get VPSS channel mode",
      [&](auto* p) { return HI_MPI_VPSS_GetChnMode(m_devId, m_chnId, p); });
}

// The depth on success, the platform's code otherwise. Scripts reach it as
// GetDelay.
int VPSSChannel::GetDepth() {
  HI_U32 depth = 0;
  HI_S32 rc = HI_MPI_VPSS_GetDepth(m_devId, m_chnId, &depth);
  return rc == HI_SUCCESS ? static_cast<int>(depth) : rc;
}

int VPSSChannel::GetFrame(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  return pushLentFrame(L, FrameLender{&releaseFrame, m_devId, m_chnId}, "Fail to get VPSS channel frame",
                       __func__, __LINE__, [&](VIDEO_FRAME_INFO_S* frame) {
                         return HI_MPI_VPSS_GetChnFrame(m_devId, m_chnId, frame, timeout);
                       });
}

int VPSSChannel::GetOverlay() {
  HI_U32 mask = 0;
  HI_S32 rc = HI_MPI_VPSS_GetChnOverlay(m_devId, m_chnId, &mask);
  return rc == HI_SUCCESS ? static_cast<int>(mask) : rc;
}

// Turns an angle into an overlay setting: up to 3 as it is, then one step per
// quarter turn. Answers 999 when the platform took it, 321 when it refused,
// and 123456 for angles beyond three quarters (nothing is set).
int VPSSChannel::SetRotate(int angle) {
  HI_U32 overlay;
  if (angle <= 3) overlay = static_cast<HI_U32>(angle);
  else if (angle <= 90) overlay = 1;
  else if (angle <= 180) overlay = 2;
  else if (angle <= 270) overlay = 3;
  else return 123456;
  return HI_MPI_VPSS_SetChnOverlay(m_devId, m_chnId, overlay) == HI_SUCCESS ? 999 : 321;
}

}  // namespace Tessel
