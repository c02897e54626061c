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

HI_S32 badGroup(VPSS_GRP grp) {
  return refuse(fault(INVALID_DEVID), "VPSS group %d outside [0, %d)", grp, VPSS_MAX_GRP_NUM);
}

Found group(VPSS_GRP grp) {
  if (grp < 0 || grp >= VPSS_MAX_GRP_NUM) return missing(badGroup(grp));
  Object* o = find(groupKey(grp));
  return {o, o ? HI_SUCCESS : refuse(fault(UNEXIST), "VPSS group %d does not exist", grp)};
}

// A channel's object, made on first use of a channel of an existing group.
Found channel(VPSS_GRP grp, VPSS_CHN chn) {
  Found g = group(grp);
  if (!g.o) return g;
  if (chn < 0 || chn >= VPSS_MAX_CHN_NUM)
    return missing(refuse(fault(INVALID_CHNID), "VPSS channel %d outside [0, %d)", chn, VPSS_MAX_CHN_NUM));
  return {&obtain(Key{kMod, grp, chn}), HI_SUCCESS};
}

bool semiplanar(PIXEL_FORMAT_E f) {
  return f == PIXEL_FORMAT_YUV_SEMIPLANAR_420 || f == PIXEL_FORMAT_YUV_SEMIPLANAR_422;
}

HI_S32 notSemiplanar(PIXEL_FORMAT_E f) {
  return refuse(fault(NOT_SUPPORT), "pixel format %d: processing takes semi-planar YUV 4:2:0 or 4:2:2", f);
}

HI_S32 judgeGroup(const VPSS_GRP_ATTR_S& a) {
  if (HI_S32 bad = checks(kMod)
                       .range("largest width", a.u32MaxW, VPSS_MIN_WIDTH, VPSS_MAX_WIDTH)
                       .range("largest height", a.u32MaxH, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT)
                       .below("de-interlacing mode", a.enDieMode, VPSS_DIE_MODE_BUTT))
    return bad;
  return semiplanar(a.enPixFmt) ? HI_SUCCESS : notSemiplanar(a.enPixFmt);
}

HI_S32 judgeRate(HI_S32 src, HI_S32 dst) { return judgeFrameRates(kMod, src, dst); }

HI_S32 judgeCrop(const VPSS_CROP_INFO_S& c) {
  if (!c.bEnable) return HI_SUCCESS;
  const RECT_S& r = c.stCropRect;
  Judge j = checks(kMod);
  if (c.enCropCoordinate == VPSS_CROP_RATIO_COOR)
    // Ratio coordinates are thousandths of the picture.
    return j.rule(r.s32X >= 0 && r.s32Y >= 0, "crop position (%d, %d) is negative", r.s32X, r.s32Y)
        .range("crop width ratio", r.u32Width, 1, 1000)
        .range("crop height ratio", r.u32Height, 1, 1000)
        .rule(static_cast<HI_U32>(r.s32X) + r.u32Width <= 1000 && static_cast<HI_U32>(r.s32Y) + r.u32Height <= 1000,
              "crop rectangle (%d, %d) %ux%u in thousandths reaches beyond 1000", r.s32X, r.s32Y, r.u32Width,
              r.u32Height);
  if (c.enCropCoordinate != VPSS_CROP_ABS_COOR)
    return refuse(fault(ILLEGAL_PARAM), "crop coordinate type %d is neither ratio nor absolute", c.enCropCoordinate);
  return j.rule(r.s32X >= 0 && r.s32Y >= 0, "crop position (%d, %d) is negative", r.s32X, r.s32Y)
      .range("crop width", r.u32Width, VPSS_MIN_WIDTH, VPSS_MAX_WIDTH)
      .range("crop height", r.u32Height, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT);
}

// The sizer and the prescaler: an enabled one needs a picture size the chip
// can produce.
HI_S32 judgeSize(HI_BOOL on, const SIZE_S& s, HI_U32 maxWidth) {
  if (!on) return HI_SUCCESS;
  return checks(kMod)
      .range("width", s.u32Width, VPSS_MIN_WIDTH, maxWidth)
      .range("height", s.u32Height, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT);
}

HI_S32 judgeMode(const VPSS_CHN_MODE_S& m) {
  if (m.enChnMode == VPSS_CHN_MODE_AUTO) return HI_SUCCESS;
  if (HI_S32 bad = checks(kMod)
                       .rule(m.enChnMode == VPSS_CHN_MODE_USER, "channel mode %d is neither auto nor user", m.enChnMode)
                       .below("compression mode", m.enCompressMode, COMPRESS_MODE_BUTT)
                       .range("width", m.u32Width, VPSS_MIN_WIDTH, VPSS_MAX_WIDTH)
                       .range("height", m.u32Height, VPSS_MIN_HEIGHT, VPSS_MAX_HEIGHT))
    return bad;
  if (!semiplanar(m.enPixelFormat)) return notSemiplanar(m.enPixelFormat);
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
  if (grp < 0 || grp >= VPSS_MAX_GRP_NUM) return badGroup(grp);
  if (!sys_ready()) return notReady(kMod);
  if (!attr) return refuse(fault(NULL_PTR), "no attributes given (null pointer)");
  if (find(groupKey(grp))) return refuse(fault(EXIST), "VPSS group %d exists already", grp);
  if (HI_S32 bad = judgeGroup(*attr)) return bad;
  Object& o = obtain(groupKey(grp));
  o.created = true;
  o.put("GrpAttr", *attr);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VPSS_DestroyGrp(VPSS_GRP grp) {
  Found g = group(grp);
  if (!g.o) return g.rc;
  if (g.o->started) return refuse_destroy(label(groupKey(grp)), fault(NOT_PERM), "still started: stop it first");
  if (bound(grp)) return refuse_destroy(label(groupKey(grp)), fault(BUSY), "still bound: unbind it first");
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
    if (a.u32MaxW != now.u32MaxW || a.u32MaxH != now.u32MaxH)
      return refuse(fault(NOT_PERM), "the largest picture %ux%u is fixed once the group exists (%ux%u asked)",
                    now.u32MaxW, now.u32MaxH, a.u32MaxW, a.u32MaxH);
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
    return checks(kMod).below("prescale mode", m, VPSS_PRESCALE_MODE_BUTT);
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
               [](HI_U32 d) { return checks(kMod).range("queue depth", d, 0, 8); });
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
