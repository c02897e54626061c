// Video output: display devices, the video layers composed onto them, the
// output channels (windows) of a layer, and the write-back unit, over the
// HI_MPI_VO_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Device public attributes and user timing, layer attributes.
TESSEL_DECLARE_STRUCT(VO_PUB_ATTR_S)
TESSEL_DECLARE_STRUCT(VO_SYNC_INFO_S)
TESSEL_DECLARE_ENUM(VO_INTF_SYNC_E)
TESSEL_DECLARE_STRUCT(VO_VIDEO_LAYER_ATTR_S)
// Channel attributes, zoom ratio, field; write-back attributes.
TESSEL_DECLARE_STRUCT(VO_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VO_ZOOM_RATIO_S)
TESSEL_DECLARE_ENUM(VO_DISPLAY_FIELD_E)
TESSEL_DECLARE_STRUCT(VO_WBC_ATTR_S)
TESSEL_DECLARE_ENUM(VO_WBC_MODE_E)

namespace Tessel {

// The module's fixed numbering: each kind of device and layer occupies a
// contiguous range of the platform's numbers.
namespace vo {
constexpr int kDevices = 9, kLayers = 10, kChannels = 36, kWbcs = 1;
constexpr int kHDDevices = 2, kHDDeviceBase = 0, kSDDevices = 1, kSDDeviceBase = 2;
constexpr int kVirtualDevices = 4, kVirtualDeviceBase = 3, kCasDevices = 2, kCasDeviceBase = 7;
constexpr int kPIPLayers = 1, kPIPLayerBase = 2, kHDLayerBase = 0, kSDLayerBase = 3;
constexpr int kVirtualLayerBase = 4, kCasLayerBase = 8;

// Device d shows layer d below 2 and layer d + 1 from there on (the PIP
// layer 2 belongs to no device by number).
constexpr int layerOf(int dev) { return dev < 2 ? dev : dev + 1; }
}  // namespace vo

class VOLayer;

// One display device (an interface with its timing).
class VODevice : public RefCountedObjectType<int> {
 public:
  explicit VODevice(int dev) : m_devId(dev) {}

  int get_ID() const { return m_devId; }
  int Enable() { return HI_MPI_VO_Enable(m_devId); }
  int Disable() { return HI_MPI_VO_Disable(m_devId); }
  int SetPubAttr(lua_State* L);
  int GetPubAttr(lua_State* L);
  int SetFrameRate(HI_U32 rate) { return HI_MPI_VO_SetDevFrameRate(m_devId, rate); }
  int GetFrameRate();
  int SetVtth(HI_U32 vtth) { return HI_MPI_VO_SetVtth(m_devId, vtth); }
  int GetVtth();
  RefCountedObjectPtr<VOLayer> GetLayer();
  void ForceFree();

  // Registered as the VGA and HDMI parameter methods: accept anything,
  // answer nothing.
  int Placeholder(lua_State* L) { return 0; }

 private:
  int m_devId;
};

class VOChannel;

// One video layer, holding up to 36 output channels.
class VOLayer : public RefCountedObjectType<int> {
 public:
  explicit VOLayer(int layer) : m_layerId(layer) {}

  int get_ID() const { return m_layerId; }
  int get_MaxChannels() const { return vo::kChannels; }
  RefCountedObjectPtr<VOChannel> GetChannel(int chn);
  int Enable() { return HI_MPI_VO_EnableVideoLayer(m_layerId); }
  int Disable() { return HI_MPI_VO_DisableVideoLayer(m_layerId); }
  int SetCompress(bool on);
  bool GetCompress();
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int SetPriority(HI_U32 priority) { return HI_MPI_VO_SetVideoLayerPriority(m_layerId, priority); }
  int GetPriority();
  int SetPartitionMode(lua_State* L);
  int GetPartitionMode(lua_State* L);
  int SetAttrBegin() { return HI_MPI_VO_SetAttrBegin(m_layerId); }
  int SetAttrEnd() { return HI_MPI_VO_SetAttrEnd(m_layerId); }
  int SetPlayToleration(HI_U32 ms) { return HI_MPI_VO_SetPlayToleration(m_layerId, ms); }
  int GetPlayToleration();
  int SetDispBufLen(HI_U32 length) { return HI_MPI_VO_SetDispBufLen(m_layerId, length); }
  int GetDispBufLen();
  int Bind(lua_State* L);
  int UnBind(lua_State* L);

  // Registered as SetCSC (answers nothing) and GetCSC (answers nil).
  int Placeholder(lua_State* L) { return 0; }
  int Nothing(lua_State* L);

 private:
  int m_layerId;
};

// One output channel: a window of video on a layer. The platform channel is
// disabled when the last reference to its object goes.
class VOChannel : public Channel, public RefCountedObjectType<int> {
 public:
  VOChannel(int layer, int chn) : Channel(HI_ID_VOU, layer, chn) {}
  ~VOChannel() override { HI_MPI_VO_DisableChn(m_devId, m_chnId); }

  int get_LayerID() const { return m_devId; }
  int Enable() { return HI_MPI_VO_EnableChn(m_devId, m_chnId); }
  int Disable() { return HI_MPI_VO_DisableChn(m_devId, m_chnId); }
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int SetParam(lua_State* L);
  int GetParam(lua_State* L);
  int SetDispPos(lua_State* L);
  int GetDispPos(lua_State* L);
  int SetField(lua_State* L);
  int GetField(lua_State* L);
  int SetFrameRate(int rate) { return HI_MPI_VO_SetChnFrameRate(m_devId, m_chnId, rate); }
  int GetFrameRate();
  int Pause() { return HI_MPI_VO_PauseChn(m_devId, m_chnId); }
  int Resume() { return HI_MPI_VO_ResumeChn(m_devId, m_chnId); }
  int Step() { return HI_MPI_VO_StepChn(m_devId, m_chnId); }
  int Refresh() { return HI_MPI_VO_RefreshChn(m_devId, m_chnId); }
  int Show() { return HI_MPI_VO_ShowChn(m_devId, m_chnId); }
  int Hide() { return HI_MPI_VO_HideChn(m_devId, m_chnId); }
  int EnableRecvFrameRateMatch() { return HI_MPI_VO_EnableRecvFrameRateMatch(m_devId, m_chnId); }
  int DisableRecvFrameRateMatch() { return HI_MPI_VO_DisableRecvFrameRateMatch(m_devId, m_chnId); }
  int SetZoomInWindow(lua_State* L);
  int GetZoomInWindow(lua_State* L);
  int GetPts(lua_State* L);
  int Query(lua_State* L);
  int ClearBuffer(lua_State* L);
  int SetBorder(lua_State* L);
  int GetBorder(lua_State* L);
  int SetReceiveThreshold(HI_U32 n) { return HI_MPI_VO_SetChnReceiveThreshold(m_devId, m_chnId, n); }
  int GetReceiveThreshold();
};

// The write-back unit: what a device or layer shows, as a video source
// again. One object in the process, made on first use.
class VOWbc : public Channel, public RefCountedObjectType<int> {
 public:
  VOWbc() : Channel(HI_ID_VOU, 0, 0) {}

  int get_WbcID() const { return m_wbcId; }
  int SetSource(lua_State* L);
  int GetSource(lua_State* L);
  int Enable() { return HI_MPI_VO_EnableWbc(m_wbcId); }
  int Disable() { return HI_MPI_VO_DisableWbc(m_wbcId); }
  int SetAttr(lua_State* L);
  int GetAttr(lua_State* L);
  int SetMode(lua_State* L);
  int GetMode(lua_State* L);
  int SetDepth(HI_U32 depth) { return HI_MPI_VO_SetWbcDepth(m_wbcId, depth); }
  int GetDepth();

 private:
  int m_wbcId = 0;
};

// Module class: devices and layers by number and kind, the write-back unit.
class VO {
 public:
  static RefCountedObjectPtr<VODevice> GetDevice(int id);
  static RefCountedObjectPtr<VODevice> GetHDDevice(int i);
  static RefCountedObjectPtr<VODevice> GetSDDevice(int i);
  static RefCountedObjectPtr<VODevice> GetVirtualDevice(int i);
  static RefCountedObjectPtr<VODevice> GetCasDevice(int i);
  static RefCountedObjectPtr<VOLayer> GetLayer(int id);
  static RefCountedObjectPtr<VOLayer> GetHDLayer(int i);
  static RefCountedObjectPtr<VOLayer> GetSDLayer(int i);
  static RefCountedObjectPtr<VOLayer> GetVirtualLayer(int i);
  static RefCountedObjectPtr<VOLayer> GetCasLayer(int i);
  static int CloseFd() { return HI_MPI_VO_CloseFd(); }
  static RefCountedObjectPtr<VOWbc> GetWBC(int id);
};

// Registers VOChannel, then VOWbc (vo_channel.cpp, vo_wbc.cpp).
void registerOutputChannels(lua_State* L);
void registerWriteBack(lua_State* L);

// A typed getter of one 32-bit value: the value, or the platform's code.
template <class Call>
int valueOrCode(Call&& call) {
  HI_U32 value = 0;
  HI_S32 rc = call(&value);
  return rc == HI_SUCCESS ? static_cast<int>(value) : rc;
}

}  // namespace Tessel
