// Display devices, video layers, output channels and write-back as the
// platform has them, refused with the display's own codes.
//
// A device (kVoDevices, dev, -1) takes its public attributes while disabled
// and is then enabled, with the system up. Timings go out on the interfaces
// that carry them: standard definition on CVBS and BT.656 only, and those
// two carry nothing else; VGA carries no interlaced timing; a user timing
// has a picture. A layer (VOU, layer, -1) shows on its own device (device d
// has layer d below 2, d + 1 from there; the picture-in-picture layer 2 on
// the one HD device it is bound to); it takes its attributes while that
// device is enabled and the layer is not, within the device's screen, and
// is enabled only on an enabled device. A channel (VOU, layer, chn) exists
// once its attributes are set, within its layer's picture, on an enabled
// layer; it is enabled only on an enabled layer, and then takes frames
// through bindings as a destination. A device is disabled only once its
// layers are; disabling a layer under enabled channels goes through and is
// reported as a finding (the board keeps showing stale pictures).
// Write-back takes a source and attributes, then is enabled while its source
// shows; it is a binding source at (VOU, 0, 0), and disabling it under its
// destinations is reported. Set... calls store what they accept and Get...
// calls answer it, or the platform's defaults.
#include "display.h"
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VOU;
constexpr int kPipLayer = 2;
const Key kWbcOutput{kMod, 0, 0};  // the write-back as a binding source

HI_S32 fault(int reason) { return err(kMod, reason); }

Key devKey(VO_DEV dev) { return Key{kVoDevices, dev, -1}; }
Key layerKey(VO_LAYER layer) { return Key{kMod, layer, -1}; }
Key chnKey(VO_LAYER layer, VO_CHN chn) { return Key{kMod, layer, chn}; }

// The device a layer shows on by number; -1 for the picture-in-picture layer.
int ownDevice(VO_LAYER layer) {
  if (layer < 2) return layer;
  return layer == kPipLayer ? -1 : layer - 1;
}

// A binding reaches an output channel whose attributes are set, or the
// write-back output while it is enabled.
const bool g_endpoint = (on_endpoint(kMod, [](Key k) {
  if (k == kWbcOutput) {
    const Object* w = find(kVoWriteback);
    if (w && w->enabled) return true;
  }
  return find(chnKey(k.dev, k.chn)) != nullptr;
}), true);

Found device(VO_DEV dev) {
  if (dev < 0 || dev >= VO_MAX_DEV_NUM) return missing(fault(INVALID_DEVID));
  return {&obtain(devKey(dev)), HI_SUCCESS};
}

Found layer(VO_LAYER layer) {
  if (layer < 0 || layer >= VO_MAX_LAYER_NUM) return missing(HI_ERR_VO_INVALID_LAYERID);
  return {&obtain(layerKey(layer)), HI_SUCCESS};
}

// A channel that exists (its attributes are set).
Found channel(VO_LAYER l, VO_CHN chn) {
  if (l < 0 || l >= VO_MAX_LAYER_NUM) return missing(HI_ERR_VO_INVALID_LAYERID);
  if (chn < 0 || chn >= VO_MAX_CHN_NUM) return missing(fault(INVALID_CHNID));
  Object* o = find(chnKey(l, chn));
  return {o, o ? HI_SUCCESS : HI_ERR_VO_CHN_NOT_CONFIG};
}

// A channel that exists and is enabled, for the playback controls.
Found shown(VO_LAYER l, VO_CHN chn) {
  Found c = channel(l, chn);
  if (c.o && !c.o->enabled) return missing(HI_ERR_VO_CHN_NOT_ENABLE);
  return c;
}

int deviceOf(VO_LAYER l) { return display::device_of(l); }

bool deviceEnabled(int dev) {
  const Object* d = dev < 0 ? nullptr : find(devKey(dev));
  return d && d->enabled;
}

bool layerEnabled(VO_LAYER l) {
  const Object* o = find(layerKey(l));
  return o && o->enabled;
}

// Why a layer cannot change now: it shows on no device, its device is off,
// or it is enabled itself.
HI_S32 layerSettable(VO_LAYER l) {
  int dev = deviceOf(l);
  if (dev < 0) return HI_ERR_VO_VIDEO_NOT_BINDED;
  if (!deviceEnabled(dev)) return HI_ERR_VO_DEV_NOT_ENABLE;
  return layerEnabled(l) ? HI_ERR_VO_VIDEO_NOT_DISABLE : HI_SUCCESS;
}

// The interfaces each kind of device drives.
HI_U32 interfacesOf(VO_DEV dev) {
  if (dev < 2) return VO_INTF_HDMI | VO_INTF_VGA | VO_INTF_BT1120 | VO_INTF_BT656 | VO_INTF_YPBPR | VO_INTF_LCD;
  if (dev == 2) return VO_INTF_CVBS | VO_INTF_BT656;
  return 0xFFFFFFFFu;  // virtual and cascade devices drive no connector
}

using display::Screen;
Screen screenOf(const VO_PUB_ATTR_S& a) { return display::screen_of(a); }

bool standardDefinition(VO_INTF_SYNC_E s) { return s <= VO_OUTPUT_960H_NTSC; }

HI_S32 judgePubAttr(VO_DEV dev, const VO_PUB_ATTR_S& a) {
  HI_U32 intf = static_cast<HI_U32>(a.enIntfType);
  if (intf == 0 || a.enIntfSync < 0 || a.enIntfSync >= VO_OUTPUT_BUTT) return fault(ILLEGAL_PARAM);
  if (intf & ~interfacesOf(dev)) return fault(NOT_SUPPORT);
  const HI_U32 sdOnly = VO_INTF_CVBS | VO_INTF_BT656;
  bool sd = standardDefinition(a.enIntfSync);
  if ((intf & sdOnly) && !sd) return fault(NOT_SUPPORT);
  if (sd && (intf & ~sdOnly)) return fault(NOT_SUPPORT);
  Screen screen = screenOf(a);
  if ((intf & VO_INTF_VGA) && screen.interlaced) return fault(NOT_SUPPORT);
  return screen.width && screen.height ? HI_SUCCESS : fault(ILLEGAL_PARAM);
}

bool semiplanar(PIXEL_FORMAT_E f) {
  return f == PIXEL_FORMAT_YUV_SEMIPLANAR_420 || f == PIXEL_FORMAT_YUV_SEMIPLANAR_422;
}

// A layer's display rectangle lies on its device's screen.
HI_S32 judgeLayerAttr(const VO_VIDEO_LAYER_ATTR_S& a, const Screen& screen) {
  const RECT_S& r = a.stDispRect;
  bool rect = r.s32X >= 0 && r.s32Y >= 0 && within(r.u32Width, 32, 4096) && within(r.u32Height, 32, 4096);
  bool onScreen = rect && r.s32X + r.u32Width <= screen.width && r.s32Y + r.u32Height <= screen.height;
  bool image = within(a.stImageSize.u32Width, 32, 4096) && within(a.stImageSize.u32Height, 32, 4096);
  bool flags = (a.bDoubleFrame == HI_TRUE || a.bDoubleFrame == HI_FALSE) &&
               (a.bClusterMode == HI_TRUE || a.bClusterMode == HI_FALSE);
  if (!semiplanar(a.enPixFormat)) return fault(NOT_SUPPORT);
  return onScreen && image && flags && within(a.u32DispFrmRt, 1, 240) ? HI_SUCCESS : fault(ILLEGAL_PARAM);
}

// The write-back unit.
Found wbc(VO_WBC id) {
  if (id < 0 || id >= VO_MAX_WBC_NUM) return missing(HI_ERR_VO_INVALID_WBCID);
  return {&obtain(kVoWriteback), HI_SUCCESS};
}

// Channels set up for a larger picture than the layer now has: the call
// goes through; what a board shows of them is not known (the simulator
// shows the part that lies inside).
void reportChannelsOutside(VO_LAYER l, const SIZE_S& image) {
  for (const Key& k : objects(kMod)) {
    VO_CHN_ATTR_S a;
    if (k.dev != l || k.chn < 0 || !find(k)->get("ChnAttr", &a)) continue;
    const RECT_S& r = a.stRect;
    if (r.s32X + r.u32Width <= image.u32Width && r.s32Y + r.u32Height <= image.u32Height) continue;
    finding("channel-outside-layer", label(k) + " has the window " + std::to_string(r.u32Width) + "x" +
                                         std::to_string(r.u32Height) + " at (" + std::to_string(r.s32X) + ", " +
                                         std::to_string(r.s32Y) + "), outside the layer's picture of " +
                                         std::to_string(image.u32Width) + "x" + std::to_string(image.u32Height));
  }
}

bool channelsEnabled(VO_LAYER l) {
  for (const Key& k : objects(kMod))
    if (k.dev == l && k.chn >= 0 && find(k)->enabled) return true;
  return false;
}

}  // namespace

namespace h {

// ---- devices ------------------------------------------------------------------

HI_S32 HI_MPI_VO_SetPubAttr(VO_DEV dev, const VO_PUB_ATTR_S* attr) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!attr) return fault(NULL_PTR);
  if (d.o->enabled) return HI_ERR_VO_DEV_HAS_ENABLED;  // disable before changing the timing
  if (HI_S32 bad = judgePubAttr(dev, *attr)) return bad;
  d.o->put("PubAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetPubAttr(VO_DEV dev, VO_PUB_ATTR_S* attr) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!attr) return fault(NULL_PTR);
  return d.o->get("PubAttr", attr) ? HI_SUCCESS : HI_ERR_VO_DEV_NOT_CONFIG;
}

HI_S32 HI_MPI_VO_Enable(VO_DEV dev) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!sys_ready()) return fault(SYS_NOTREADY);
  if (!d.o->has("PubAttr")) return HI_ERR_VO_DEV_NOT_CONFIG;
  d.o->enabled = true;
  return HI_SUCCESS;
}

// Layers shown on the device are disabled first.
HI_S32 HI_MPI_VO_Disable(VO_DEV dev) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  for (int l = 0; l < VO_MAX_LAYER_NUM; ++l) {
    const Object* o = find(layerKey(l));
    if (o && o->enabled && deviceOf(l) == dev) return HI_ERR_VO_VIDEO_NOT_DISABLE;
  }
  d.o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetDevFrameRate(VO_DEV dev, HI_U32 rate) {
  return store(kMod, device(dev), "FrameRate", &rate,
               [](HI_U32 r) { return within(r, 1, 240) ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetDevFrameRate(VO_DEV dev, HI_U32* rate) {
  return load(kMod, device(dev), "FrameRate", rate, 60u);
}

HI_S32 HI_MPI_VO_SetVtth(VO_DEV dev, HI_U32 vtth) {
  return store(kMod, device(dev), "Vtth", &vtth,
               [](HI_U32 v) { return within(v, 1, 4096) ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetVtth(VO_DEV dev, HI_U32* vtth) { return load(kMod, device(dev), "Vtth", vtth, 128u); }

// ---- layers -------------------------------------------------------------------

HI_S32 HI_MPI_VO_BindVideoLayer(VO_LAYER l, VO_DEV dev) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (dev < 0 || dev >= VO_MAX_DEV_NUM) return fault(INVALID_DEVID);
  if (o.o->enabled) return HI_ERR_VO_VIDEO_NOT_DISABLE;
  // Only the picture-in-picture layer moves, and only onto an HD device.
  if (l == kPipLayer ? dev >= 2 : dev != ownDevice(l)) return fault(NOT_SUPPORT);
  if (l == kPipLayer && o.o->values.count("device") && o.o->values["device"] != dev)
    return HI_ERR_VO_VIDEO_HAS_BINDED;
  o.o->values["device"] = dev;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_UnBindVideoLayer(VO_LAYER l, VO_DEV dev) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (dev < 0 || dev >= VO_MAX_DEV_NUM) return fault(INVALID_DEVID);
  if (o.o->enabled) return HI_ERR_VO_VIDEO_NOT_DISABLE;
  if (deviceOf(l) != dev) return HI_ERR_VO_VIDEO_NOT_BINDED;
  if (l == kPipLayer) o.o->values.erase("device");
  return HI_SUCCESS;
}

// A layer takes attributes while its device shows and it does not, within
// the device's screen.
HI_S32 HI_MPI_VO_SetVideoLayerAttr(VO_LAYER l, const VO_VIDEO_LAYER_ATTR_S* attr) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (!attr) return fault(NULL_PTR);
  if (HI_S32 rc = layerSettable(l)) return rc;
  VO_PUB_ATTR_S pub{};
  find(devKey(deviceOf(l)))->get("PubAttr", &pub);  // an enabled device has its timing
  if (HI_S32 bad = judgeLayerAttr(*attr, screenOf(pub))) return bad;
  o.o->put("LayerAttr", *attr);
  reportChannelsOutside(l, attr->stImageSize);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetVideoLayerAttr(VO_LAYER l, VO_VIDEO_LAYER_ATTR_S* attr) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (!attr) return fault(NULL_PTR);
  return o.o->get("LayerAttr", attr) ? HI_SUCCESS : HI_ERR_VO_VIDEO_NOT_CONFIG;
}

HI_S32 HI_MPI_VO_EnableVideoLayer(VO_LAYER l) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (!o.o->has("LayerAttr")) return HI_ERR_VO_VIDEO_NOT_CONFIG;
  int dev = deviceOf(l);
  if (dev < 0) return HI_ERR_VO_VIDEO_NOT_BINDED;
  if (!deviceEnabled(dev)) return HI_ERR_VO_DEV_NOT_ENABLE;
  o.o->enabled = true;
  o.o->hasParent = true;
  o.o->parent = devKey(dev);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_DisableVideoLayer(VO_LAYER l) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (o.o->enabled && channelsEnabled(l))
    finding("layer-disabled-under-channels",
            "VOU layer " + std::to_string(l) + " disabled under its enabled channels");
  o.o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetVideoLayerCompressAttr(VO_LAYER l, const VO_COMPRESS_ATTR_S* attr) {
  return store(kMod, layer(l), "Compress", attr, [](const VO_COMPRESS_ATTR_S& c) {
    return c.bSupportCompress == HI_TRUE || c.bSupportCompress == HI_FALSE ? HI_SUCCESS : fault(ILLEGAL_PARAM);
  });
}

HI_S32 HI_MPI_VO_GetVideoLayerCompressAttr(VO_LAYER l, VO_COMPRESS_ATTR_S* attr) {
  return load(kMod, layer(l), "Compress", attr, VO_COMPRESS_ATTR_S{HI_FALSE});
}

HI_S32 HI_MPI_VO_SetVideoLayerPriority(VO_LAYER l, HI_U32 priority) {
  return store(kMod, layer(l), "Priority", &priority,
               [](HI_U32 p) { return p <= VO_MAX_PRIORITY ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetVideoLayerPriority(VO_LAYER l, HI_U32* priority) {
  return load(kMod, layer(l), "Priority", priority, 0u);
}

HI_S32 HI_MPI_VO_SetVideoLayerPartitionMode(VO_LAYER l, VO_PART_MODE_E mode) {
  return store(kMod, layer(l), "PartMode", &mode,
               [](VO_PART_MODE_E m) { return m < VO_PART_MODE_BUTT ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetVideoLayerPartitionMode(VO_LAYER l, VO_PART_MODE_E* mode) {
  return load(kMod, layer(l), "PartMode", mode, VO_PART_MODE_SINGLE);
}

// Changes between Begin and End take effect together: one Begin, then its End.
HI_S32 HI_MPI_VO_SetAttrBegin(VO_LAYER l) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (o.o->values.count("batch")) return HI_ERR_VO_SETBEGIN_ALREADY;
  o.o->values["batch"] = 1;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetAttrEnd(VO_LAYER l) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  return o.o->values.erase("batch") ? HI_SUCCESS : HI_ERR_VO_SETBEGIN_NOTYET;
}

HI_S32 HI_MPI_VO_SetPlayToleration(VO_LAYER l, HI_U32 ms) {
  return store(kMod, layer(l), "Toleration", &ms,
               [](HI_U32 t) { return within(t, VO_MIN_TOLERATE, VO_MAX_TOLERATE) ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetPlayToleration(VO_LAYER l, HI_U32* ms) {
  return load(kMod, layer(l), "Toleration", ms, 1000u);
}

HI_S32 HI_MPI_VO_SetDispBufLen(VO_LAYER l, HI_U32 length) {
  return store(kMod, layer(l), "DispBufLen", &length,
               [](HI_U32 n) { return n == 0 || within(n, 3, 15) ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetDispBufLen(VO_LAYER l, HI_U32* length) {
  return load(kMod, layer(l), "DispBufLen", length, static_cast<HI_U32>(VO_DEF_DISP_BUF_LEN));
}

// ---- channels -----------------------------------------------------------------

// A channel is set up on an enabled layer, its window within the layer's
// picture.
HI_S32 HI_MPI_VO_SetChnAttr(VO_LAYER l, VO_CHN chn, const VO_CHN_ATTR_S* attr) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (chn < 0 || chn >= VO_MAX_CHN_NUM) return fault(INVALID_CHNID);
  if (!attr) return fault(NULL_PTR);
  VO_VIDEO_LAYER_ATTR_S layerAttr;
  if (!o.o->enabled || !o.o->get("LayerAttr", &layerAttr)) return HI_ERR_VO_VIDEO_NOT_ENABLE;
  const RECT_S& r = attr->stRect;
  bool fits = r.s32X >= 0 && r.s32Y >= 0 && r.u32Width >= VO_MIN_CHN_WIDTH && r.u32Height >= VO_MIN_CHN_HEIGHT &&
              r.s32X + r.u32Width <= layerAttr.stImageSize.u32Width &&
              r.s32Y + r.u32Height <= layerAttr.stImageSize.u32Height;
  bool flag = attr->bDeflicker == HI_TRUE || attr->bDeflicker == HI_FALSE;
  if (!fits || !flag || attr->u32Priority > VO_MAX_PRIORITY) return fault(ILLEGAL_PARAM);
  obtain(chnKey(l, chn)).put("ChnAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetChnAttr(VO_LAYER l, VO_CHN chn, VO_CHN_ATTR_S* attr) {
  return load(kMod, channel(l, chn), "ChnAttr", attr, VO_CHN_ATTR_S{});
}

HI_S32 HI_MPI_VO_EnableChn(VO_LAYER l, VO_CHN chn) {
  Found c = channel(l, chn);
  if (!c.o) return c.rc;
  if (!layerEnabled(l)) return HI_ERR_VO_VIDEO_NOT_ENABLE;
  c.o->enabled = true;
  return HI_SUCCESS;
}

// Disabling a channel that was never set up is no error.
HI_S32 HI_MPI_VO_DisableChn(VO_LAYER l, VO_CHN chn) {
  if (l < 0 || l >= VO_MAX_LAYER_NUM) return HI_ERR_VO_INVALID_LAYERID;
  if (chn < 0 || chn >= VO_MAX_CHN_NUM) return fault(INVALID_CHNID);
  if (Object* o = find(chnKey(l, chn))) {
    o->enabled = false;
    o->values.erase("paused");
    o->values.erase("hidden");
    o->values.erase("steps");
    display::forget(chnKey(l, chn));
  }
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetChnParam(VO_LAYER l, VO_CHN chn, const VO_CHN_PARAM_S* param) {
  return store(kMod, channel(l, chn), "ChnParam", param, [](const VO_CHN_PARAM_S& p) {
    return p.stAspectRatio.enMode < ASPECT_RATIO_BUTT ? HI_SUCCESS : fault(ILLEGAL_PARAM);
  });
}

HI_S32 HI_MPI_VO_GetChnParam(VO_LAYER l, VO_CHN chn, VO_CHN_PARAM_S* param) {
  return load(kMod, channel(l, chn), "ChnParam", param, VO_CHN_PARAM_S{});
}

HI_S32 HI_MPI_VO_SetChnDispPos(VO_LAYER l, VO_CHN chn, const POINT_S* pos) {
  return store(kMod, channel(l, chn), "DispPos", pos,
               [](const POINT_S& p) { return p.s32X >= 0 && p.s32Y >= 0 ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetChnDispPos(VO_LAYER l, VO_CHN chn, POINT_S* pos) {
  Found c = channel(l, chn);
  VO_CHN_ATTR_S a{};
  if (c.o) c.o->get("ChnAttr", &a);
  return load(kMod, c, "DispPos", pos, POINT_S{a.stRect.s32X, a.stRect.s32Y});
}

HI_S32 HI_MPI_VO_SetChnField(VO_LAYER l, VO_CHN chn, const VO_DISPLAY_FIELD_E field) {
  return store(kMod, channel(l, chn), "Field", &field,
               [](VO_DISPLAY_FIELD_E f) { return f < VO_FIELD_BUTT ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetChnField(VO_LAYER l, VO_CHN chn, VO_DISPLAY_FIELD_E* field) {
  return load(kMod, channel(l, chn), "Field", field, VO_FIELD_BOTH);
}

HI_S32 HI_MPI_VO_SetChnFrameRate(VO_LAYER l, VO_CHN chn, HI_S32 rate) {
  return store(kMod, channel(l, chn), "FrameRate", &rate,
               [](HI_S32 r) { return within(r, 1, 240) ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetChnFrameRate(VO_LAYER l, VO_CHN chn, HI_S32* rate) {
  return load(kMod, channel(l, chn), "FrameRate", rate, 25);
}

HI_S32 HI_MPI_VO_PauseChn(VO_LAYER l, VO_CHN chn) {
  Found c = shown(l, chn);
  if (c.o) c.o->values["paused"] = 1;
  return c.rc;
}

HI_S32 HI_MPI_VO_ResumeChn(VO_LAYER l, VO_CHN chn) {
  Found c = shown(l, chn);
  if (c.o) {
    c.o->values.erase("paused");
    c.o->values.erase("steps");
  }
  return c.rc;
}

// Stepping shows the next picture of a paused channel.
HI_S32 HI_MPI_VO_StepChn(VO_LAYER l, VO_CHN chn) {
  Found c = shown(l, chn);
  if (!c.o) return c.rc;
  if (!c.o->values.count("paused")) return fault(NOT_PERM);
  ++c.o->values["steps"];
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_RefreshChn(VO_LAYER l, VO_CHN chn) { return shown(l, chn).rc; }

HI_S32 HI_MPI_VO_ShowChn(VO_LAYER l, VO_CHN chn) {
  Found c = shown(l, chn);
  if (c.o) c.o->values.erase("hidden");
  return c.rc;
}

HI_S32 HI_MPI_VO_HideChn(VO_LAYER l, VO_CHN chn) {
  Found c = shown(l, chn);
  if (c.o) c.o->values["hidden"] = 1;
  return c.rc;
}

HI_S32 HI_MPI_VO_EnableRecvFrameRateMatch(VO_LAYER l, VO_CHN chn) { return channel(l, chn).rc; }

HI_S32 HI_MPI_VO_DisableRecvFrameRateMatch(VO_LAYER l, VO_CHN chn) { return channel(l, chn).rc; }

HI_S32 HI_MPI_VO_SetZoomInWindow(VO_LAYER l, VO_CHN chn, const VO_ZOOM_ATTR_S* zoom) {
  return store(kMod, channel(l, chn), "Zoom", zoom, [](const VO_ZOOM_ATTR_S& z) {
    if (z.enZoomType == VOU_ZOOM_IN_RECT) return HI_SUCCESS;
    if (z.enZoomType != VOU_ZOOM_IN_RATIO) return fault(ILLEGAL_PARAM);
    const VO_ZOOM_RATIO_S& r = z.stZoomRatio;  // thousandths of the picture
    bool ok = r.u32XRatio + r.u32WRatio <= VO_MAX_ZOOM_RATIO && r.u32YRatio + r.u32HRatio <= VO_MAX_ZOOM_RATIO;
    return ok ? HI_SUCCESS : fault(ILLEGAL_PARAM);
  });
}

HI_S32 HI_MPI_VO_GetZoomInWindow(VO_LAYER l, VO_CHN chn, VO_ZOOM_ATTR_S* zoom) {
  return load(kMod, channel(l, chn), "Zoom", zoom, VO_ZOOM_ATTR_S{});
}

HI_S32 HI_MPI_VO_QueryChnStat(VO_LAYER l, VO_CHN chn, VO_QUERY_STATUS_S* status) {
  Found c = channel(l, chn);
  if (!c.o) return c.rc;
  if (!status) return fault(NULL_PTR);
  status->u32ChnBufUsed = 0;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_ClearChnBuffer(VO_LAYER l, VO_CHN chn, HI_BOOL all) {
  Found c = channel(l, chn);
  if (!c.o) return c.rc;
  if (all != HI_TRUE && all != HI_FALSE) return fault(ILLEGAL_PARAM);
  display::forget(chnKey(l, chn));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetChnBorder(VO_LAYER l, VO_CHN chn, const VO_BORDER_S* border) {
  return store(kMod, channel(l, chn), "Border", border, [](const VO_BORDER_S& b) {
    const BORDER_S& w = b.stBorder;  // widths in even pixels, at most 14
    bool even = w.u32TopWidth % 2 == 0 && w.u32BottomWidth % 2 == 0 && w.u32LeftWidth % 2 == 0 &&
                w.u32RightWidth % 2 == 0;
    bool narrow = w.u32TopWidth <= 14 && w.u32BottomWidth <= 14 && w.u32LeftWidth <= 14 && w.u32RightWidth <= 14;
    bool flag = b.bBorderEn == HI_TRUE || b.bBorderEn == HI_FALSE;
    return even && narrow && flag ? HI_SUCCESS : fault(ILLEGAL_PARAM);
  });
}

HI_S32 HI_MPI_VO_GetChnBorder(VO_LAYER l, VO_CHN chn, VO_BORDER_S* border) {
  return load(kMod, channel(l, chn), "Border", border, VO_BORDER_S{});
}

HI_S32 HI_MPI_VO_SetChnReceiveThreshold(VO_LAYER l, VO_CHN chn, HI_U32 threshold) {
  return store(kMod, channel(l, chn), "RecvThreshold", &threshold,
               [](HI_U32 t) { return within(t, 1, VO_DEF_CHN_BUF_LEN) ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetChnReceiveThreshold(VO_LAYER l, VO_CHN chn, HI_U32* threshold) {
  return load(kMod, channel(l, chn), "RecvThreshold", threshold, 1u);
}

HI_S32 HI_MPI_VO_CloseFd(HI_VOID) { return HI_SUCCESS; }

// ---- write-back -------------------------------------------------------------------

// A device by number, or a layer; changed only while write-back is off.
HI_S32 HI_MPI_VO_SetWbcSource(VO_WBC id, const VO_WBC_SOURCE_S* source) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (!source) return fault(NULL_PTR);
  if (w.o->enabled) return HI_ERR_VO_WBC_NOT_DISABLE;
  bool ok = (source->enSourceType == VO_WBC_SOURCE_DEV && source->u32SourceId < 2) ||
            (source->enSourceType == VO_WBC_SOURCE_VIDEO && source->u32SourceId < VO_MAX_LAYER_NUM);
  if (source->enSourceType == VO_WBC_SOURCE_GRAPHIC) return fault(NOT_SUPPORT);
  if (!ok) return fault(ILLEGAL_PARAM);
  w.o->put("Source", *source);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetWbcSource(VO_WBC id, VO_WBC_SOURCE_S* source) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (!source) return fault(NULL_PTR);
  return w.o->get("Source", source) ? HI_SUCCESS : HI_ERR_VO_WBC_NOT_CONFIG;
}

HI_S32 HI_MPI_VO_SetWbcAttr(VO_WBC id, const VO_WBC_ATTR_S* attr) {
  return store(kMod, wbc(id), "WbcAttr", attr, [](const VO_WBC_ATTR_S& a) {
    bool size = within(a.stTargetSize.u32Width, 32, 1920) && within(a.stTargetSize.u32Height, 32, 1080);
    if (!semiplanar(a.enPixelFormat)) return fault(NOT_SUPPORT);
    return size && within(a.u32FrameRate, 1, 60) ? HI_SUCCESS : fault(ILLEGAL_PARAM);
  });
}

HI_S32 HI_MPI_VO_GetWbcAttr(VO_WBC id, VO_WBC_ATTR_S* attr) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (!attr) return fault(NULL_PTR);
  return w.o->get("WbcAttr", attr) ? HI_SUCCESS : HI_ERR_VO_WBC_NOT_CONFIG;
}

HI_S32 HI_MPI_VO_EnableWbc(VO_WBC id) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (!sys_ready()) return fault(SYS_NOTREADY);
  VO_WBC_SOURCE_S source;
  if (!w.o->get("Source", &source) || !w.o->has("WbcAttr")) return HI_ERR_VO_WBC_NOT_CONFIG;
  int n = static_cast<int>(source.u32SourceId);  // nothing shown, nothing to write back
  if (source.enSourceType == VO_WBC_SOURCE_DEV && !deviceEnabled(n)) return HI_ERR_VO_DEV_NOT_ENABLE;
  if (source.enSourceType == VO_WBC_SOURCE_VIDEO && !layerEnabled(n)) return HI_ERR_VO_VIDEO_NOT_ENABLE;
  w.o->enabled = true;
  return HI_SUCCESS;
}

// Disabling under its destinations goes through; the encoder behind it
// starves, which is reported.
HI_S32 HI_MPI_VO_DisableWbc(VO_WBC id) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (w.o->enabled)
    for (const Key& dst : destinations(kWbcOutput))
      finding("disabled-while-bound",
              "VO write-back " + std::to_string(id) + " disabled while bound to " + label(dst));
  w.o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetWbcMode(VO_WBC id, VO_WBC_MODE_E mode) {
  return store(kMod, wbc(id), "WbcMode", &mode,
               [](VO_WBC_MODE_E m) { return m < VO_WBC_MODE_BUTT ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetWbcMode(VO_WBC id, VO_WBC_MODE_E* mode) {
  return load(kMod, wbc(id), "WbcMode", mode, VO_WBC_MODE_NOMAL);
}

HI_S32 HI_MPI_VO_SetWbcDepth(VO_WBC id, HI_U32 depth) {
  return store(kMod, wbc(id), "WbcDepth", &depth,
               [](HI_U32 d) { return d <= VO_DEF_WBC_DEPTH_LEN ? HI_SUCCESS : fault(ILLEGAL_PARAM); });
}

HI_S32 HI_MPI_VO_GetWbcDepth(VO_WBC id, HI_U32* depth) { return load(kMod, wbc(id), "WbcDepth", depth, 0u); }

}  // namespace h
}  // namespace sim

namespace sim {
namespace display {

// The picture and refresh rate of each named timing, in the timings' order.
const Screen kScreens[VO_OUTPUT_USER] = {
    {720, 576, true, 25},     {720, 480, true, 30},     {960, 576, true, 25},     {960, 480, true, 30},
    {1920, 1080, false, 24},  {1920, 1080, false, 25},  {1920, 1080, false, 30},  {1280, 720, false, 50},
    {1280, 720, false, 60},   {1920, 1080, true, 50},   {1920, 1080, true, 60},   {1920, 1080, false, 50},
    {1920, 1080, false, 60},  {720, 576, false, 50},    {720, 480, false, 60},    {640, 480, false, 60},
    {800, 600, false, 60},    {1024, 768, false, 60},   {1280, 1024, false, 60},  {1366, 768, false, 60},
    {1440, 900, false, 60},   {1280, 800, false, 60},   {1680, 1050, false, 60},  {1920, 2160, false, 30},
    {1600, 1200, false, 60},  {1920, 1200, false, 60},  {2560, 1440, false, 30},  {2560, 1440, false, 60},
    {2560, 1600, false, 60},  {3840, 2160, false, 25},  {3840, 2160, false, 30},  {3840, 2160, false, 50},
    {3840, 2160, false, 60},
};

// A user timing carries no rate: the device's frame rate says it
// (SetDevFrameRate), 60 until set.
Screen screen_of(const VO_PUB_ATTR_S& a) {
  if (a.enIntfSync >= 0 && a.enIntfSync < VO_OUTPUT_USER) return kScreens[a.enIntfSync];
  const VO_SYNC_INFO_S& s = a.stSyncInfo;
  bool interlaced = !s.bIop;
  return {s.u16Hact, static_cast<HI_U32>(s.u16Vact) * (interlaced ? 2 : 1), interlaced, 60};
}

int device_of(VO_LAYER l) {
  const Object* o = find(layerKey(l));
  if (o && o->values.count("device")) return static_cast<int>(o->values.at("device"));
  return ownDevice(l);
}

}  // namespace display
}  // namespace sim
