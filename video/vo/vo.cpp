// Module class VO, display devices and video layers, and the registration of
// the output classes.
#include <strings.h>

#include "frame/methods.h"
#include "frame/modules.h"
#include "frame/video_frame.h"
#include "video/vo/vo.h"

namespace Tessel {
namespace {

HI_S32 releaseScreen(int layer, int, VIDEO_FRAME_INFO_S* frame) { return HI_MPI_VO_ReleaseScreenFrame(layer, frame); }

// Numbers of one kind: count of them from base; out of range (taken as
// unsigned) writes a diagnostic line under the getter's name.
struct Kind {
  const char* getter;
  const char* range;
  int count, base;
};

const Kind kDevice = {"GetDevice", "VO device id is out of range, valid is [0,", vo::kDevices, 0};
const Kind kHDDevice = {"GetHDDevice", "VO HD device id is out of range, valid is [0,", vo::kHDDevices,
                        vo::kHDDeviceBase};
const Kind kSDDevice = {"GetSDDevice", "VO SD device id is out of range, valid is [0,", vo::kSDDevices,
                        vo::kSDDeviceBase};
const Kind kVirtualDevice = {"GetVirtualDevice", "VO virtual device id is out of range, valid is [0,",
                             vo::kVirtualDevices, vo::kVirtualDeviceBase};
const Kind kCasDevice = {"GetCasDevice", "VO cascade device id is out of range, valid is [0,", vo::kCasDevices,
                         vo::kCasDeviceBase};
const Kind kLayer = {"GetLayer", "VO layer id is out of range, valid is [0,", vo::kLayers, 0};
const Kind kHDLayer = {"GetHDLayer", "VO HD layer id is out of range, valid is [0,", vo::kHDDevices,
                       vo::kHDLayerBase};
const Kind kSDLayer = {"GetSDLayer", "VO SD layer id is out of range, valid is [0,", vo::kSDDevices,
                       vo::kSDLayerBase};
const Kind kVirtualLayer = {"GetVirtualLayer", "VO virtual layer id is out of range, valid is [0,",
                            vo::kVirtualDevices, vo::kVirtualLayerBase};
const Kind kCasLayer = {"GetCasLayer", "VO cascade layer id is out of range, valid is [0,", vo::kCasDevices,
                        vo::kCasLayerBase};

// The platform number of the i-th of a kind, or -1 after the diagnostic line.
int numberOf(const Kind& k, int i) {
  if (static_cast<unsigned>(i) < static_cast<unsigned>(k.count)) return k.base + i;
  TESSEL_DIAG_AS(k.getter, k.range << k.count << ")");
  return -1;
}

RefCountedObjectPtr<VODevice> device(const Kind& k, int i) {
  int n = numberOf(k, i);
  return n < 0 ? nullptr : new VODevice(n);
}

RefCountedObjectPtr<VOLayer> layer(const Kind& k, int i) {
  int n = numberOf(k, i);
  return n < 0 ? nullptr : new VOLayer(n);
}

}  // namespace

RefCountedObjectPtr<VODevice> VO::GetDevice(int id) { return device(kDevice, id); }
RefCountedObjectPtr<VODevice> VO::GetHDDevice(int i) { return device(kHDDevice, i); }
RefCountedObjectPtr<VODevice> VO::GetSDDevice(int i) { return device(kSDDevice, i); }
RefCountedObjectPtr<VODevice> VO::GetVirtualDevice(int i) { return device(kVirtualDevice, i); }
RefCountedObjectPtr<VODevice> VO::GetCasDevice(int i) { return device(kCasDevice, i); }
RefCountedObjectPtr<VOLayer> VO::GetLayer(int id) { return layer(kLayer, id); }
RefCountedObjectPtr<VOLayer> VO::GetHDLayer(int i) { return layer(kHDLayer, i); }
RefCountedObjectPtr<VOLayer> VO::GetSDLayer(int i) { return layer(kSDLayer, i); }
RefCountedObjectPtr<VOLayer> VO::GetVirtualLayer(int i) { return layer(kVirtualLayer, i); }
RefCountedObjectPtr<VOLayer> VO::GetCasLayer(int i) { return layer(kCasLayer, i); }

// ---- devices ------------------------------------------------------------------

int VODevice::SetPubAttr(lua_State* L) {
  return setFromTable<VO_PUB_ATTR_S>(L, __func__, __LINE__, "Fail to set VO device pub attributes",
                                     [&](VO_PUB_ATTR_S* p) { return HI_MPI_VO_SetPubAttr(m_devId, p); });
}

int VODevice::GetPubAttr(lua_State* L) {
  return getAsTable<VO_PUB_ATTR_S>(L, __func__, __LINE__, "Fail to get VO device pub attributes",
                                   [&](VO_PUB_ATTR_S* p) { return HI_MPI_VO_GetPubAttr(m_devId, p); });
}

HI_U32 VODevice::GetFrameRate() {
  return valueOrCode([&](HI_U32* v) { return HI_MPI_VO_GetDevFrameRate(m_devId, v); });
}

HI_U32 VODevice::GetVtth() {
  return valueOrCode([&](HI_U32* v) { return HI_MPI_VO_GetVtth(m_devId, v); });
}

RefCountedObjectPtr<VOLayer> VODevice::GetLayer() { return new VOLayer(vo::layerOf(m_devId)); }

// Disables every channel of the device's layer, then the layer; the device
// itself stays enabled and bound. Results are not looked at.
void VODevice::ForceFree() {
  int layer = vo::layerOf(m_devId);
  for (int chn = 0; chn < vo::kChannels; ++chn) HI_MPI_VO_DisableChn(layer, chn);
  HI_MPI_VO_DisableVideoLayer(layer);
}

// ---- layers ---------------------------------------------------------------------

RefCountedObjectPtr<VOChannel> VOLayer::GetChannel(int chn) { return new VOChannel(m_layerId, chn); }

int VOLayer::SetCompress(bool on) {
  VO_COMPRESS_ATTR_S attr = {on ? HI_TRUE : HI_FALSE};
  return HI_MPI_VO_SetVideoLayerCompressAttr(m_layerId, &attr);
}

// False also when the platform cannot say.
bool VOLayer::GetCompress() {
  VO_COMPRESS_ATTR_S attr = {HI_FALSE};
  return HI_MPI_VO_GetVideoLayerCompressAttr(m_layerId, &attr) == HI_SUCCESS && attr.bSupportCompress;
}

int VOLayer::SetAttr(lua_State* L) {
  return setFromTable<VO_VIDEO_LAYER_ATTR_S>(L, __func__, __LINE__, "Fail to set video layer attributes",
      [&](VO_VIDEO_LAYER_ATTR_S* p) { return HI_MPI_VO_SetVideoLayerAttr(m_layerId, p); });
}

int VOLayer::GetAttr(lua_State* L) {
  return getAsTable<VO_VIDEO_LAYER_ATTR_S>(L, __func__, __LINE__, "Fail to get video layer attributes",
      [&](VO_VIDEO_LAYER_ATTR_S* p) { return HI_MPI_VO_GetVideoLayerAttr(m_layerId, p); });
}

HI_U32 VOLayer::GetPriority() {
  return valueOrCode([&](HI_U32* v) { return HI_MPI_VO_GetVideoLayerPriority(m_layerId, v); });
}

// SetPartitionMode(mode): a number as it stands; "SINGLE" in any case is
// single, any other string multi; other types answer nil without a call.
int VOLayer::SetPartitionMode(lua_State* L) {
  VO_PART_MODE_E mode = VO_PART_MODE_SINGLE;
  if (lua_type(L, 2) == LUA_TNUMBER) {
    mode = static_cast<VO_PART_MODE_E>(luaL_checkinteger(L, 2));
  } else if (lua_type(L, 2) == LUA_TSTRING) {
    mode = strcasecmp(lua_tostring(L, 2), "SINGLE") == 0 ? VO_PART_MODE_SINGLE : VO_PART_MODE_MULTI;
  } else {
    lua_pushnil(L);
    return 1;
  }
  if (HI_MPI_VO_SetVideoLayerPartitionMode(m_layerId, mode) != HI_SUCCESS)
    lua_pushnil(L);
  else
    lua_pushboolean(L, 1);
  return 1;
}

int VOLayer::GetPartitionMode(lua_State* L) {
  VO_PART_MODE_E mode = VO_PART_MODE_SINGLE;
  if (HI_MPI_VO_GetVideoLayerPartitionMode(m_layerId, &mode) != HI_SUCCESS)
    lua_pushnil(L);
  else
    lua_pushstring(L, mode == VO_PART_MODE_SINGLE ? "SINGLE" : "MULTI");
  return 1;
}

HI_U32 VOLayer::GetPlayToleration() {
  return valueOrCode([&](HI_U32* v) { return HI_MPI_VO_GetPlayToleration(m_layerId, v); });
}

HI_U32 VOLayer::GetDispBufLen() {
  return valueOrCode([&](HI_U32* v) { return HI_MPI_VO_GetDispBufLen(m_layerId, v); });
}

namespace {

// The device argument of Bind and UnBind: a number, or a VODevice object.
// Answers false after pushing nil and the refusal.
bool deviceArg(lua_State* L, const char* func, int line, int* dev) {
  if (lua_type(L, 2) == LUA_TNUMBER) {
    *dev = static_cast<int>(luaL_checkinteger(L, 2));
    return true;
  }
  if (lua_type(L, 2) == LUA_TUSERDATA) {
    const VODevice* d = toObject<VODevice>(L, 2);
    if (!d) {
      pushFailure(L, "Invalid VO device object", func, line);
      return false;
    }
    *dev = d->get_ID();
    return true;
  }
  pushFailure(L, "Invalid VO device object or VO device ID", func, line);
  return false;
}

}  // namespace

int VOLayer::Bind(lua_State* L) {
  int dev;
  if (!deviceArg(L, __func__, __LINE__, &dev)) return 2;
  return pushStatus(L, HI_MPI_VO_BindVideoLayer(m_layerId, dev), "Fail to bind VO layer to device", __func__,
                    __LINE__);
}

// A refused unbinding answers nil and the platform's code alone.
int VOLayer::UnBind(lua_State* L) {
  int dev;
  if (!deviceArg(L, __func__, __LINE__, &dev)) return 2;
  HI_S32 rc = HI_MPI_VO_UnBindVideoLayer(m_layerId, dev);
  if (rc == HI_SUCCESS) return pushSuccess(L);
  lua_pushnil(L);
  lua_pushinteger(L, rc);
  return 2;
}

int VOLayer::GetScreenFrame(lua_State* L) {
  HI_S32 timeout = timeoutArg(L, 2);
  return pushLentFrame(L, FrameLender{&releaseScreen, m_layerId, 0}, "Fail to get VO screen frame", __func__,
                       __LINE__, [&](VIDEO_FRAME_INFO_S* frame) {
                         return HI_MPI_VO_GetScreenFrame(m_layerId, frame, timeout);
                       });
}

int VOLayer::Nothing(lua_State* L) {
  lua_pushnil(L);
  return 1;
}

// ---- registration -------------------------------------------------------------

void VO_Register(lua_State* L) {
  beginClass<VODevice>(L, "VODevice")
      .addProperty<&VODevice::get_ID>("ID")
      .addProperty<&VODevice::get_ID>("DID")
      .addFunction<&VODevice::Enable>("Enable")
      .addFunction<&VODevice::Disable>("Disable")
      .addCFunction<&VODevice::SetPubAttr>("SetPubAttr")
      .addCFunction<&VODevice::GetPubAttr>("GetPubAttr")
      .addFunction<&VODevice::SetFrameRate>("SetFrameRate")
      .addFunction<&VODevice::GetFrameRate>("GetFrameRate")
      .addFunction<&VODevice::SetVtth>("SetVtth")
      .addFunction<&VODevice::GetVtth>("GetVtth")
      .addFunction<&VODevice::GetLayer>("GetLayer")
      .addCFunction<&VODevice::Placeholder>("SetVGAParam")
      .addCFunction<&VODevice::Placeholder>("GetVGAParam")
      .addCFunction<&VODevice::Placeholder>("SetHDMIParam")
      .addCFunction<&VODevice::Placeholder>("GetHDMIParam")
      .addFunction<&VODevice::ForceFree>("ForceFree");

  beginClass<VOLayer>(L, "VOLayer")
      .addProperty<&VOLayer::get_ID>("LID")
      .addProperty<&VOLayer::get_ID>("ID")
      .addProperty<&VOLayer::get_MaxChannels>("MaxChannels")
      .addFunction<&VOLayer::GetChannel>("GetChannel")
      .addFunction<&VOLayer::Enable>("Enable")
      .addFunction<&VOLayer::Disable>("Disable")
      .addFunction<&VOLayer::SetCompress>("SetCompress")
      .addFunction<&VOLayer::GetCompress>("GetCompress")
      .addCFunction<&VOLayer::SetAttr>("SetAttr")
      .addCFunction<&VOLayer::GetAttr>("GetAttr")
      .addFunction<&VOLayer::SetPriority>("SetPriority")
      .addFunction<&VOLayer::GetPriority>("GetPriority")
      .addCFunction<&VOLayer::SetPartitionMode>("SetPartitionMode")
      .addCFunction<&VOLayer::GetPartitionMode>("GetPartitionMode")
      .addCFunction<&VOLayer::Placeholder>("SetCSC")
      .addCFunction<&VOLayer::Nothing>("GetCSC")
      .addFunction<&VOLayer::SetAttrBegin>("SetAttrBegin")
      .addFunction<&VOLayer::SetAttrEnd>("SetAttrEnd")
      .addFunction<&VOLayer::SetPlayToleration>("SetPlayToleration")
      .addFunction<&VOLayer::GetPlayToleration>("GetPlayToleration")
      .addFunction<&VOLayer::SetDispBufLen>("SetDispBufLen")
      .addFunction<&VOLayer::GetDispBufLen>("GetDispBufLen")
      .addCFunction<&VOLayer::Bind>("Bind")
      .addCFunction<&VOLayer::UnBind>("UnBind")
      .addCFunction<&VOLayer::GetScreenFrame>("GetScreenFrame");

  registerOutputChannels(L);

  beginClass<VO>(L, "VO")
      .addStaticProperty<&VO::get_MaxDevices>("MaxDevices")
      .addStaticProperty<&VO::get_MaxLayers>("MaxLayers")
      .addStaticProperty<&VO::get_MaxHDDevices>("MaxHDDevices")
      .addStaticProperty<&VO::get_HDDeviceBaseID>("HDDeviceBaseID")
      .addStaticProperty<&VO::get_MaxSDDevices>("MaxSDDevices")
      .addStaticProperty<&VO::get_SDDeviceBaseID>("SDDeviceBaseID")
      .addStaticProperty<&VO::get_MaxVirtualDevices>("MaxVirtualDevices")
      .addStaticProperty<&VO::get_VirtualDeviceBaseID>("VirtualDeviceBaseID")
      .addStaticProperty<&VO::get_MaxCasDevices>("MaxCasDevices")
      .addStaticProperty<&VO::get_CasDeviceBaseID>("CasDeviceBaseID")
      .addStaticProperty<&VO::get_MaxPIPLayers>("MaxPIPLayers")
      .addStaticProperty<&VO::get_MaxWBCs>("MaxWBCs")
      .addStaticProperty<&VO::get_HDLayerBaseID>("HDLayerBaseID")
      .addStaticProperty<&VO::get_SDLayerBaseID>("SDLayerBaseID")
      .addStaticProperty<&VO::get_VirtualLayerBaseID>("VirtualLayerBaseID")
      .addStaticProperty<&VO::get_CasLayerBaseID>("CasLayerBaseID")
      .addStaticProperty<&VO::get_PIPLayerBaseID>("PIPLayerBaseID")
      .addStaticFunction<&VO::GetDevice>("GetDevice")
      .addStaticFunction<&VO::GetHDDevice>("GetHDDevice")
      .addStaticFunction<&VO::GetSDDevice>("GetSDDevice")
      .addStaticFunction<&VO::GetVirtualDevice>("GetVirtualDevice")
      .addStaticFunction<&VO::GetCasDevice>("GetCasDevice")
      .addStaticFunction<&VO::GetLayer>("GetLayer")
      .addStaticFunction<&VO::GetHDLayer>("GetHDLayer")
      .addStaticFunction<&VO::GetSDLayer>("GetSDLayer")
      .addStaticFunction<&VO::GetVirtualLayer>("GetVirtualLayer")
      .addStaticFunction<&VO::GetCasLayer>("GetCasLayer")
      .addStaticFunction<&VO::CloseFd>("CloseFd")
      .addStaticFunction<&VO::GetWBC>("GetWBC");
}

}  // namespace Tessel
