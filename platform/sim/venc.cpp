// Encoder channels and the encoder's module parameters as the platform has
// them.
//
// A channel exists from CreateChn to DestroyChn under (VENC, 0, channel),
// drawn solid while it receives pictures. Everything else on a channel needs
// it to exist. A channel that receives pictures cannot be destroyed or reset
// (stop it first), nor can one that is still bound to a source.
//
// Attributes are judged as the encoder does: picture sizes within the codec's
// limits, a buffer large enough for the largest picture, a rate-control mode
// of the payload's family with sensible rates, ROI indices below 8. Payload,
// largest picture, buffer and profile are fixed once the channel exists. The
// H.264 tuning calls need an H.264 channel. Set... calls store what they
// accept and Get... calls answer it, or the platform's defaults.
//
// Module parameters are set before any channel exists, one member per type;
// GetModParam answers the member the request's type names.
#include <cstring>
#include <vector>

#include "stored.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VENC;
const Key kModule{kMod, -1, -1};

HI_S32 fault(int reason) { return err(kMod, reason); }

Key chnKey(VENC_CHN chn) { return Key{kMod, 0, chn}; }

// A binding reaches an encoder channel that exists.
const bool g_endpoint = (on_endpoint(kMod, [](Key k) { return find(chnKey(k.chn)) != nullptr; }), true);

Found channel(VENC_CHN chn) {
  if (chn < 0 || chn >= VENC_MAX_CHN_NUM)
    return missing(refuse(fault(INVALID_CHNID), "VENC channel %d outside [0, %d)", chn, VENC_MAX_CHN_NUM));
  Object* o = find(chnKey(chn));
  return {o, o ? HI_SUCCESS : refuse(fault(UNEXIST), "VENC 0/%d does not exist", chn)};
}

// The channel's payload type (0 when it does not exist).
PAYLOAD_TYPE_E payloadOf(const Object& o) {
  VENC_CHN_ATTR_S attr;
  return o.get("ChnAttr", &attr) ? attr.stVeAttr.enType : PAYLOAD_TYPE_E{};
}

// A channel of one of the given payload types, for calls that apply to those
// codecs only.
Found codecChannel(VENC_CHN chn, std::initializer_list<PAYLOAD_TYPE_E> types) {
  Found f = channel(chn);
  if (!f.o) return f;
  for (PAYLOAD_TYPE_E t : types)
    if (payloadOf(*f.o) == t) return f;
  return missing(fault(NOT_SUPPORT));
}

Found h264Channel(VENC_CHN chn) { return codecChannel(chn, {PT_H264}); }
Found videoChannel(VENC_CHN chn) { return codecChannel(chn, {PT_H264, PT_H265}); }

// ---- channel attributes -----------------------------------------------------

struct Limits {
  HI_U32 minW, minH, maxW, maxH;
};

// The codec's picture sizes; false for payloads the encoder does not make.
bool limitsOf(PAYLOAD_TYPE_E type, Limits* l) {
  switch (type) {
    case PT_H264: *l = {H264E_MIN_WIDTH, H264E_MIN_HEIGHT, H264E_MAX_WIDTH, H264E_MAX_HEIGHT}; return true;
    case PT_H265: *l = {H265E_MIN_WIDTH, H265E_MIN_HEIGHT, H265E_MAX_WIDTH, H265E_MAX_HEIGHT}; return true;
    case PT_JPEG:
    case PT_MJPEG: *l = {JPEGE_MIN_WIDTH, JPEGE_MIN_HEIGHT, JPEGE_MAX_WIDTH, JPEGE_MAX_HEIGHT}; return true;
    default: return false;
  }
}

// The fields every codec member shares, at the same offsets.
struct Picture {
  HI_U32 maxW, maxH, bufSize, picW, picH;
};

Picture pictureOf(const VENC_ATTR_S& a) {
  switch (a.enType) {
    case PT_H264: { const auto& m = a.stAttrH264e; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
    case PT_H265: { const auto& m = a.stAttrH265e; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
    case PT_JPEG: { const auto& m = a.stAttrJpege; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
    default: { const auto& m = a.stAttrMjpege; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
  }
}

HI_S32 judgeCodec(const VENC_ATTR_S& a) {
  Limits l;
  if (!limitsOf(a.enType, &l)) return refuse(fault(NOT_SUPPORT), "payload type %d is not one the encoder makes", a.enType);
  Picture p = pictureOf(a);
  // H.264: baseline, main, high and SVC-T (0 to 3); H.265: main only.
  if (a.enType == PT_H264 && a.stAttrH264e.u32Profile > 3)
    return refuse(fault(ILLEGAL_PARAM), "H.264 profile %u outside [0, 3]", a.stAttrH264e.u32Profile);
  if (a.enType == PT_H265 && a.stAttrH265e.u32Profile != 0)
    return refuse(fault(ILLEGAL_PARAM), "H.265 profile %u: this encoder takes profile 0 only", a.stAttrH265e.u32Profile);
  if (!within(p.maxW, l.minW, l.maxW) || !within(p.maxH, l.minH, l.maxH))
    return refuse(fault(ILLEGAL_PARAM), "largest picture %ux%u outside %ux%u to %ux%u", p.maxW, p.maxH, l.minW, l.minH,
                  l.maxW, l.maxH);
  if (!within(p.picW, l.minW, p.maxW) || !within(p.picH, l.minH, p.maxH))
    return refuse(fault(ILLEGAL_PARAM), "picture %ux%u outside %ux%u to the largest picture %ux%u", p.picW, p.picH,
                  l.minW, l.minH, p.maxW, p.maxH);
  // The stream buffer holds at least three quarters of the largest picture.
  const unsigned long long least = static_cast<unsigned long long>(p.maxW) * p.maxH * 3 / 4;
  if (p.bufSize < least)
    return refuse(fault(ILLEGAL_PARAM), "stream buffer of %u bytes is smaller than %llu (3/4 of %ux%u)", p.bufSize,
                  least, p.maxW, p.maxH);
  return HI_SUCCESS;
}

// Destination frame rates: the low 16 bits are frames per second, the high
// 16 bits, when set, a divisor; either way no more than the source.
bool rates(HI_U32 src, HI_FR32 dst) {
  HI_U32 fps = dst & 0xFFFF, divisor = dst >> 16;
  return within(src, 1, 240) && fps != 0 && (divisor ? fps <= src * divisor : fps <= src);
}

bool gopAndStat(HI_U32 gop, HI_U32 statTime) { return within(gop, 1, 65536) && within(statTime, 1, 60); }

// Bit rates in kbit/s, as far as the encoder goes.
bool bitrate(HI_U32 kbps) { return within(kbps, 2, 102400); }

bool qp(HI_U32 v) { return v <= 51; }
bool qfactor(HI_U32 v) { return within(v, 1, 99); }

// The rate-control member of the mode; modes the module never fills (QVBR,
// QP maps) are taken as they are.
bool judgeRateMember(const VENC_RC_ATTR_S& r) {
  switch (r.enRcMode) {
    case VENC_RC_MODE_H264CBR:
    case VENC_RC_MODE_H265CBR: {
      const auto& m = r.stAttrH264Cbr;
      return gopAndStat(m.u32Gop, m.u32StatTime) && rates(m.u32SrcFrmRate, m.fr32DstFrmRate) &&
             bitrate(m.u32BitRate) && m.u32FluctuateLevel <= 5;
    }
    case VENC_RC_MODE_H264VBR:
    case VENC_RC_MODE_H265VBR: {
      const auto& m = r.stAttrH264Vbr;
      return gopAndStat(m.u32Gop, m.u32StatTime) && rates(m.u32SrcFrmRate, m.fr32DstFrmRate) &&
             bitrate(m.u32MaxBitRate) && qp(m.u32MaxQp) && m.u32MinQp <= m.u32MaxQp && qp(m.u32MinIQp);
    }
    case VENC_RC_MODE_H264AVBR:
    case VENC_RC_MODE_H265AVBR: {
      const auto& m = r.stAttrH264AVbr;
      return gopAndStat(m.u32Gop, m.u32StatTime) && rates(m.u32SrcFrmRate, m.fr32DstFrmRate) &&
             bitrate(m.u32MaxBitRate);
    }
    case VENC_RC_MODE_H264FIXQP:
    case VENC_RC_MODE_H265FIXQP: {
      const auto& m = r.stAttrH264FixQp;
      return within(m.u32Gop, 1, 65536) && rates(m.u32SrcFrmRate, m.fr32DstFrmRate) &&
             qp(m.u32IQp) && qp(m.u32PQp);
    }
    case VENC_RC_MODE_MJPEGCBR: {
      const auto& m = r.stAttrMjpegeCbr;
      return within(m.u32StatTime, 1, 60) && rates(m.u32SrcFrmRate, m.fr32DstFrmRate) &&
             bitrate(m.u32BitRate) && m.u32FluctuateLevel <= 5;
    }
    case VENC_RC_MODE_MJPEGVBR: {
      const auto& m = r.stAttrMjpegeVbr;
      return within(m.u32StatTime, 1, 60) && rates(m.u32SrcFrmRate, m.fr32DstFrmRate) &&
             bitrate(m.u32MaxBitRate) && qfactor(m.u32MaxQfactor) && qfactor(m.u32MinQfactor) &&
             m.u32MinQfactor <= m.u32MaxQfactor;
    }
    case VENC_RC_MODE_MJPEGFIXQP: {
      const auto& m = r.stAttrMjpegeFixQp;
      return rates(m.u32SrcFrmRate, m.fr32DstFrmRate) && qfactor(m.u32Qfactor);
    }
    default:
      return true;
  }
}

// The modes of the payload's family; JPEG snapshots have no rate control.
bool modeFits(PAYLOAD_TYPE_E type, VENC_RC_MODE_E mode) {
  switch (type) {
    case PT_H264: return within(mode, VENC_RC_MODE_H264CBR, VENC_RC_MODE_H264QPMAP);
    case PT_H265: return within(mode, VENC_RC_MODE_H265CBR, VENC_RC_MODE_H265QPMAP);
    case PT_MJPEG: return within(mode, VENC_RC_MODE_MJPEGCBR, VENC_RC_MODE_MJPEGFIXQP);
    default: return true;
  }
}

HI_S32 judgeAttr(const VENC_CHN_ATTR_S& a) {
  if (HI_S32 bad = judgeCodec(a.stVeAttr)) return bad;
  if (a.stVeAttr.enType == PT_JPEG) return HI_SUCCESS;
  if (!modeFits(a.stVeAttr.enType, a.stRcAttr.enRcMode) || !judgeRateMember(a.stRcAttr))
    return fault(ILLEGAL_PARAM);
  return HI_SUCCESS;
}

// SetChnAttr may change sizes and rate control, not what the channel was
// made for.
HI_S32 judgeChange(const VENC_CHN_ATTR_S& now, const VENC_CHN_ATTR_S& next) {
  Picture a = pictureOf(now.stVeAttr), b = pictureOf(next.stVeAttr);
  bool sameProfile = now.stVeAttr.enType != PT_H264 ||
                     now.stVeAttr.stAttrH264e.u32Profile == next.stVeAttr.stAttrH264e.u32Profile;
  if (now.stVeAttr.enType != next.stVeAttr.enType || a.maxW != b.maxW || a.maxH != b.maxH ||
      a.bufSize != b.bufSize || !sameProfile)
    return fault(NOT_PERM);
  return judgeAttr(next);
}

// ---- tuning -----------------------------------------------------------------

HI_S32 verdict(bool ok) { return ok ? HI_SUCCESS : fault(ILLEGAL_PARAM); }

HI_S32 judgeRate(HI_S32 src, HI_S32 dst) {
  return verdict((src == -1 && dst == -1) || (src > 0 && dst > 0 && dst <= src));
}

// ROI rectangles sit inside the picture on a 16-pixel grid.
HI_S32 judgeRoi(const VENC_ROI_CFG_S& r) {
  if (r.u32Index >= VENC_MAX_ROI_NUM) return fault(ILLEGAL_PARAM);
  if (!r.bEnable) return HI_SUCCESS;
  bool qpOk = r.bAbsQp ? within(r.s32Qp, 0, 51) : within(r.s32Qp, -51, 51);
  const RECT_S& rect = r.stRect;
  bool rectOk = rect.s32X >= 0 && rect.s32Y >= 0 && rect.s32X % 16 == 0 && rect.s32Y % 16 == 0 &&
                rect.u32Width != 0 && rect.u32Height != 0 && rect.u32Width % 16 == 0 &&
                rect.u32Height % 16 == 0;
  return verdict(qpOk && rectOk);
}

HI_S32 judgeCrop(const VENC_CROP_CFG_S& c, const Picture& p) {
  if (!c.bEnable) return HI_SUCCESS;
  const RECT_S& r = c.stRect;
  return verdict(r.s32X >= 0 && r.s32Y >= 0 && r.s32X % 16 == 0 && r.s32Y % 2 == 0 &&
                 r.u32Width != 0 && r.u32Height != 0 &&
                 static_cast<HI_U32>(r.s32X) + r.u32Width <= p.maxW &&
                 static_cast<HI_U32>(r.s32Y) + r.u32Height <= p.maxH);
}

std::string roiName(HI_U32 index) { return "RoiCfg" + std::to_string(index); }

const VENC_FRAME_RATE_S kNoRateControl = {-1, -1};

bool anyChannel() {
  for (const Key& k : objects(kMod))
    if (k.chn >= 0) return true;
  return false;
}

}  // namespace

namespace h {

HI_S32 HI_MPI_VENC_CreateChn(VENC_CHN chn, const VENC_CHN_ATTR_S* attr) {
  return createChannel(kMod, chnKey(chn), VENC_MAX_CHN_NUM, attr, judgeAttr);
}

HI_S32 HI_MPI_VENC_DestroyChn(VENC_CHN chn) { return destroyChannel(kMod, channel(chn), chnKey(chn)); }

HI_S32 HI_MPI_VENC_ResetChn(VENC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  return f.o->started ? fault(NOT_PERM) : HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_StartRecvPic(VENC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  f.o->started = true;
  f.o->values["picturesLeft"] = -1;  // until stopped
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_StartRecvPicEx(VENC_CHN chn, VENC_RECV_PIC_PARAM_S* param) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (!param) return fault(NULL_PTR);
  if (param->s32RecvPicNum <= 0) return fault(ILLEGAL_PARAM);
  f.o->started = true;
  f.o->values["picturesLeft"] = param->s32RecvPicNum;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_StopRecvPic(VENC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  f.o->started = false;
  f.o->values.erase("picturesLeft");
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_SetChnAttr(VENC_CHN chn, const VENC_CHN_ATTR_S* attr) {
  Found f = channel(chn);
  return store(kMod, f, "ChnAttr", attr, [&](const VENC_CHN_ATTR_S& next) {
    VENC_CHN_ATTR_S now;
    f.o->get("ChnAttr", &now);
    return judgeChange(now, next);
  });
}

HI_S32 HI_MPI_VENC_GetChnAttr(VENC_CHN chn, VENC_CHN_ATTR_S* attr) {
  return load(kMod, channel(chn), "ChnAttr", attr, VENC_CHN_ATTR_S{});
}

// User data goes into the SEI of H.264 and H.265 streams, 1024 bytes at most;
// the last data inserted is kept.
HI_S32 HI_MPI_VENC_InsertUserData(VENC_CHN chn, HI_U8* data, HI_U32 length) {
  Found f = videoChannel(chn);
  if (!f.o) return f.rc;
  if (!data) return fault(NULL_PTR);
  if (!within(length, 1, 1024)) return fault(ILLEGAL_PARAM);
  f.o->attrs["UserData"].assign(data, data + length);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_SetMaxStreamCnt(VENC_CHN chn, HI_U32 count) {
  return store(kMod, channel(chn), "MaxStreamCnt", &count,
               [](HI_U32 n) { return verdict(n != 0); });
}

HI_S32 HI_MPI_VENC_GetMaxStreamCnt(VENC_CHN chn, HI_U32* count) {
  return load(kMod, channel(chn), "MaxStreamCnt", count, 3u);
}

HI_S32 HI_MPI_VENC_RequestIDR(VENC_CHN chn, HI_BOOL instant) {
  Found f = videoChannel(chn);
  if (!f.o) return f.rc;
  if (instant != HI_TRUE && instant != HI_FALSE) return fault(ILLEGAL_PARAM);
  ++f.o->values[instant ? "idrInstant" : "idrRequested"];
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_EnableIDR(VENC_CHN chn, HI_BOOL enable) {
  Found f = videoChannel(chn);
  if (!f.o) return f.rc;
  f.o->values["idrEnabled"] = enable;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_SetH264IdrPicId(VENC_CHN chn, VENC_H264_IDRPICID_CFG_S* cfg) {
  return store(kMod, h264Channel(chn), "IdrPicId", cfg, [](const VENC_H264_IDRPICID_CFG_S& c) {
    return verdict(c.enH264eIdrPicIdMode < H264E_IDR_PIC_ID_MODE_BUTT && c.u32H264eIdrPicId <= 65535);
  });
}

HI_S32 HI_MPI_VENC_GetH264IdrPicId(VENC_CHN chn, VENC_H264_IDRPICID_CFG_S* cfg) {
  return load(kMod, h264Channel(chn), "IdrPicId", cfg, VENC_H264_IDRPICID_CFG_S{});
}

HI_S32 HI_MPI_VENC_SetRoiCfg(VENC_CHN chn, VENC_ROI_CFG_S* cfg) {
  Found f = videoChannel(chn);
  if (!f.o) return f.rc;
  if (!cfg) return fault(NULL_PTR);
  return store(kMod, f, roiName(cfg->u32Index).c_str(), cfg, judgeRoi);
}

HI_S32 HI_MPI_VENC_GetRoiCfg(VENC_CHN chn, HI_U32 index, VENC_ROI_CFG_S* cfg) {
  Found f = videoChannel(chn);
  if (f.o && index >= VENC_MAX_ROI_NUM) return fault(ILLEGAL_PARAM);
  VENC_ROI_CFG_S unset{};
  unset.u32Index = index;
  return load(kMod, f, roiName(index).c_str(), cfg, unset);
}

HI_S32 HI_MPI_VENC_SetRoiBgFrameRate(VENC_CHN chn, const VENC_ROIBG_FRAME_RATE_S* rate) {
  return store(kMod, videoChannel(chn), "RoiBgFrameRate", rate,
               [](const VENC_ROIBG_FRAME_RATE_S& r) { return judgeRate(r.s32SrcFrmRate, r.s32DstFrmRate); });
}

HI_S32 HI_MPI_VENC_GetRoiBgFrameRate(VENC_CHN chn, VENC_ROIBG_FRAME_RATE_S* rate) {
  return load(kMod, videoChannel(chn), "RoiBgFrameRate", rate, VENC_ROIBG_FRAME_RATE_S{-1, -1});
}

HI_S32 HI_MPI_VENC_SetH264SliceSplit(VENC_CHN chn, const VENC_PARAM_H264_SLICE_SPLIT_S* split) {
  return store(kMod, h264Channel(chn), "SliceSplit", split, [](const VENC_PARAM_H264_SLICE_SPLIT_S& s) {
    return verdict(!s.bSplitEnable || (s.u32SplitMode <= 1 && s.u32SliceSize != 0));
  });
}

HI_S32 HI_MPI_VENC_GetH264SliceSplit(VENC_CHN chn, VENC_PARAM_H264_SLICE_SPLIT_S* split) {
  return load(kMod, h264Channel(chn), "SliceSplit", split, VENC_PARAM_H264_SLICE_SPLIT_S{});
}

HI_S32 HI_MPI_VENC_SetH264InterPred(VENC_CHN chn, const VENC_PARAM_H264_INTER_PRED_S* pred) {
  return store(kMod, h264Channel(chn), "InterPred", pred, [](const VENC_PARAM_H264_INTER_PRED_S& p) {
    return verdict(p.u32HWSize <= H264E_MAX_HW_INDEX && p.u32VWSize <= H264E_MAX_VW_INDEX);
  });
}

HI_S32 HI_MPI_VENC_GetH264InterPred(VENC_CHN chn, VENC_PARAM_H264_INTER_PRED_S* pred) {
  return load(kMod, h264Channel(chn), "InterPred", pred, VENC_PARAM_H264_INTER_PRED_S{});
}

HI_S32 HI_MPI_VENC_SetH264IntraPred(VENC_CHN chn, const VENC_PARAM_H264_INTRA_PRED_S* pred) {
  return store(kMod, h264Channel(chn), "IntraPred", pred, [](const VENC_PARAM_H264_INTRA_PRED_S& p) {
    return verdict(p.constrained_intra_pred_flag <= 1);
  });
}

HI_S32 HI_MPI_VENC_GetH264IntraPred(VENC_CHN chn, VENC_PARAM_H264_INTRA_PRED_S* pred) {
  return load(kMod, h264Channel(chn), "IntraPred", pred, VENC_PARAM_H264_INTRA_PRED_S{});
}

HI_S32 HI_MPI_VENC_SetH264Dblk(VENC_CHN chn, const VENC_PARAM_H264_DBLK_S* dblk) {
  return store(kMod, h264Channel(chn), "Dblk", dblk, [](const VENC_PARAM_H264_DBLK_S& d) {
    return verdict(d.disable_deblocking_filter_idc <= 2 && within(d.slice_alpha_c0_offset_div2, -6, 6) &&
                   within(d.slice_beta_offset_div2, -6, 6));
  });
}

HI_S32 HI_MPI_VENC_GetH264Dblk(VENC_CHN chn, VENC_PARAM_H264_DBLK_S* dblk) {
  return load(kMod, h264Channel(chn), "Dblk", dblk, VENC_PARAM_H264_DBLK_S{});
}

HI_S32 HI_MPI_VENC_SetFrameRate(VENC_CHN chn, const VENC_FRAME_RATE_S* rate) {
  return store(kMod, channel(chn), "FrameRate", rate,
               [](const VENC_FRAME_RATE_S& r) { return judgeRate(r.s32SrcFrmRate, r.s32DstFrmRate); });
}

HI_S32 HI_MPI_VENC_GetFrameRate(VENC_CHN chn, VENC_FRAME_RATE_S* rate) {
  return load(kMod, channel(chn), "FrameRate", rate, kNoRateControl);
}

HI_S32 HI_MPI_VENC_SetRefParam(VENC_CHN chn, const VENC_PARAM_REF_S* ref) {
  return store(kMod, videoChannel(chn), "RefParam", ref, [](const VENC_PARAM_REF_S& r) {
    return verdict(within(r.u32Base, 1, 255) && r.u32Enhance <= 255);
  });
}

HI_S32 HI_MPI_VENC_GetRefParam(VENC_CHN chn, VENC_PARAM_REF_S* ref) {
  return load(kMod, videoChannel(chn), "RefParam", ref, VENC_PARAM_REF_S{1, 0, HI_TRUE});
}

HI_S32 HI_MPI_VENC_SetColor2Grey(VENC_CHN chn, const VENC_COLOR2GREY_S* grey) {
  return store(kMod, channel(chn), "Color2Grey", grey);
}

HI_S32 HI_MPI_VENC_GetColor2Grey(VENC_CHN chn, VENC_COLOR2GREY_S* grey) {
  return load(kMod, channel(chn), "Color2Grey", grey, VENC_COLOR2GREY_S{});
}

HI_S32 HI_MPI_VENC_SetCrop(VENC_CHN chn, const VENC_CROP_CFG_S* crop) {
  Found f = channel(chn);
  return store(kMod, f, "Crop", crop, [&](const VENC_CROP_CFG_S& c) {
    VENC_CHN_ATTR_S attr;
    f.o->get("ChnAttr", &attr);
    return judgeCrop(c, pictureOf(attr.stVeAttr));
  });
}

HI_S32 HI_MPI_VENC_GetCrop(VENC_CHN chn, VENC_CROP_CFG_S* crop) {
  return load(kMod, channel(chn), "Crop", crop, VENC_CROP_CFG_S{});
}

HI_S32 HI_MPI_VENC_SetFrameLostStrategy(VENC_CHN chn, const VENC_PARAM_FRAMELOST_S* lost) {
  return store(kMod, channel(chn), "FrameLost", lost, [](const VENC_PARAM_FRAMELOST_S& l) {
    return verdict(l.enFrmLostMode < FRMLOST_BUTT && (!l.bFrmLostOpen || l.u32FrmLostBpsThr != 0));
  });
}

HI_S32 HI_MPI_VENC_GetFrameLostStrategy(VENC_CHN chn, VENC_PARAM_FRAMELOST_S* lost) {
  return load(kMod, channel(chn), "FrameLost", lost, VENC_PARAM_FRAMELOST_S{});
}

// One pool per channel; detaching needs one attached.
HI_S32 HI_MPI_VENC_AttachVbPool(VENC_CHN chn, VB_POOL pool) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (f.o->values.count("vbPool")) return fault(NOT_PERM);
  f.o->values["vbPool"] = pool;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_DetachVbPool(VENC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (!f.o->values.erase("vbPool")) return fault(NOT_PERM);
  return HI_SUCCESS;
}

// ---- module parameters ------------------------------------------------------

HI_S32 HI_MPI_VENC_SetModParam(VENC_PARAM_MOD_S* param) {
  if (!param) return fault(NULL_PTR);
  if (!within(param->enVencModType, MODTYPE_VENC, MODTYPE_RC)) return fault(ILLEGAL_PARAM);
  if (anyChannel()) return fault(NOT_PERM);
  obtain(kModule).put("ModParam" + std::to_string(param->enVencModType), *param);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_GetModParam(VENC_PARAM_MOD_S* param) {
  if (!param) return fault(NULL_PTR);
  VENC_MODTYPE_E type = param->enVencModType;
  if (!within(type, MODTYPE_VENC, MODTYPE_RC)) return fault(ILLEGAL_PARAM);
  const Object* module = find(kModule);
  if (!module || !module->get("ModParam" + std::to_string(type), param)) {
    std::memset(param, 0, sizeof *param);
    param->enVencModType = type;
  }
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
