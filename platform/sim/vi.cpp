// Capture devices and channels as the platform has them.
//
// The chip has 9 devices of 4 ways each: physical channel c belongs to
// device c / 4 (channels 0 to 32), and channels 33 and 34 are the cascade
// channels. A device (VIU, dev, -1) is configured (SetDevAttr) and then
// enabled, with the system up; it is reconfigured only while disabled
// (FAILED_NOTDISABLE), and disabled only once its channels are
// (FAILED_CHNOTDISABLE). A channel (VIU, c / 4, c) exists once its attributes
// are set; a physical channel is enabled only on an enabled device
// (FAILED_NOTENABLE), and then feeds processing or encoding through bindings
// as a source. Set... calls store what they accept and Get... calls answer
// it, or the platform's defaults. Nothing here is created or destroyed:
// devices and channels are only configured, enabled and disabled.
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VIU;

HI_S32 fault(int reason) { return err(kMod, reason); }

int deviceOf(VI_CHN chn) {
  int dev = chn / VIU_MAX_CHN_NUM_PER_DEV;
  return dev < VIU_MAX_DEV_NUM ? dev : VIU_MAX_DEV_NUM - 1;
}

bool cascade(VI_CHN chn) { return chn >= VIU_CAS_CHN_START; }

Key devKey(VI_DEV dev) { return Key{kMod, dev, -1}; }
Key chnKey(VI_CHN chn) { return Key{kMod, deviceOf(chn), chn}; }

// A binding reaches a capture channel whose attributes are set.
const bool g_endpoint = (on_endpoint(kMod, [](Key k) {
  return k.chn >= 0 && k.chn < VIU_MAX_CHN_NUM && find(chnKey(k.chn)) != nullptr;
}), on_address(kMod, [](Key k) { return k.chn >= 0 && k.chn < VIU_MAX_CHN_NUM ? chnKey(k.chn) : k; }), true);

Found device(VI_DEV dev) {
  if (dev < 0 || dev >= VIU_MAX_DEV_NUM)
    return missing(refuse(fault(INVALID_DEVID), "VI device %d outside [0, %d)", dev, VIU_MAX_DEV_NUM));
  return {&obtain(devKey(dev)), HI_SUCCESS};
}

HI_S32 badChannel(VI_CHN chn) {
  return refuse(fault(INVALID_CHNID), "VI channel %d outside [0, %d)", chn, VIU_MAX_CHN_NUM);
}

// A channel that exists (its attributes are set). The capture unit has no
// "does not exist": a channel never set up is not configured.
Found channel(VI_CHN chn) {
  if (chn < 0 || chn >= VIU_MAX_CHN_NUM) return missing(badChannel(chn));
  Object* o = find(chnKey(chn));
  return {o, o ? HI_SUCCESS : refuse(fault(NOT_CONFIG), "VI channel %d has no attributes (SetChnAttr)", chn)};
}

bool channelsEnabled(VI_DEV dev) {
  for (const Key& k : objects(kMod))
    if (k.dev == dev && k.chn >= 0 && find(k)->enabled) return true;
  return false;
}

HI_S32 judgeDevAttr(const VI_DEV_ATTR_S& a) {
  return checks(kMod)
      .below("interface mode", a.enIntfMode, VI_MODE_BUTT)
      .below("work mode", a.enWorkMode, VI_WORK_MODE_BUTT)
      .below("clock edge", a.enClkEdge, VI_CLK_EDGE_BUTT)
      .below("data sequence", a.enDataSeq, VI_DATA_YUV_BUTT)
      .flag("bDataRev", a.bDataRev);
}

bool semiplanar(PIXEL_FORMAT_E f) {
  return f == PIXEL_FORMAT_YUV_SEMIPLANAR_420 || f == PIXEL_FORMAT_YUV_SEMIPLANAR_422;
}

// Capture within the largest picture, scaled down (never up), in a
// semi-planar format, at a destination rate no higher than the source's.
HI_S32 judgeChnAttr(const VI_CHN_ATTR_S& a) {
  if (!semiplanar(a.enPixFormat))
    return refuse(fault(NOT_SUPPORT), "pixel format %d: capture writes semi-planar YUV 4:2:0 or 4:2:2", a.enPixFormat);
  const RECT_S& r = a.stCapRect;
  if (HI_S32 bad = checks(kMod)
                       .rule(r.s32X >= 0 && r.s32Y >= 0, "capture position (%d, %d) is negative", r.s32X, r.s32Y)
                       .range("capture width", r.u32Width, 32, 4096)
                       .range("capture height", r.u32Height, 32, 4096)
                       .rule(r.s32X + r.u32Width <= 4096 && r.s32Y + r.u32Height <= 4096,
                             "capture rectangle (%d, %d) %ux%u reaches beyond 4096x4096", r.s32X, r.s32Y, r.u32Width,
                             r.u32Height)
                       .rule(within(a.stDestSize.u32Width, 32, r.u32Width) &&
                                 within(a.stDestSize.u32Height, 32, r.u32Height),
                             "picture %ux%u outside 32x32 to the capture size %ux%u (no scaling up)",
                             a.stDestSize.u32Width, a.stDestSize.u32Height, r.u32Width, r.u32Height)
                       .flag("bMirror", a.bMirror)
                       .flag("bFlip", a.bFlip))
    return bad;
  if (HI_S32 bad = judgeFrameRates(kMod, a.s32SrcFrameRate, a.s32DstFrameRate)) return bad;
  return checks(kMod)
      .below("capture selection", a.enCapSel, VI_CAPSEL_BUTT)
      .below("scan mode", a.enScanMode, VI_SCAN_BUTT);
}

// A user picture is either a picture in a buffer (a semi-planar frame with a
// size and an address) or a background colour (24-bit RGB).
HI_S32 judgeUserPic(const VI_USERPIC_ATTR_S& p) {
  Judge j = checks(kMod);
  if (j.flag("bPub", p.bPub)) return j;
  if (p.enUsrPicMode == VI_USERPIC_MODE_BGC)
    return j.range("background colour", p.unUsrPic.stUsrPicBg.u32BgColor, 0, 0xFFFFFF);
  if (p.enUsrPicMode != VI_USERPIC_MODE_PIC)
    return refuse(fault(ILLEGAL_PARAM), "user picture mode %d is neither a picture nor a colour", p.enUsrPicMode);
  const VIDEO_FRAME_S& f = p.unUsrPic.stUsrPicFrm.stVFrame;
  return j.range("user picture width", f.u32Width, 32, 4096)
      .range("user picture height", f.u32Height, 32, 4096)
      .rule(f.u32PhyAddr[0] != 0, "the user picture has no buffer (physical address 0)")
      .rule(semiplanar(f.enPixelFormat), "user picture pixel format %d: semi-planar YUV 4:2:0 or 4:2:2 only",
            f.enPixelFormat);
}

}  // namespace

namespace h {

HI_S32 HI_MPI_VI_SetDevAttr(VI_DEV dev, const VI_DEV_ATTR_S* attr) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!attr) return refuse(fault(NULL_PTR), "no attributes given (null pointer)");
  if (d.o->enabled)
    return refuse(HI_ERR_VI_FAILED_NOTDISABLE, "VI device %d is enabled: disable it before setting its attributes",
                  dev);
  if (HI_S32 bad = judgeDevAttr(*attr)) return bad;
  d.o->put("DevAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_GetDevAttr(VI_DEV dev, VI_DEV_ATTR_S* attr) {
  return loadConfigured(kMod, device(dev), "DevAttr", attr);
}

HI_S32 HI_MPI_VI_EnableDev(VI_DEV dev) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (!sys_ready()) return notReady(kMod);
  if (!d.o->has("DevAttr")) return refuse(fault(NOT_CONFIG), "VI device %d has no attributes (SetDevAttr)", dev);
  d.o->enabled = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_DisableDev(VI_DEV dev) {
  Found d = device(dev);
  if (!d.o) return d.rc;
  if (channelsEnabled(dev))
    return refuse(HI_ERR_VI_FAILED_CHNOTDISABLE, "VI device %d has enabled channels: disable them first", dev);
  d.o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_SetChnAttr(VI_CHN chn, const VI_CHN_ATTR_S* attr) {
  if (chn < 0 || chn >= VIU_MAX_CHN_NUM) return badChannel(chn);
  if (!attr) return refuse(fault(NULL_PTR), "no attributes given (null pointer)");
  if (HI_S32 bad = judgeChnAttr(*attr)) return bad;
  obtain(chnKey(chn)).put("ChnAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_GetChnAttr(VI_CHN chn, VI_CHN_ATTR_S* attr) {
  return load(kMod, channel(chn), "ChnAttr", attr, VI_CHN_ATTR_S{});
}

// The minor attributes describe the second output of a channel; they take
// the same checks.
HI_S32 HI_MPI_VI_SetChnMinorAttr(VI_CHN chn, const VI_CHN_ATTR_S* attr) {
  return store(kMod, channel(chn), "MinorAttr", attr, judgeChnAttr);
}

HI_S32 HI_MPI_VI_GetChnMinorAttr(VI_CHN chn, VI_CHN_ATTR_S* attr) {
  return loadConfigured(kMod, channel(chn), "MinorAttr", attr);
}

HI_S32 HI_MPI_VI_ClearChnMinorAttr(VI_CHN chn) {
  Found c = channel(chn);
  if (!c.o) return c.rc;
  c.o->attrs.erase("MinorAttr");
  return HI_SUCCESS;
}

// Physical channels capture through their device, which must be enabled.
HI_S32 HI_MPI_VI_EnableChn(VI_CHN chn) {
  Found c = channel(chn);
  if (!c.o) return c.rc;
  if (!sys_ready()) return notReady(kMod);
  const Object* d = find(devKey(deviceOf(chn)));
  if (!cascade(chn) && !(d && d->enabled))
    return refuse(HI_ERR_VI_FAILED_NOTENABLE, "VI channel %d captures through device %d, which is not enabled", chn,
                  deviceOf(chn));
  c.o->enabled = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_DisableChn(VI_CHN chn) {
  if (chn < 0 || chn >= VIU_MAX_CHN_NUM) return badChannel(chn);
  if (Object* o = find(chnKey(chn))) o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_EnableChnInterrupt(VI_CHN chn) { return channel(chn).rc; }

HI_S32 HI_MPI_VI_DisableChnInterrupt(VI_CHN chn) { return channel(chn).rc; }

// Nothing is captured on the host: the status shows the configured picture,
// the destination rate and whether the channel is enabled.
HI_S32 HI_MPI_VI_Query(VI_CHN chn, VI_CHN_STAT_S* stat) {
  Found c = channel(chn);
  if (!c.o) return c.rc;
  if (!stat) return refuse(fault(NULL_PTR), "nowhere to write the status (null pointer)");
  VI_CHN_ATTR_S a{};
  c.o->get("ChnAttr", &a);
  *stat = VI_CHN_STAT_S{};
  stat->bEnable = c.o->enabled ? HI_TRUE : HI_FALSE;
  stat->u32FrmRate = a.s32DstFrameRate > 0 ? static_cast<HI_U32>(a.s32DstFrameRate) : 25;
  stat->u32PicWidth = a.stDestSize.u32Width;
  stat->u32PicHeight = a.stDestSize.u32Height;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_SetFrameDepth(VI_CHN chn, HI_U32 depth) {
  return store(kMod, channel(chn), "FrameDepth", &depth,
               [](HI_U32 d) { return checks(kMod).range("frame depth", d, 0, VIU_MAX_USER_FRAME_DEPTH); });
}

HI_S32 HI_MPI_VI_GetFrameDepth(VI_CHN chn, HI_U32* depth) {
  return load(kMod, channel(chn), "FrameDepth", depth, 0u);
}

HI_S32 HI_MPI_VI_SetSkipMode(VI_CHN chn, VI_SKIP_MODE_E mode) {
  return store(kMod, channel(chn), "SkipMode", &mode,
               [](VI_SKIP_MODE_E m) { return checks(kMod).below("skip mode", m, VI_SKIP_BUTT); });
}

HI_S32 HI_MPI_VI_GetSkipMode(VI_CHN chn, VI_SKIP_MODE_E* mode) {
  return load(kMod, channel(chn), "SkipMode", mode, VI_SKIP_NONE);
}

HI_S32 HI_MPI_VI_SetUserPic(VI_CHN chn, VI_USERPIC_ATTR_S* pic) {
  return store(kMod, channel(chn), "UserPic", pic, judgeUserPic);
}

// The user picture is shown instead of the capture once set and enabled.
HI_S32 HI_MPI_VI_EnableUserPic(VI_CHN chn) {
  Found c = channel(chn);
  if (!c.o) return c.rc;
  if (!c.o->has("UserPic")) return refuse(fault(NOT_PERM), "VI channel %d has no user picture: SetUserPic first", chn);
  c.o->values["userPicShown"] = 1;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_DisableUserPic(VI_CHN chn) {
  Found c = channel(chn);
  if (!c.o) return c.rc;
  c.o->values.erase("userPicShown");
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VI_SetRotate(VI_CHN chn, const ROTATE_E rotate) {
  return store(kMod, channel(chn), "Rotate", &rotate,
               [](ROTATE_E r) { return checks(kMod).below("rotation", r, ROTATE_BUTT); });
}

HI_S32 HI_MPI_VI_GetRotate(VI_CHN chn, ROTATE_E* rotate) {
  return load(kMod, channel(chn), "Rotate", rotate, ROTATE_NONE);
}

HI_S32 HI_MPI_VI_GetFd(VI_CHN chn) {
  Found c = channel(chn);
  return c.o ? 320 + chn : c.rc;
}

}  // namespace h
}  // namespace sim
