// Video processing: groups (de-interlacing, cropping, scaling, noise
// reduction) and their output channels, over the HI_MPI_VPSS_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"

TESSEL_DECLARE_STRUCT(VPSS_GRP_ATTR_S)
TESSEL_DECLARE_STRUCT(VPSS_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VPSS_CHN_MODE_S)
TESSEL_DECLARE_STRUCT(VPSS_FRAME_RATE_S)
TESSEL_DECLARE_STRUCT(VPSS_GRP_PARAM_S)
TESSEL_DECLARE_STRUCT(VPSS_CHN_PARAM_S)
TESSEL_DECLARE_ENUM(VPSS_DIE_MODE_E)
TESSEL_DECLARE_ENUM(VPSS_CHN_MODE_E)

namespace Tessel {

constexpr int kVpssModId = HI_ID_VPSS;
constexpr int kVpssMaxGroups = 256;
constexpr int kVpssMaxChannels = 4;

// One output channel of a group. Holds no state and releases nothing.
class VPSSChannel : public Channel, public RefCountedObjectType<int> {
 public:
  VPSSChannel(int grp, int chn) : Channel(kVpssModId, grp, chn) {}

  int Enable() { return HI_MPI_VPSS_EnableChn(m_devId, m_chnId); }
  int Disable() { return HI_MPI_VPSS_DisableChn(m_devId, m_chnId); }
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int SetParam(lua_State* L);
  int GetParam(lua_State* L);
  int SetMode(lua_State* L);
  int GetMode(lua_State* L);
  int SetDepth(unsigned int depth) { return HI_MPI_VPSS_SetDepth(m_devId, m_chnId, depth); }
  int GetDepth();
  int SetOverlay(unsigned int mask) { return HI_MPI_VPSS_SetChnOverlay(m_devId, m_chnId, mask); }
  int GetOverlay();
  int SetRotate(int angle);
};

// A processing group; the object that created it destroys it.
class VPSSGroup : public Channel, public RefCountedObjectType<int> {
 public:
  explicit VPSSGroup(int grp) : Channel(kVpssModId, grp, 0) {}
  ~VPSSGroup() override { Destroy(); }

  int get_GroupID() const { return m_devId; }
  int get_MaxChannels() const { return kVpssMaxChannels; }

  int Create(lua_State* L);
  int Destroy();
  int Start() { return HI_MPI_VPSS_StartGrp(m_devId); }
  int Stop() { return HI_MPI_VPSS_StopGrp(m_devId); }
  int Reset() { return HI_MPI_VPSS_ResetGrp(m_devId); }
  int EnableBackupFrame() { return HI_MPI_VPSS_EnableBackupFrame(m_devId); }
  int DisableBackupFrame() { return HI_MPI_VPSS_DisableBackupFrame(m_devId); }
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  RefCountedObjectPtr<VPSSChannel> GetChannel(lua_Integer chn);
  int SetParam(lua_State* L);
  int GetParam(lua_State* L);
  int NotImplementedYet(lua_State* L);
  int SetCrop(lua_State* L);
  int GetCrop(lua_State* L);
  int SetPreScale(lua_State* L);
  int GetPreScale(lua_State* L);
  int SetPreScaleMode(lua_State* L);
  int GetPreScaleMode(lua_State* L);
  int SetSizer(lua_State* L);
  int GetSizer(lua_State* L);
  int SetFrameRate(int src, int dst);
  int GetFrameRate(lua_State* L);
  int SetDelay(unsigned int delay) { return HI_MPI_VPSS_SetGrpDelay(m_devId, delay); }
  int GetDelay();
  int EnableUserFrameRateCtrl() { return HI_MPI_VPSS_EnableUserFrameRateCtrl(m_devId); }
  int DisableUserFrameRateCtrl() { return HI_MPI_VPSS_DisableUserFrameRateCtrl(m_devId); }

 private:
  bool m_created = false;
};

// Module class: group factories and the module's limits.
class VPSS {
 public:
  static int get_MaxGroups() { return kVpssMaxGroups; }
  static int get_MaxChannelsPerGroup() { return kVpssMaxChannels; }
  // Numbers are taken whole, so that one beyond 32 bits is refused rather
  // than cut down to a valid group.
  static RefCountedObjectPtr<VPSSGroup> GetGroup(lua_Integer grp);
  static RefCountedObjectPtr<VPSSGroup> CreateGroup(lua_Integer grp, lua_State* L);
  static int ForceFreeGroup(int grp);
};

}  // namespace Tessel
