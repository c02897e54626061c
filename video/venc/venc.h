// Video encoding: encoder channels and the module-wide encoder parameters,
// over the HI_MPI_VENC_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"

// Channel attributes: codec and rate-control members chosen by payload type
// and mode.
TESSEL_DECLARE_STRUCT(VENC_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_JPEG_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H265_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_S)
TESSEL_DECLARE_ENUM(VENC_RC_MODE_E)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_CBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_VBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_AVBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_FIXQP_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_CBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_VBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_FIXQP_S)

// Codec tuning, ROI, frame-lost strategy, status and module parameters.
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_SLICE_SPLIT_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_INTER_PRED_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_INTRA_PRED_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_DBLK_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_REF_S)
TESSEL_DECLARE_STRUCT(VENC_FRAME_RATE_S)
TESSEL_DECLARE_STRUCT(VENC_ROIBG_FRAME_RATE_S)
TESSEL_DECLARE_STRUCT(VENC_ROI_CFG_S)
TESSEL_DECLARE_ENUM(VENC_FRAMELOST_MODE_E)
TESSEL_DECLARE_STRUCT(VENC_PARAM_FRAMELOST_S)
TESSEL_DECLARE_STRUCT(VENC_CHN_STAT_S)
TESSEL_DECLARE_ENUM(VENC_MODTYPE_E)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_VENC_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_H264E_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_H265E_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_JPEGE_S)

namespace Tessel {

constexpr int kVencMaxChannels = 128;
constexpr int kVencMaxRois = 8;

// One encoder channel. The object whose Create succeeded owns the platform
// channel and destroys it when it goes; a GetChannel wrapper never does.
class VENCChannel : public Channel, public RefCountedObjectType<int> {
 public:
  explicit VENCChannel(int chn) : Channel(HI_ID_VENC, 0, chn) {}
  ~VENCChannel() override { Destroy(); }

  int get_MaxROIs() const { return kVencMaxRois; }

  int Create(lua_State* L);
  int Destroy();
  int Reset() { return HI_MPI_VENC_ResetChn(m_chnId); }
  int Start() { return HI_MPI_VENC_StartRecvPic(m_chnId); }
  int StartEx(int pictures);
  int Stop() { return HI_MPI_VENC_StopRecvPic(m_chnId); }
  int Query(lua_State* L);
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int InsertUserData(lua_State* L);
  int SetMaxStreamCnt(int count) { return HI_MPI_VENC_SetMaxStreamCnt(m_chnId, count); }
  int GetMaxStreamCnt();
  int RequestIDR(lua_State* L);
  int EnableIDR(bool on) { return HI_MPI_VENC_EnableIDR(m_chnId, on ? HI_TRUE : HI_FALSE); }
  int SetH264IdrPicId(lua_State* L);
  int GetH264IdrPicId(lua_State* L);
  int GetFd() { return HI_MPI_VENC_GetFd(m_chnId); }
  int CloseFd() { return HI_MPI_VENC_CloseFd(m_chnId); }
  int SetRoiCfg(lua_State* L);
  int GetRoiCfg(lua_State* L);
  int SetRoiBgFrameRate(lua_State* L);
  int GetRoiBgFrameRate(lua_State* L);
  int SetH264SliceSplit(lua_State* L);
  int GetH264SliceSplit(lua_State* L);
  int SetH264InterPred(lua_State* L);
  int GetH264InterPred(lua_State* L);
  int SetH264IntraPred(lua_State* L);
  int GetH264IntraPred(lua_State* L);
  int SetH264Dblk(lua_State* L);
  int GetH264Dblk(lua_State* L);
  int SetFrameRate(lua_State* L);
  int GetFrameRate(lua_State* L);
  int SetRefParam(lua_State* L);
  int GetRefParam(lua_State* L);
  int SetColor2Grey(bool on);
  bool GetColor2Grey();
  int SetCrop(lua_State* L);
  int GetCrop(lua_State* L);
  int SetFrameLostStrategy(lua_State* L);
  int GetFrameLostStrategy(lua_State* L);
  int AttachVbPool(int pool) { return HI_MPI_VENC_AttachVbPool(m_chnId, static_cast<VB_POOL>(pool)); }
  int DetachVbPool() { return HI_MPI_VENC_DetachVbPool(m_chnId); }

  // Registered under the names of operations this module does not offer:
  // Placeholder answers nothing, Unsupported answers nil and a refusal.
  int Placeholder(lua_State* L) { return 0; }
  int Unsupported(lua_State* L);

 private:
  bool m_created = false;
};

// Module class: channel factories and module-wide parameters.
class VENC {
 public:
  static int get_MaxChannels() { return kVencMaxChannels; }
  static int SetModParam(lua_State* L);
  static int GetModParam(lua_State* L);
  static RefCountedObjectPtr<VENCChannel> CreateChannel(int chn, lua_State* L);
  static RefCountedObjectPtr<VENCChannel> GetChannel(int chn);
  static int ForceFreeChannel(int chn);
};

}  // namespace Tessel
