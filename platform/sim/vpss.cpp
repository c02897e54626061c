// Video processing groups and channels as the platform has them.
//
// A group exists from CreateGrp to DestroyGrp and is kept in the store under
// (VPSS, group, -1), so that the pipeline picture shows its channels
// (VPSS, group, channel) rather than the group itself; a channel is drawn once
// it is used, solid while enabled. Everything on a group or its channels
// needs the group; a started group cannot be destroyed, nor a group that is
// still bound to another module.
//
// Set... calls judge what they are given (picture sizes within the chip's
// limits, enumerations within range) and store it; Get... calls answer what
// was stored, or the platform's defaults.
#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VPSS;

HI_S32 fault(int reason) { return err(kMod, reason); }

Key groupKey(VPSS_GRP grp) { return Key{kMod, grp, -1}; }

// A binding reaches a group that exists (any of its channels as a source).
const bool g_endpoint = (on_endpoint(kMod, [](Key k) { return find(groupKey(k.dev)) != nullptr; }), true);

Found group(VPSS_GRP grp) {
  if (grp < 0 || grp >= VPSS_MAX_GRP_NUM) return missing(fault(INVALID_DEVID));
  Object* o = find(groupKey(grp));
  return {o, o ? HI_SUCCESS : fault(UNEXIST)};
}

// A channel's object, made on first use of a channel of an existing group.
Found channel(VPSS_GRP grp, VPSS_CHN chn) {
  Found g = group(grp);
  if (!g.o) return g;
  if (chn < 0 || chn >= VPSS_MAX_CHN_NUM) return missing(fault(INVALID_CHNID));
  return {&obtain(Key{kMod, grp, chn}), HI_SUCCESS};
}

bool semiplanar(PIXEL_FORMAT_E f) {
  return f == PIXEL_FORMAT_YUV_SEMIPLANAR_420 || f == PIXEL_FORMAT_YUV_SEMIPLANAR_422;
}

HI_S32 judgeGroup(const VPSS_GRP_ATTR_S& a) {
  if (!within(a.u32MaxW, VPSS_MIN_WIDTH, VPSS_MAX_WIDTH) ||
      !within(a.u32MaxH, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT) || a.enDieMode >= VPSS_DIE_MODE_BUTT)
    return fault(ILLEGAL_PARAM);
  if (!semiplanar(a.enPixFmt)) return fault(NOT_SUPPORT);
  return HI_SUCCESS;
}

// A frame rate of -1 on both sides means no control; otherwise the
// destination cannot exceed the source.
HI_S32 judgeRate(HI_S32 src, HI_S32 dst) {
  if (src == -1 && dst == -1) return HI_SUCCESS;
  if (src <= 0 || dst <= 0 || dst > src) return fault(ILLEGAL_PARAM);
  return HI_SUCCESS;
}

HI_S32 judgeCrop(const VPSS_CROP_INFO_S& c) {
  if (!c.bEnable) return HI_SUCCESS;
  const RECT_S& r = c.stCropRect;
  if (c.enCropCoordinate == VPSS_CROP_RATIO_COOR) {
    // Ratio coordinates are thousandths of the picture.
    bool fits = r.s32X >= 0 && r.s32Y >= 0 && within(r.u32Width, 1, 1000) &&
                within(r.u32Height, 1, 1000) && static_cast<HI_U32>(r.s32X) + r.u32Width <= 1000 &&
                static_cast<HI_U32>(r.s32Y) + r.u32Height <= 1000;
    return fits ? HI_SUCCESS : fault(ILLEGAL_PARAM);
  }
  if (c.enCropCoordinate != VPSS_CROP_ABS_COOR) return fault(ILLEGAL_PARAM);
  bool fits = r.s32X >= 0 && r.s32Y >= 0 && within(r.u32Width, VPSS_MIN_WIDTH, VPSS_MAX_WIDTH) &&
              within(r.u32Height, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT);
  return fits ? HI_SUCCESS : fault(ILLEGAL_PARAM);
}

// The sizer and the prescaler: an enabled one needs a picture size the chip
// can produce.
HI_S32 judgeSize(HI_BOOL on, const SIZE_S& s, HI_U32 maxWidth) {
  if (!on) return HI_SUCCESS;
  bool fits = within(s.u32Width, VPSS_MIN_WIDTH, maxWidth) &&
              within(s.u32Height, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT);
  return fits ? HI_SUCCESS : fault(ILLEGAL_PARAM);
}

HI_S32 judgeMode(const VPSS_CHN_MODE_S& m) {
  if (m.enChnMode == VPSS_CHN_MODE_AUTO) return HI_SUCCESS;
  if (m.enChnMode != VPSS_CHN_MODE_USER || m.enCompressMode >= COMPRESS_MODE_BUTT)
    return fault(ILLEGAL_PARAM);
  if (!within(m.u32Width, VPSS_MIN_WIDTH, VPSS_MAX_WIDTH) ||
      !within(m.u32Height, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT))
    return fault(ILLEGAL_PARAM);
  if (!semiplanar(m.enPixelFormat)) return fault(NOT_SUPPORT);
  return judgeRate(m.stFrameRate.s32SrcFrmRate, m.stFrameRate.s32DstFrmRate);
}

// True when the group receives from another module or one of its channels
// feeds one.
bool bound(VPSS_GRP grp) {
  for (int chn = 0; chn < VPSS_MAX_CHN_NUM; ++chn) {
    Key k{kMod, grp, chn};
    Key src;
    if (source_of(k, &src) || !destinations(k).empty()) return true;
  }
  return false;
}

HI_S32 setFlag(VPSS_GRP grp, const char* name, bool on) {
  Found g = group(grp);
  if (!g.o) return g.rc;
  g.o->values[name] = on;
  return HI_SUCCESS;
}

const VPSS_FRAME_RATE_S kNoRateControl = {-1, -1};

}  // namespace

namespace h {

HI_S32 HI_MPI_VPSS_CreateGrp(VPSS_GRP grp, VPSS_GRP_ATTR_S* attr) {
  if (grp < 0 || grp >= VPSS_MAX_GRP_NUM) return fault(INVALID_DEVID);
  if (!sys_ready()) return fault(SYS_NOTREADY);
  if (!attr) return fault(NULL_PTR);
  if (find(groupKey(grp))) return fault(EXIST);
  if (HI_S32 bad = judgeGroup(*attr)) return bad;
  Object& o = obtain(groupKey(grp));
  o.created = true;
  o.put("GrpAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_DestroyGrp(VPSS_GRP grp) {
  Found g = group(grp);
  if (!g.o) return g.rc;
  if (g.o->started) return fault(NOT_PERM);
  if (bound(grp)) return fault(BUSY);
  destroy(groupKey(grp));
  for (int chn = 0; chn < VPSS_MAX_CHN_NUM; ++chn) destroy(Key{kMod, grp, chn});
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_StartGrp(VPSS_GRP grp) {
  Found g = group(grp);
  if (!g.o) return g.rc;
  g.o->started = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_StopGrp(VPSS_GRP grp) {
  Found g = group(grp);
  if (!g.o) return g.rc;
  g.o->started = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_ResetGrp(VPSS_GRP grp) {
  return group(grp).rc;
}

HI_S32 HI_MPI_VPSS_EnableBackupFrame(VPSS_GRP grp) { return setFlag(grp, "backupFrame", true); }
HI_S32 HI_MPI_VPSS_DisableBackupFrame(VPSS_GRP grp) { return setFlag(grp, "backupFrame", false); }
HI_S32 HI_MPI_VPSS_EnableUserFrameRateCtrl(VPSS_GRP grp) { return setFlag(grp, "userRateCtrl", true); }
HI_S32 HI_MPI_VPSS_DisableUserFrameRateCtrl(VPSS_GRP grp) { return setFlag(grp, "userRateCtrl", false); }

// The largest picture and the de-interlacing capability are fixed at creation.
HI_S32 HI_MPI_VPSS_SetGrpAttr(VPSS_GRP grp, VPSS_GRP_ATTR_S* attr) {
  Found g = group(grp);
  return store(kMod, g, "GrpAttr", attr, [&](const VPSS_GRP_ATTR_S& a) {
    VPSS_GRP_ATTR_S now;
    g.o->get("GrpAttr", &now);
    if (a.u32MaxW != now.u32MaxW || a.u32MaxH != now.u32MaxH) return fault(NOT_PERM);
    return judgeGroup(a);
  });
}

HI_S32 HI_MPI_VPSS_GetGrpAttr(VPSS_GRP grp, VPSS_GRP_ATTR_S* attr) {
  return load(kMod, group(grp), "GrpAttr", attr, VPSS_GRP_ATTR_S{});
}

HI_S32 HI_MPI_VPSS_SetGrpParam(VPSS_GRP grp, VPSS_GRP_PARAM_S* param) {
  return store(kMod, group(grp), "GrpParam", param);
}

HI_S32 HI_MPI_VPSS_GetGrpParam(VPSS_GRP grp, VPSS_GRP_PARAM_S* param) {
  return load(kMod, group(grp), "GrpParam", param, VPSS_GRP_PARAM_S{});
}

HI_S32 HI_MPI_VPSS_SetGrpCrop(VPSS_GRP grp, VPSS_CROP_INFO_S* crop) {
  return store(kMod, group(grp), "GrpCrop", crop, judgeCrop);
}

HI_S32 HI_MPI_VPSS_GetGrpCrop(VPSS_GRP grp, VPSS_CROP_INFO_S* crop) {
  return load(kMod, group(grp), "GrpCrop", crop, VPSS_CROP_INFO_S{});
}

HI_S32 HI_MPI_VPSS_SetPreScale(VPSS_GRP grp, VPSS_PRESCALE_INFO_S* info) {
  return store(kMod, group(grp), "PreScale", info, [](const VPSS_PRESCALE_INFO_S& p) {
    return judgeSize(p.bPreScale, p.stDestSize, VPSS_MAX_PRESCALE_WIDTH);
  });
}

HI_S32 HI_MPI_VPSS_GetPreScale(VPSS_GRP grp, VPSS_PRESCALE_INFO_S* info) {
  return load(kMod, group(grp), "PreScale", info, VPSS_PRESCALE_INFO_S{});
}

HI_S32 HI_MPI_VPSS_SetPreScaleMode(VPSS_GRP grp, VPSS_PRESCALE_MODE_E mode) {
  return store(kMod, group(grp), "PreScaleMode", &mode, [](VPSS_PRESCALE_MODE_E m) {
    return m >= VPSS_PRESCALE_MODE_BUTT ? fault(ILLEGAL_PARAM) : HI_SUCCESS;
  });
}

HI_S32 HI_MPI_VPSS_GetPreScaleMode(VPSS_GRP grp, VPSS_PRESCALE_MODE_E* mode) {
  return load(kMod, group(grp), "PreScaleMode", mode, VPSS_PRESCALE_MODE_DEFAULT);
}

HI_S32 HI_MPI_VPSS_SetGrpSizer(VPSS_GRP grp, VPSS_SIZER_INFO_S* info) {
  return store(kMod, group(grp), "GrpSizer", info, [](const VPSS_SIZER_INFO_S& s) {
    return judgeSize(s.bSizer, s.stSize, VPSS_MAX_WIDTH);
  });
}

HI_S32 HI_MPI_VPSS_GetGrpSizer(VPSS_GRP grp, VPSS_SIZER_INFO_S* info) {
  return load(kMod, group(grp), "GrpSizer", info, VPSS_SIZER_INFO_S{});
}

HI_S32 HI_MPI_VPSS_SetGrpFrameRate(VPSS_GRP grp, VPSS_FRAME_RATE_S* rate) {
  return store(kMod, group(grp), "GrpFrameRate", rate, [](const VPSS_FRAME_RATE_S& r) {
    return judgeRate(r.s32SrcFrmRate, r.s32DstFrmRate);
  });
}

HI_S32 HI_MPI_VPSS_GetGrpFrameRate(VPSS_GRP grp, VPSS_FRAME_RATE_S* rate) {
  return load(kMod, group(grp), "GrpFrameRate", rate, kNoRateControl);
}

HI_S32 HI_MPI_VPSS_SetGrpDelay(VPSS_GRP grp, HI_U32 delay) {
  return store(kMod, group(grp), "GrpDelay", &delay);
}

HI_S32 HI_MPI_VPSS_GetGrpDelay(VPSS_GRP grp, HI_U32* delay) {
  return load(kMod, group(grp), "GrpDelay", delay, 0u);
}

HI_S32 HI_MPI_VPSS_EnableChn(VPSS_GRP grp, VPSS_CHN chn) {
  Found c = channel(grp, chn);
  if (!c.o) return c.rc;
  c.o->enabled = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_DisableChn(VPSS_GRP grp, VPSS_CHN chn) {
  Found c = channel(grp, chn);
  if (!c.o) return c.rc;
  if (c.o->enabled) report_bound(Key{kMod, grp, chn}, "disabled-while-bound", "disabled");
  c.o->enabled = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_SetChnAttr(VPSS_GRP grp, VPSS_CHN chn, VPSS_CHN_ATTR_S* attr) {
  return store(kMod, channel(grp, chn), "ChnAttr", attr);
}

HI_S32 HI_MPI_VPSS_GetChnAttr(VPSS_GRP grp, VPSS_CHN chn, VPSS_CHN_ATTR_S* attr) {
  return load(kMod, channel(grp, chn), "ChnAttr", attr, VPSS_CHN_ATTR_S{});
}

HI_S32 HI_MPI_VPSS_SetChnParam(VPSS_GRP grp, VPSS_CHN chn, VPSS_CHN_PARAM_S* param) {
  return store(kMod, channel(grp, chn), "ChnParam", param);
}

HI_S32 HI_MPI_VPSS_GetChnParam(VPSS_GRP grp, VPSS_CHN chn, VPSS_CHN_PARAM_S* param) {
  return load(kMod, channel(grp, chn), "ChnParam", param, VPSS_CHN_PARAM_S{});
}

HI_S32 HI_MPI_VPSS_SetChnMode(VPSS_GRP grp, VPSS_CHN chn, VPSS_CHN_MODE_S* mode) {
  return store(kMod, channel(grp, chn), "ChnMode", mode, judgeMode);
}

HI_S32 HI_MPI_VPSS_GetChnMode(VPSS_GRP grp, VPSS_CHN chn, VPSS_CHN_MODE_S* mode) {
  return load(kMod, channel(grp, chn), "ChnMode", mode, VPSS_CHN_MODE_S{});
}

// The channel's queue holds at most 8 pictures for the user.
HI_S32 HI_MPI_VPSS_SetDepth(VPSS_GRP grp, VPSS_CHN chn, HI_U32 depth) {
  return store(kMod, channel(grp, chn), "Depth", &depth,
               [](HI_U32 d) { return d > 8 ? fault(ILLEGAL_PARAM) : HI_SUCCESS; });
}

HI_S32 HI_MPI_VPSS_GetDepth(VPSS_GRP grp, VPSS_CHN chn, HI_U32* depth) {
  return load(kMod, channel(grp, chn), "Depth", depth, 0u);
}

HI_S32 HI_MPI_VPSS_SetChnOverlay(VPSS_GRP grp, VPSS_CHN chn, HI_U32 mask) {
  return store(kMod, channel(grp, chn), "Overlay", &mask);
}

HI_S32 HI_MPI_VPSS_GetChnOverlay(VPSS_GRP grp, VPSS_CHN chn, HI_U32* mask) {
  return load(kMod, channel(grp, chn), "Overlay", mask, 0u);
}

}  // namespace h
}  // namespace sim
