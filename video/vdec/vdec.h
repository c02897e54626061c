// Video decoding: decoder channels and the module-wide decoder parameters,
// over the HI_MPI_VDEC_* calls. Streams are not fed from Lua; a decoder
// channel reaches processing or display through a binding.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"

// Channel attributes: the member of the codec union follows the payload type.
TESSEL_DECLARE_STRUCT(VDEC_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VDEC_ATTR_JPEG_S)
TESSEL_DECLARE_STRUCT(VDEC_ATTR_VIDEO_S)
TESSEL_DECLARE_ENUM(VIDEO_MODE_E)
TESSEL_DECLARE_ENUM(VDEC_JPG_COLOR_FMT_E)

// Channel and protocol parameters, status and module parameters.
TESSEL_DECLARE_STRUCT(VDEC_CHN_PARAM_S)
TESSEL_DECLARE_STRUCT(VDEC_PRTCL_PARAM_S)
TESSEL_DECLARE_STRUCT(H264_PRTCL_PARAM_S)
TESSEL_DECLARE_STRUCT(H265_PRTCL_PARAM_S)
TESSEL_DECLARE_STRUCT(VDEC_CHN_STAT_S)
TESSEL_DECLARE_STRUCT(VDEC_DECODE_ERROR_S)
TESSEL_DECLARE_STRUCT(VDEC_MOD_PARAM_S)

namespace Tessel {

constexpr int kVdecMaxChannels = 64;

// One decoder channel. The object whose Create succeeded owns the platform
// channel and destroys it when it goes; any object, when it goes, stops the
// channel's stream reception.
class VDECChannel : public Channel, public RefCountedObjectType<int> {
 public:
  explicit VDECChannel(int chn) : Channel(HI_ID_VDEC, 0, chn) {}
  ~VDECChannel() override;

  int Create(lua_State* L);
  int Destroy();
  int Reset() { return HI_MPI_VDEC_ResetChn(m_chnId); }
  int Start() { return HI_MPI_VDEC_StartRecvStream(m_chnId); }
  int Stop() { return HI_MPI_VDEC_StopRecvStream(m_chnId); }
  int Query(lua_State* L);
  int GetFd() { return HI_MPI_VDEC_GetFd(m_chnId); }
  int CloseFd() { return HI_MPI_VDEC_CloseFd(m_chnId); }
  int GetAttr(lua_State* L);
  int SetParam(lua_State* L);
  int GetParam(lua_State* L);
  int SetProtocolParam(lua_State* L);
  int GetProtocolParam(lua_State* L);
  int SetRotate(int degrees);
  int GetRotate();
  int EnableUserPic(lua_State* L);
  int DisableUserPic(lua_State* L);
  int SetDisplayMode(lua_State* L);
  int GetDisplayMode(lua_State* L);
  int GetVBCnt();
  int SetVBCnt(HI_U32 count) { return HI_MPI_VDEC_SetChnVBCnt(m_chnId, count); }
  int AttachVbPool(int picture, int motionVectors);
  int DetachVbPool() { return HI_MPI_VDEC_DetachVbPool(m_chnId); }

  // Registered as GetUserData and SetUserPic: accepts anything, answers nothing.
  int Placeholder(lua_State* L) { return 0; }

 private:
  bool m_created = false;
};

// Module class: channel factories and module-wide parameters.
class VDEC {
 public:
  static int get_MaxChannels() { return kVdecMaxChannels; }
  static int SetModParam(lua_State* L);
  static int GetModParam(lua_State* L);
  static RefCountedObjectPtr<VDECChannel> CreateChannel(int chn, lua_State* L);
  static RefCountedObjectPtr<VDECChannel> GetChannel(int chn);
  static int ForceFreeChannel(int chn);
};

}  // namespace Tessel
