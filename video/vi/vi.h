// Video capture: capture devices (the physical input ports) and their capture
// channels, over the HI_MPI_VI_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Channel attributes (main and minor), status, and the enumerations they use.
TESSEL_DECLARE_STRUCT(VI_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VI_CHN_STAT_S)
TESSEL_DECLARE_ENUM(VI_CAPSEL_E)
TESSEL_DECLARE_ENUM(VI_SCAN_MODE_E)
TESSEL_DECLARE_ENUM(VI_SKIP_MODE_E)

namespace Tessel {

constexpr int kViMaxDevices = 4;
constexpr int kViMaxChannels = 16;

// One capture channel, addressed on the platform by its channel number. An
// object made by VIDevice:GetChannel owns the channel's enabling: it disables
// the channel when it goes, unless Destroy did so already.
class VIChannel : public Channel, public RefCountedObjectType<int> {
 public:
  VIChannel(int dev, int chn) : Channel(HI_ID_VIU, dev, chn) {}
  ~VIChannel() override { Destroy(); }

  void Destroy();
  int Enable() { return HI_MPI_VI_EnableChn(m_chnId); }
  int Disable() { return HI_MPI_VI_DisableChn(m_chnId); }
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int SetMinorAttr(lua_State* L);
  int GetMinorAttr(lua_State* L);
  int ClearMinorAttr() { return HI_MPI_VI_ClearChnMinorAttr(m_chnId); }
  int SetSkipMode(lua_State* L);
  int GetSkipMode(lua_State* L);
  int EnableInterrupt() { return HI_MPI_VI_EnableChnInterrupt(m_chnId); }
  int DisableInterrupt() { return HI_MPI_VI_DisableChnInterrupt(m_chnId); }
  int SetFrameDepth(HI_U32 depth) { return HI_MPI_VI_SetFrameDepth(m_chnId, depth); }
  int GetFrameDepth();
  int SetUserPic(lua_State* L);
  int EnableUserPic() { return HI_MPI_VI_EnableUserPic(m_chnId); }
  int DisableUserPic() { return HI_MPI_VI_DisableUserPic(m_chnId); }
  int GetFd() { return HI_MPI_VI_GetFd(m_chnId); }
  int GetLuma(lua_State* L);
  int Query(lua_State* L);
  int SetRotate(int degrees);
  int GetRotate();

 private:
  bool m_enabled = true;
};

// One capture device. Whoever drops a device object disables the device.
class VIDevice : public RefCountedObjectType<int> {
 public:
  explicit VIDevice(int dev) : m_devId(dev) {}
  ~VIDevice() override { HI_MPI_VI_DisableDev(m_devId); }

  int get_MaxChannels() const { return kViMaxChannels; }
  int Enable() { return HI_MPI_VI_EnableDev(m_devId); }
  int Disable() { return HI_MPI_VI_DisableDev(m_devId); }
  RefCountedObjectPtr<VIChannel> GetChannel(int chn) { return new VIChannel(m_devId, chn); }
  int ConfigMode(lua_State* L);

 private:
  int m_devId;
};

// Module class: the devices.
class VI {
 public:
  static int get_MaxDevices() { return kViMaxDevices; }
  static RefCountedObjectPtr<VIDevice> GetDevice(int dev) { return new VIDevice(dev); }
};

}  // namespace Tessel
