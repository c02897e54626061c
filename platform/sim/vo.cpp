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

HI_S32 badDevice(VO_DEV dev) {
  return refuse(fault(INVALID_DEVID), "VO device %d outside [0, %d)", dev, VO_MAX_DEV_NUM);
}

HI_S32 badLayer(VO_LAYER l) {
  return refuse(HI_ERR_VO_INVALID_LAYERID, "VO layer %d outside [0, %d)", l, VO_MAX_LAYER_NUM);
}

HI_S32 badChannel(VO_CHN chn) {
  return refuse(fault(INVALID_CHNID), "VO channel %d outside [0, %d)", chn, VO_MAX_CHN_NUM);
}

Found device(VO_DEV dev) {
  if (dev < 0 || dev >= VO_MAX_DEV_NUM) return missing(badDevice(dev));
  return {&obtain(devKey(dev)), HI_SUCCESS};
}

Found layer(VO_LAYER l) {
  if (l < 0 || l >= VO_MAX_LAYER_NUM) return missing(badLayer(l));
  return {&obtain(layerKey(l)), HI_SUCCESS};
}

// A channel that exists (its attributes are set). The display has no "does
// not exist": a channel never set up is not configured.
Found channel(VO_LAYER l, VO_CHN chn) {
  if (l < 0 || l >= VO_MAX_LAYER_NUM) return missing(badLayer(l));
  if (chn < 0 || chn >= VO_MAX_CHN_NUM) return missing(badChannel(chn));
  Object* o = find(chnKey(l, chn));
  if (o) return {o, HI_SUCCESS};
  return missing(refuse(HI_ERR_VO_CHN_NOT_CONFIG, "VO layer %d channel %d has no attributes (SetChnAttr)", l, chn));
}

// A channel that exists and is enabled, for the playback controls.
Found shown(VO_LAYER l, VO_CHN chn) {
  Found c = channel(l, chn);
  if (c.o && !c.o->enabled)
    return missing(refuse(HI_ERR_VO_CHN_NOT_ENABLE, "VO layer %d channel %d is not enabled", l, chn));
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

// The picture-in-picture layer shows nowhere until it is bound.
HI_S32 unboundLayer(VO_LAYER l) {
  return refuse(HI_ERR_VO_VIDEO_NOT_BINDED, "VO layer %d is bound to no device (BindVideoLayer)", l);
}

HI_S32 deviceOff(int dev, VO_LAYER l) {
  return refuse(HI_ERR_VO_DEV_NOT_ENABLE, "VO device %d, which layer %d shows on, is not enabled", dev, l);
}

// Why a layer cannot change now: it shows on no device, its device is off,
// or it is enabled itself.
HI_S32 layerSettable(VO_LAYER l) {
  int dev = deviceOf(l);
  if (dev < 0) return unboundLayer(l);
  if (!deviceEnabled(dev)) return deviceOff(dev, l);
  if (layerEnabled(l))
    return refuse(HI_ERR_VO_VIDEO_NOT_DISABLE, "VO layer %d is enabled: set its attributes before enabling it", l);
  return HI_SUCCESS;
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
  const int sync = a.enIntfSync;
  if (HI_S32 bad = checks(kMod)
                       .rule(intf != 0, "no interface chosen (interface type 0)")
                       .rule(sync >= 0 && sync < static_cast<int>(VO_OUTPUT_BUTT), "timing %d outside [0, %d)", sync,
                             VO_OUTPUT_BUTT))
    return bad;
  const HI_U32 sdOnly = VO_INTF_CVBS | VO_INTF_BT656;
  bool sd = standardDefinition(a.enIntfSync);
  Screen screen = screenOf(a);
  if (HI_S32 bad = Judge(fault(NOT_SUPPORT))
                       .rule(!(intf & ~interfacesOf(dev)), "VO device %d drives none of the interfaces 0x%X", dev,
                             intf & ~interfacesOf(dev))
                       .rule(!(intf & sdOnly) || sd,
                             "timing %d on CVBS or BT.656, which carry standard definition only", sync)
                       .rule(!sd || !(intf & ~sdOnly),
                             "standard-definition timing %d on interfaces 0x%X: it goes out on CVBS or BT.656 only",
                             sync, intf)
                       .rule(!(intf & VO_INTF_VGA) || !screen.interlaced,
                             "VGA carries no interlaced timing (timing %d)", sync))
    return bad;
  return checks(kMod)
      .rule(screen.width && screen.height, "user timing with an empty picture %ux%u", screen.width, screen.height);
}

bool semiplanar(PIXEL_FORMAT_E f) {
  return f == PIXEL_FORMAT_YUV_SEMIPLANAR_420 || f == PIXEL_FORMAT_YUV_SEMIPLANAR_422;
}

HI_S32 notSemiplanar(PIXEL_FORMAT_E f) {
  return refuse(fault(NOT_SUPPORT), "pixel format %d: the display takes semi-planar YUV 4:2:0 or 4:2:2", f);
}

// A layer's display rectangle lies on its device's screen.
HI_S32 judgeLayerAttr(const VO_VIDEO_LAYER_ATTR_S& a, const Screen& screen) {
  if (!semiplanar(a.enPixFormat)) return notSemiplanar(a.enPixFormat);
  const RECT_S& r = a.stDispRect;
  return checks(kMod)
      .rule(r.s32X >= 0 && r.s32Y >= 0, "display position (%d, %d) is negative", r.s32X, r.s32Y)
      .range("display width", r.u32Width, 32, 4096)
      .range("display height", r.u32Height, 32, 4096)
      .rule(r.s32X + r.u32Width <= screen.width && r.s32Y + r.u32Height <= screen.height,
            "display rectangle (%d, %d) %ux%u reaches beyond the screen of %ux%u", r.s32X, r.s32Y, r.u32Width,
            r.u32Height, screen.width, screen.height)
      .range("image width", a.stImageSize.u32Width, 32, 4096)
      .range("image height", a.stImageSize.u32Height, 32, 4096)
      .flag("bDoubleFrame", a.bDoubleFrame)
      .flag("bClusterMode", a.bClusterMode)
      .range("display frame rate", a.u32DispFrmRt, 1, 240);
}

// The write-back unit.
Found wbc(VO_WBC id) {
  if (id < 0 || id >= VO_MAX_WBC_NUM)
    return missing(refuse(HI_ERR_VO_INVALID_WBCID, "write-back %d outside [0, %d)", id, VO_MAX_WBC_NUM));
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

HI_S32 noAttributes() { return refuse(fault(NULL_PTR), "no attributes given (null pointer)"); }
HI_S32 nowhere() { return refuse(fault(NULL_PTR), "nowhere to write the attributes (null pointer)"); }

HI_S32 devNotConfigured(VO_DEV dev) {
  return refuse(HI_ERR_VO_DEV_NOT_CONFIG, "VO device %d has no attributes (SetPubAttr)", dev);
}

HI_S32 layerNotConfigured(VO_LAYER l) {
  return refuse(HI_ERR_VO_VIDEO_NOT_CONFIG, "VO layer %d has no attributes (SetVideoLayerAttr)", l);
}

HI_S32 layerOn(VO_LAYER l, const char* what) {
  return refuse(HI_ERR_VO_VIDEO_NOT_DISABLE, "VO layer %d is enabled: disable it before %s it", l, what);
}

HI_S32 layerOff(VO_LAYER l) {
  return refuse(HI_ERR_VO_VIDEO_NOT_ENABLE, "VO layer %d is not enabled: its channels need it enabled", l);
}

}  // namespace

namespace h {

// ---- devices ------------------------------------------------------------------

HI_S32 HI_MPI_VO_SetPubAttr(VO_DEV dev, const VO_PUB_ATTR_S* attr) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!attr) return noAttributes();
  if (d.o->enabled)
    return refuse(HI_ERR_VO_DEV_HAS_ENABLED, "VO device %d is enabled: disable it before changing its timing", dev);
  if (HI_S32 bad = judgePubAttr(dev, *attr)) return bad;
  d.o->put("PubAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetPubAttr(VO_DEV dev, VO_PUB_ATTR_S* attr) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!attr) return nowhere();
  return d.o->get("PubAttr", attr) ? HI_SUCCESS : devNotConfigured(dev);
}

HI_S32 HI_MPI_VO_Enable(VO_DEV dev) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!sys_ready()) return notReady(kMod);
  if (!d.o->has("PubAttr")) return devNotConfigured(dev);
  d.o->enabled = true;
  return HI_SUCCESS;
}

// Layers shown on the device are disabled first.
HI_S32 HI_MPI_VO_Disable(VO_DEV dev) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  for (int l = 0; l < VO_MAX_LAYER_NUM; ++l) {
    const Object* o = find(layerKey(l));
    if (o && o->enabled && deviceOf(l) == dev)
      return refuse(HI_ERR_VO_VIDEO_NOT_DISABLE, "VO layer %d on device %d is enabled: disable the layers first", l,
                    dev);
  }
  d.o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetDevFrameRate(VO_DEV dev, HI_U32 rate) {
  return store(kMod, device(dev), "FrameRate", &rate,
               [](HI_U32 r) { return checks(kMod).range("frame rate", r, 1, 240); });
}

HI_S32 HI_MPI_VO_GetDevFrameRate(VO_DEV dev, HI_U32* rate) {
  return load(kMod, device(dev), "FrameRate", rate, 60u);
}

HI_S32 HI_MPI_VO_SetVtth(VO_DEV dev, HI_U32 vtth) {
  return store(kMod, device(dev), "Vtth", &vtth,
               [](HI_U32 v) { return checks(kMod).range("interrupt threshold", v, 1, 4096); });
}

HI_S32 HI_MPI_VO_GetVtth(VO_DEV dev, HI_U32* vtth) { return load(kMod, device(dev), "Vtth", vtth, 128u); }

// ---- layers -------------------------------------------------------------------

HI_S32 HI_MPI_VO_BindVideoLayer(VO_LAYER l, VO_DEV dev) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (dev < 0 || dev >= VO_MAX_DEV_NUM) return badDevice(dev);
  if (o.o->enabled) return layerOn(l, "binding");
  // Only the picture-in-picture layer moves, and only onto an HD device.
  if (l == kPipLayer && dev >= 2)
    return refuse(fault(NOT_SUPPORT), "VO layer %d shows on devices 0 and 1 only, not %d", l, dev);
  if (l != kPipLayer && dev != ownDevice(l))
    return refuse(fault(NOT_SUPPORT), "VO layer %d shows on device %d only, not %d", l, ownDevice(l), dev);
  if (l == kPipLayer && o.o->values.count("device") && o.o->values["device"] != dev)
    return refuse(HI_ERR_VO_VIDEO_HAS_BINDED, "VO layer %d is bound to device %lld already: unbind it first", l,
                  o.o->values["device"]);
  o.o->values["device"] = dev;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_UnBindVideoLayer(VO_LAYER l, VO_DEV dev) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (dev < 0 || dev >= VO_MAX_DEV_NUM) return badDevice(dev);
  if (o.o->enabled) return layerOn(l, "unbinding");
  if (deviceOf(l) != dev) return refuse(HI_ERR_VO_VIDEO_NOT_BINDED, "VO layer %d is not bound to device %d", l, dev);
  if (l == kPipLayer) o.o->values.erase("device");
  return HI_SUCCESS;
}

// A layer takes attributes while its device shows and it does not, within
// the device's screen.
HI_S32 HI_MPI_VO_SetVideoLayerAttr(VO_LAYER l, const VO_VIDEO_LAYER_ATTR_S* attr) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (!attr) return noAttributes();
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
  if (!attr) return nowhere();
  return o.o->get("LayerAttr", attr) ? HI_SUCCESS : layerNotConfigured(l);
}

HI_S32 HI_MPI_VO_EnableVideoLayer(VO_LAYER l) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (!o.o->has("LayerAttr")) return layerNotConfigured(l);
  int dev = deviceOf(l);
  if (dev < 0) return unboundLayer(l);
  if (!deviceEnabled(dev)) return deviceOff(dev, l);
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
    return checks(kMod).flag("bSupportCompress", c.bSupportCompress);
  });
}

HI_S32 HI_MPI_VO_GetVideoLayerCompressAttr(VO_LAYER l, VO_COMPRESS_ATTR_S* attr) {
  return load(kMod, layer(l), "Compress", attr, VO_COMPRESS_ATTR_S{HI_FALSE});
}

HI_S32 HI_MPI_VO_SetVideoLayerPriority(VO_LAYER l, HI_U32 priority) {
  return store(kMod, layer(l), "Priority", &priority,
               [](HI_U32 p) { return checks(kMod).range("priority", p, 0, VO_MAX_PRIORITY); });
}

HI_S32 HI_MPI_VO_GetVideoLayerPriority(VO_LAYER l, HI_U32* priority) {
  return load(kMod, layer(l), "Priority", priority, 0u);
}

HI_S32 HI_MPI_VO_SetVideoLayerPartitionMode(VO_LAYER l, VO_PART_MODE_E mode) {
  return store(kMod, layer(l), "PartMode", &mode,
               [](VO_PART_MODE_E m) { return checks(kMod).below("partition mode", m, VO_PART_MODE_BUTT); });
}

HI_S32 HI_MPI_VO_GetVideoLayerPartitionMode(VO_LAYER l, VO_PART_MODE_E* mode) {
  return load(kMod, layer(l), "PartMode", mode, VO_PART_MODE_SINGLE);
}

// Changes between Begin and End take effect together: one Begin, then its End.
HI_S32 HI_MPI_VO_SetAttrBegin(VO_LAYER l) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (o.o->values.count("batch"))
    return refuse(HI_ERR_VO_SETBEGIN_ALREADY, "VO layer %d is between SetAttrBegin and SetAttrEnd already", l);
  o.o->values["batch"] = 1;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetAttrEnd(VO_LAYER l) {
  Found o = layer(l);
  if (!o.o) return o.rc;
  if (o.o->values.erase("batch")) return HI_SUCCESS;
  return refuse(HI_ERR_VO_SETBEGIN_NOTYET, "VO layer %d: SetAttrEnd without SetAttrBegin", l);
}

HI_S32 HI_MPI_VO_SetPlayToleration(VO_LAYER l, HI_U32 ms) {
  return store(kMod, layer(l), "Toleration", &ms,
               [](HI_U32 t) {
                 return checks(kMod).range("play toleration (ms)", t, VO_MIN_TOLERATE, VO_MAX_TOLERATE);
               });
}

HI_S32 HI_MPI_VO_GetPlayToleration(VO_LAYER l, HI_U32* ms) {
  return load(kMod, layer(l), "Toleration", ms, 1000u);
}

HI_S32 HI_MPI_VO_SetDispBufLen(VO_LAYER l, HI_U32 length) {
  return store(kMod, layer(l), "DispBufLen", &length,
               [](HI_U32 n) {
                 return checks(kMod)
                     .rule(n == 0 || within(n, 3, 15), "display buffer length %u: 0 (the default) or 3 to 15", n);
               });
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
  if (chn < 0 || chn >= VO_MAX_CHN_NUM) return badChannel(chn);
  if (!attr) return noAttributes();
  VO_VIDEO_LAYER_ATTR_S layerAttr;
  if (!o.o->enabled || !o.o->get("LayerAttr", &layerAttr)) return layerOff(l);
  const RECT_S& r = attr->stRect;
  const SIZE_S& image = layerAttr.stImageSize;
  if (HI_S32 bad = checks(kMod)
                       .rule(r.s32X >= 0 && r.s32Y >= 0, "window position (%d, %d) is negative", r.s32X, r.s32Y)
                       .rule(r.u32Width >= VO_MIN_CHN_WIDTH && r.u32Height >= VO_MIN_CHN_HEIGHT,
                             "window %ux%u smaller than %dx%d", r.u32Width, r.u32Height, VO_MIN_CHN_WIDTH,
                             VO_MIN_CHN_HEIGHT)
                       .rule(r.s32X + r.u32Width <= image.u32Width && r.s32Y + r.u32Height <= image.u32Height,
                             "window (%d, %d) %ux%u reaches beyond the layer's image of %ux%u", r.s32X, r.s32Y,
                             r.u32Width, r.u32Height, image.u32Width, image.u32Height)
                       .flag("bDeflicker", attr->bDeflicker)
                       .range("priority", attr->u32Priority, 0, VO_MAX_PRIORITY))
    return bad;
  obtain(chnKey(l, chn)).put("ChnAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetChnAttr(VO_LAYER l, VO_CHN chn, VO_CHN_ATTR_S* attr) {
  return load(kMod, channel(l, chn), "ChnAttr", attr, VO_CHN_ATTR_S{});
}

HI_S32 HI_MPI_VO_EnableChn(VO_LAYER l, VO_CHN chn) {
  Found c = channel(l, chn);
  if (!c.o) return c.rc;
  if (!layerEnabled(l)) return layerOff(l);
  c.o->enabled = true;
  return HI_SUCCESS;
}

// Disabling a channel that was never set up is no error.
HI_S32 HI_MPI_VO_DisableChn(VO_LAYER l, VO_CHN chn) {
  if (l < 0 || l >= VO_MAX_LAYER_NUM) return badLayer(l);
  if (chn < 0 || chn >= VO_MAX_CHN_NUM) return badChannel(chn);
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
    return checks(kMod).below("aspect ratio mode", p.stAspectRatio.enMode, ASPECT_RATIO_BUTT);
  });
}

HI_S32 HI_MPI_VO_GetChnParam(VO_LAYER l, VO_CHN chn, VO_CHN_PARAM_S* param) {
  return load(kMod, channel(l, chn), "ChnParam", param, VO_CHN_PARAM_S{});
}

HI_S32 HI_MPI_VO_SetChnDispPos(VO_LAYER l, VO_CHN chn, const POINT_S* pos) {
  return store(kMod, channel(l, chn), "DispPos", pos,
               [](const POINT_S& p) {
                 return checks(kMod)
                     .rule(p.s32X >= 0 && p.s32Y >= 0, "display position (%d, %d) is negative", p.s32X, p.s32Y);
               });
}

HI_S32 HI_MPI_VO_GetChnDispPos(VO_LAYER l, VO_CHN chn, POINT_S* pos) {
  Found c = channel(l, chn);
  VO_CHN_ATTR_S a{};
  if (c.o) c.o->get("ChnAttr", &a);
  return load(kMod, c, "DispPos", pos, POINT_S{a.stRect.s32X, a.stRect.s32Y});
}

HI_S32 HI_MPI_VO_SetChnField(VO_LAYER l, VO_CHN chn, const VO_DISPLAY_FIELD_E field) {
  return store(kMod, channel(l, chn), "Field", &field,
               [](VO_DISPLAY_FIELD_E f) { return checks(kMod).below("field", f, VO_FIELD_BUTT); });
}

HI_S32 HI_MPI_VO_GetChnField(VO_LAYER l, VO_CHN chn, VO_DISPLAY_FIELD_E* field) {
  return load(kMod, channel(l, chn), "Field", field, VO_FIELD_BOTH);
}

HI_S32 HI_MPI_VO_SetChnFrameRate(VO_LAYER l, VO_CHN chn, HI_S32 rate) {
  return store(kMod, channel(l, chn), "FrameRate", &rate,
               [](HI_S32 r) { return checks(kMod).range("frame rate", r, 1, 240); });
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
  if (!c.o->values.count("paused"))
    return refuse(fault(NOT_PERM), "VO layer %d channel %d is not paused: pause it before stepping", l, chn);
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
    if (z.enZoomType != VOU_ZOOM_IN_RATIO)
      return refuse(fault(ILLEGAL_PARAM), "zoom type %d is neither a rectangle nor a ratio", z.enZoomType);
    const VO_ZOOM_RATIO_S& r = z.stZoomRatio;  // thousandths of the picture
    return static_cast<HI_S32>(
        checks(kMod)
            .rule(r.u32XRatio + r.u32WRatio <= VO_MAX_ZOOM_RATIO && r.u32YRatio + r.u32HRatio <= VO_MAX_ZOOM_RATIO,
                  "zoom window (%u, %u) %ux%u in thousandths reaches beyond %d", r.u32XRatio, r.u32YRatio,
                  r.u32WRatio, r.u32HRatio, VO_MAX_ZOOM_RATIO));
  });
}

HI_S32 HI_MPI_VO_GetZoomInWindow(VO_LAYER l, VO_CHN chn, VO_ZOOM_ATTR_S* zoom) {
  return load(kMod, channel(l, chn), "Zoom", zoom, VO_ZOOM_ATTR_S{});
}

HI_S32 HI_MPI_VO_QueryChnStat(VO_LAYER l, VO_CHN chn, VO_QUERY_STATUS_S* status) {
  Found c = channel(l, chn);
  if (!c.o) return c.rc;
  if (!status) return refuse(fault(NULL_PTR), "nowhere to write the status (null pointer)");
  status->u32ChnBufUsed = 0;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_ClearChnBuffer(VO_LAYER l, VO_CHN chn, HI_BOOL all) {
  Found c = channel(l, chn);
  if (!c.o) return c.rc;
  if (HI_S32 bad = checks(kMod).flag("clear all", all)) return bad;
  display::forget(chnKey(l, chn));
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_SetChnBorder(VO_LAYER l, VO_CHN chn, const VO_BORDER_S* border) {
  return store(kMod, channel(l, chn), "Border", border, [](const VO_BORDER_S& b) {
    const BORDER_S& w = b.stBorder;  // widths in even pixels, at most 14
    bool even = w.u32TopWidth % 2 == 0 && w.u32BottomWidth % 2 == 0 && w.u32LeftWidth % 2 == 0 &&
                w.u32RightWidth % 2 == 0;
    bool narrow = w.u32TopWidth <= 14 && w.u32BottomWidth <= 14 && w.u32LeftWidth <= 14 && w.u32RightWidth <= 14;
    return checks(kMod)
        .rule(even && narrow, "border widths %u, %u, %u, %u (top, bottom, left, right): even, at most 14",
              w.u32TopWidth, w.u32BottomWidth, w.u32LeftWidth, w.u32RightWidth)
        .flag("bBorderEn", b.bBorderEn);
  });
}

HI_S32 HI_MPI_VO_GetChnBorder(VO_LAYER l, VO_CHN chn, VO_BORDER_S* border) {
  return load(kMod, channel(l, chn), "Border", border, VO_BORDER_S{});
}

HI_S32 HI_MPI_VO_SetChnReceiveThreshold(VO_LAYER l, VO_CHN chn, HI_U32 threshold) {
  return store(kMod, channel(l, chn), "RecvThreshold", &threshold,
               [](HI_U32 t) { return checks(kMod).range("receive threshold", t, 1, VO_DEF_CHN_BUF_LEN); });
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
  if (!source) return refuse(fault(NULL_PTR), "no source given (null pointer)");
  if (w.o->enabled)
    return refuse(HI_ERR_VO_WBC_NOT_DISABLE, "the write-back is enabled: disable it before changing its source");
  const VO_WBC_SOURCE_TYPE_E type = source->enSourceType;
  const HI_U32 n = source->u32SourceId;
  if (type == VO_WBC_SOURCE_GRAPHIC) return refuse(fault(NOT_SUPPORT), "graphics layers are not written back");
  if (type == VO_WBC_SOURCE_DEV && n >= 2)
    return refuse(fault(ILLEGAL_PARAM), "write-back source device %u outside [0, 2)", n);
  if (type == VO_WBC_SOURCE_VIDEO && n >= VO_MAX_LAYER_NUM)
    return refuse(fault(ILLEGAL_PARAM), "write-back source layer %u outside [0, %d)", n, VO_MAX_LAYER_NUM);
  if (type != VO_WBC_SOURCE_DEV && type != VO_WBC_SOURCE_VIDEO)
    return refuse(fault(ILLEGAL_PARAM), "write-back source type %d is neither a device nor a video layer", type);
  w.o->put("Source", *source);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VO_GetWbcSource(VO_WBC id, VO_WBC_SOURCE_S* source) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (!source) return refuse(fault(NULL_PTR), "nowhere to write the source (null pointer)");
  if (w.o->get("Source", source)) return HI_SUCCESS;
  return refuse(HI_ERR_VO_WBC_NOT_CONFIG, "the write-back has no source (SetWbcSource)");
}

HI_S32 HI_MPI_VO_SetWbcAttr(VO_WBC id, const VO_WBC_ATTR_S* attr) {
  return store(kMod, wbc(id), "WbcAttr", attr, [](const VO_WBC_ATTR_S& a) {
    if (!semiplanar(a.enPixelFormat)) return notSemiplanar(a.enPixelFormat);
    return static_cast<HI_S32>(checks(kMod)
                                   .range("write-back width", a.stTargetSize.u32Width, 32, 1920)
                                   .range("write-back height", a.stTargetSize.u32Height, 32, 1080)
                                   .range("write-back frame rate", a.u32FrameRate, 1, 60));
  });
}

HI_S32 HI_MPI_VO_GetWbcAttr(VO_WBC id, VO_WBC_ATTR_S* attr) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (!attr) return nowhere();
  if (w.o->get("WbcAttr", attr)) return HI_SUCCESS;
  return refuse(HI_ERR_VO_WBC_NOT_CONFIG, "the write-back has no attributes (SetWbcAttr)");
}

HI_S32 HI_MPI_VO_EnableWbc(VO_WBC id) {
  Found w = wbc(id);
  if (!w.o) return w.rc;
  if (!sys_ready()) return notReady(kMod);
  VO_WBC_SOURCE_S source;
  if (!w.o->get("Source", &source) || !w.o->has("WbcAttr"))
    return refuse(HI_ERR_VO_WBC_NOT_CONFIG, "the write-back needs a source and attributes before it is enabled");
  int n = static_cast<int>(source.u32SourceId);  // nothing shown, nothing to write back
  if (source.enSourceType == VO_WBC_SOURCE_DEV && !deviceEnabled(n))
    return refuse(HI_ERR_VO_DEV_NOT_ENABLE, "the write-back's source, VO device %d, is not enabled", n);
  if (source.enSourceType == VO_WBC_SOURCE_VIDEO && !layerEnabled(n))
    return refuse(HI_ERR_VO_VIDEO_NOT_ENABLE, "the write-back's source, VO layer %d, is not enabled", n);
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
               [](VO_WBC_MODE_E m) { return checks(kMod).below("write-back mode", m, VO_WBC_MODE_BUTT); });
}

HI_S32 HI_MPI_VO_GetWbcMode(VO_WBC id, VO_WBC_MODE_E* mode) {
  return load(kMod, wbc(id), "WbcMode", mode, VO_WBC_MODE_NOMAL);
}

HI_S32 HI_MPI_VO_SetWbcDepth(VO_WBC id, HI_U32 depth) {
  return store(kMod, wbc(id), "WbcDepth", &depth,
               [](HI_U32 d) { return checks(kMod).range("write-back depth", d, 0, VO_DEF_WBC_DEPTH_LEN); });
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
