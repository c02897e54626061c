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
#include "venc_picture.h"

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

const char* payloadName(PAYLOAD_TYPE_E type) {
  switch (type) {
    case PT_H264: return "H.264";
    case PT_H265: return "H.265";
    case PT_JPEG: return "JPEG";
    case PT_MJPEG: return "motion JPEG";
    default: return "an unknown payload";
  }
}

// A channel of one of the given payload types, for calls that apply to those
// codecs only.
Found codecChannel(VENC_CHN chn, std::initializer_list<PAYLOAD_TYPE_E> types, const char* which) {
  Found f = channel(chn);
  if (!f.o) return f;
  for (PAYLOAD_TYPE_E t : types)
    if (payloadOf(*f.o) == t) return f;
  return missing(refuse(fault(NOT_SUPPORT), "%s encodes %s: this call is for %s channels only",
                        label(chnKey(chn)).c_str(), payloadName(payloadOf(*f.o)), which));
}

Found h264Channel(VENC_CHN chn) { return codecChannel(chn, {PT_H264}, "H.264"); }
Found videoChannel(VENC_CHN chn) { return codecChannel(chn, {PT_H264, PT_H265}, "H.264 and H.265"); }

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
Judge& rates(Judge& j, HI_U32 src, HI_FR32 dst) {
  HI_U32 fps = dst & 0xFFFF, divisor = dst >> 16;
  j.range("source frame rate", src, 1, 240)
      .rule(fps != 0, "destination frame rate 0x%X has no frames (low 16 bits)", dst);
  if (divisor)
    return j.rule(fps <= src * divisor, "destination frame rate %u/%u above the source's %u", fps, divisor, src);
  return j.rule(fps <= src, "destination frame rate %u above the source's %u", fps, src);
}

Judge& gopAndStat(Judge& j, HI_U32 gop, HI_U32 statTime) {
  return j.range("GOP", gop, 1, 65536).range("statistics time (s)", statTime, 1, 60);
}

// Bit rates in kbit/s, as far as the encoder goes.
Judge& bitrate(Judge& j, const char* what, HI_U32 kbps) {
  return j.rule(within(kbps, 2, 102400), "%s %u kbit/s outside [2, 102400]", what, kbps);
}

// The rate-control member of the mode; modes the module never fills (QVBR,
// QP maps) are taken as they are.
HI_S32 judgeRateMember(const VENC_RC_ATTR_S& r) {
  Judge j = checks(kMod);
  switch (r.enRcMode) {
    case VENC_RC_MODE_H264CBR:
    case VENC_RC_MODE_H265CBR: {
      const auto& m = r.stAttrH264Cbr;
      gopAndStat(j, m.u32Gop, m.u32StatTime);
      rates(j, m.u32SrcFrmRate, m.fr32DstFrmRate);
      return bitrate(j, "bit rate", m.u32BitRate).range("fluctuation level", m.u32FluctuateLevel, 0, 5);
    }
    case VENC_RC_MODE_H264VBR:
    case VENC_RC_MODE_H265VBR: {
      const auto& m = r.stAttrH264Vbr;
      gopAndStat(j, m.u32Gop, m.u32StatTime);
      rates(j, m.u32SrcFrmRate, m.fr32DstFrmRate);
      return bitrate(j, "maximum bit rate", m.u32MaxBitRate)
          .range("maximum QP", m.u32MaxQp, 0, 51)
          .rule(m.u32MinQp <= m.u32MaxQp, "minimum QP %u above the maximum QP %u", m.u32MinQp, m.u32MaxQp)
          .range("minimum I-frame QP", m.u32MinIQp, 0, 51);
    }
    case VENC_RC_MODE_H264AVBR:
    case VENC_RC_MODE_H265AVBR: {
      const auto& m = r.stAttrH264AVbr;
      gopAndStat(j, m.u32Gop, m.u32StatTime);
      rates(j, m.u32SrcFrmRate, m.fr32DstFrmRate);
      return bitrate(j, "maximum bit rate", m.u32MaxBitRate);
    }
    case VENC_RC_MODE_H264FIXQP:
    case VENC_RC_MODE_H265FIXQP: {
      const auto& m = r.stAttrH264FixQp;
      j.range("GOP", m.u32Gop, 1, 65536);
      return rates(j, m.u32SrcFrmRate, m.fr32DstFrmRate)
          .range("I-frame QP", m.u32IQp, 0, 51)
          .range("P-frame QP", m.u32PQp, 0, 51);
    }
    case VENC_RC_MODE_MJPEGCBR: {
      const auto& m = r.stAttrMjpegeCbr;
      j.range("statistics time (s)", m.u32StatTime, 1, 60);
      rates(j, m.u32SrcFrmRate, m.fr32DstFrmRate);
      return bitrate(j, "bit rate", m.u32BitRate).range("fluctuation level", m.u32FluctuateLevel, 0, 5);
    }
    case VENC_RC_MODE_MJPEGVBR: {
      const auto& m = r.stAttrMjpegeVbr;
      j.range("statistics time (s)", m.u32StatTime, 1, 60);
      rates(j, m.u32SrcFrmRate, m.fr32DstFrmRate);
      return bitrate(j, "maximum bit rate", m.u32MaxBitRate)
          .range("maximum Q factor", m.u32MaxQfactor, 1, 99)
          .range("minimum Q factor", m.u32MinQfactor, 1, 99)
          .rule(m.u32MinQfactor <= m.u32MaxQfactor, "minimum Q factor %u above the maximum %u", m.u32MinQfactor,
                m.u32MaxQfactor);
    }
    case VENC_RC_MODE_MJPEGFIXQP: {
      const auto& m = r.stAttrMjpegeFixQp;
      return rates(j, m.u32SrcFrmRate, m.fr32DstFrmRate).range("Q factor", m.u32Qfactor, 1, 99);
    }
    default:
      return HI_SUCCESS;
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
  if (!modeFits(a.stVeAttr.enType, a.stRcAttr.enRcMode))
    return refuse(fault(ILLEGAL_PARAM), "rate-control mode %d is not one of the %s modes", a.stRcAttr.enRcMode,
                  payloadName(a.stVeAttr.enType));
  return judgeRateMember(a.stRcAttr);
}

// SetChnAttr may change sizes and rate control, not what the channel was
// made for.
HI_S32 judgeChange(const VENC_CHN_ATTR_S& now, const VENC_CHN_ATTR_S& next) {
  Picture a = pictureOf(now.stVeAttr), b = pictureOf(next.stVeAttr);
  const PAYLOAD_TYPE_E type = now.stVeAttr.enType;
  HI_S32 bad = Judge(fault(NOT_PERM))
                   .rule(type == next.stVeAttr.enType, "a channel made for %s cannot encode %s",
                         payloadName(type), payloadName(next.stVeAttr.enType))
                   .rule(a.maxW == b.maxW && a.maxH == b.maxH,
                         "the largest picture %ux%u is fixed once the channel exists (%ux%u asked)", a.maxW, a.maxH,
                         b.maxW, b.maxH)
                   .rule(a.bufSize == b.bufSize,
                         "the stream buffer of %u bytes is fixed once the channel exists (%u asked)", a.bufSize,
                         b.bufSize)
                   .rule(type != PT_H264 || now.stVeAttr.stAttrH264e.u32Profile == next.stVeAttr.stAttrH264e.u32Profile,
                         "H.264 profile %u is fixed once the channel exists (%u asked)",
                         now.stVeAttr.stAttrH264e.u32Profile, next.stVeAttr.stAttrH264e.u32Profile);
  return bad ? bad : judgeAttr(next);
}

// ---- tuning -----------------------------------------------------------------

// ROI rectangles sit inside the picture on a 16-pixel grid.
HI_S32 judgeRoi(const VENC_ROI_CFG_S& r) {
  Judge j = checks(kMod);
  j.range("ROI index", r.u32Index, 0, VENC_MAX_ROI_NUM - 1);
  if (!r.bEnable) return j;
  if (r.bAbsQp)
    j.range("absolute ROI QP", r.s32Qp, 0, 51);
  else
    j.range("relative ROI QP", r.s32Qp, -51, 51);
  const RECT_S& rect = r.stRect;
  return j
      .rule(rect.s32X >= 0 && rect.s32Y >= 0 && rect.s32X % 16 == 0 && rect.s32Y % 16 == 0,
            "ROI position (%d, %d) is not on the 16-pixel grid", rect.s32X, rect.s32Y)
      .rule(rect.u32Width != 0 && rect.u32Height != 0 && rect.u32Width % 16 == 0 && rect.u32Height % 16 == 0,
            "ROI size %ux%u is not a non-zero multiple of 16", rect.u32Width, rect.u32Height);
}

HI_S32 judgeCrop(const VENC_CROP_CFG_S& c, const Picture& p) {
  if (!c.bEnable) return HI_SUCCESS;
  const RECT_S& r = c.stRect;
  return checks(kMod)
      .rule(r.s32X >= 0 && r.s32Y >= 0 && r.s32X % 16 == 0 && r.s32Y % 2 == 0,
            "crop position (%d, %d): x a multiple of 16, y even, neither negative", r.s32X, r.s32Y)
      .rule(r.u32Width != 0 && r.u32Height != 0, "crop size %ux%u is empty", r.u32Width, r.u32Height)
      .rule(static_cast<HI_U32>(r.s32X) + r.u32Width <= p.maxW && static_cast<HI_U32>(r.s32Y) + r.u32Height <= p.maxH,
            "crop rectangle (%d, %d) %ux%u reaches outside the largest picture %ux%u", r.s32X, r.s32Y, r.u32Width,
            r.u32Height, p.maxW, p.maxH);
}

std::string roiName(HI_U32 index) { return "RoiCfg" + std::to_string(index); }

const VENC_FRAME_RATE_S kNoRateControl = {-1, -1};

bool anyChannel() {
  for (const Key& k : objects(kMod))
    if (k.chn >= 0) return true;
  return false;
}

HI_S32 judgeModType(VENC_MODTYPE_E type) {
  return checks(kMod).range("module parameter type", type, MODTYPE_VENC, MODTYPE_RC);
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
  if (f.o->started)
    return refuse(fault(NOT_PERM), "%s receives pictures: stop it before resetting it", label(chnKey(chn)).c_str());
  return HI_SUCCESS;
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
  if (!param) return refuse(fault(NULL_PTR), "no reception parameters given (null pointer)");
  if (param->s32RecvPicNum <= 0)
    return refuse(fault(ILLEGAL_PARAM), "%d pictures to receive: at least 1", param->s32RecvPicNum);
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
  if (!data) return refuse(fault(NULL_PTR), "no user data given (null pointer)");
  if (!within(length, 1, 1024)) return refuse(fault(ILLEGAL_PARAM), "user data of %u bytes outside [1, 1024]", length);
  f.o->attrs["UserData"].assign(data, data + length);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_SetMaxStreamCnt(VENC_CHN chn, HI_U32 count) {
  return store(kMod, channel(chn), "MaxStreamCnt", &count,
               [](HI_U32 n) { return checks(kMod).rule(n != 0, "a stream count of 0: at least 1"); });
}

HI_S32 HI_MPI_VENC_GetMaxStreamCnt(VENC_CHN chn, HI_U32* count) {
  return load(kMod, channel(chn), "MaxStreamCnt", count, 3u);
}

HI_S32 HI_MPI_VENC_RequestIDR(VENC_CHN chn, HI_BOOL instant) {
  Found f = videoChannel(chn);
  if (!f.o) return f.rc;
  if (HI_S32 bad = checks(kMod).flag("instant", instant)) return bad;
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
    return checks(kMod)
        .below("IDR picture id mode", c.enH264eIdrPicIdMode, H264E_IDR_PIC_ID_MODE_BUTT)
        .range("IDR picture id", c.u32H264eIdrPicId, 0, 65535);
  });
}

HI_S32 HI_MPI_VENC_GetH264IdrPicId(VENC_CHN chn, VENC_H264_IDRPICID_CFG_S* cfg) {
  return load(kMod, h264Channel(chn), "IdrPicId", cfg, VENC_H264_IDRPICID_CFG_S{});
}

HI_S32 HI_MPI_VENC_SetRoiCfg(VENC_CHN chn, VENC_ROI_CFG_S* cfg) {
  Found f = videoChannel(chn);
  if (!f.o) return f.rc;
  if (!cfg) return refuse(fault(NULL_PTR), "no ROI configuration given (null pointer)");
  return store(kMod, f, roiName(cfg->u32Index).c_str(), cfg, judgeRoi);
}

HI_S32 HI_MPI_VENC_GetRoiCfg(VENC_CHN chn, HI_U32 index, VENC_ROI_CFG_S* cfg) {
  Found f = videoChannel(chn);
  if (f.o && index >= VENC_MAX_ROI_NUM)
    return refuse(fault(ILLEGAL_PARAM), "ROI index %u outside [0, %d]", index, VENC_MAX_ROI_NUM - 1);
  VENC_ROI_CFG_S unset{};
  unset.u32Index = index;
  return load(kMod, f, roiName(index).c_str(), cfg, unset);
}

HI_S32 HI_MPI_VENC_SetRoiBgFrameRate(VENC_CHN chn, const VENC_ROIBG_FRAME_RATE_S* rate) {
  return store(kMod, videoChannel(chn), "RoiBgFrameRate", rate,
               [](const VENC_ROIBG_FRAME_RATE_S& r) {
                 return judgeFrameRates(kMod, r.s32SrcFrmRate, r.s32DstFrmRate);
               });
}

HI_S32 HI_MPI_VENC_GetRoiBgFrameRate(VENC_CHN chn, VENC_ROIBG_FRAME_RATE_S* rate) {
  return load(kMod, videoChannel(chn), "RoiBgFrameRate", rate, VENC_ROIBG_FRAME_RATE_S{-1, -1});
}

HI_S32 HI_MPI_VENC_SetH264SliceSplit(VENC_CHN chn, const VENC_PARAM_H264_SLICE_SPLIT_S* split) {
  return store(kMod, h264Channel(chn), "SliceSplit", split, [](const VENC_PARAM_H264_SLICE_SPLIT_S& s) {
    if (!s.bSplitEnable) return HI_SUCCESS;
    return static_cast<HI_S32>(checks(kMod)
                                   .range("slice split mode", s.u32SplitMode, 0, 1)
                                   .rule(s.u32SliceSize != 0, "slice size 0 with slice splitting on"));
  });
}

HI_S32 HI_MPI_VENC_GetH264SliceSplit(VENC_CHN chn, VENC_PARAM_H264_SLICE_SPLIT_S* split) {
  return load(kMod, h264Channel(chn), "SliceSplit", split, VENC_PARAM_H264_SLICE_SPLIT_S{});
}

HI_S32 HI_MPI_VENC_SetH264InterPred(VENC_CHN chn, const VENC_PARAM_H264_INTER_PRED_S* pred) {
  return store(kMod, h264Channel(chn), "InterPred", pred, [](const VENC_PARAM_H264_INTER_PRED_S& p) {
    return checks(kMod)
        .range("horizontal search window", p.u32HWSize, 0, H264E_MAX_HW_INDEX)
        .range("vertical search window", p.u32VWSize, 0, H264E_MAX_VW_INDEX);
  });
}

HI_S32 HI_MPI_VENC_GetH264InterPred(VENC_CHN chn, VENC_PARAM_H264_INTER_PRED_S* pred) {
  return load(kMod, h264Channel(chn), "InterPred", pred, VENC_PARAM_H264_INTER_PRED_S{});
}

HI_S32 HI_MPI_VENC_SetH264IntraPred(VENC_CHN chn, const VENC_PARAM_H264_INTRA_PRED_S* pred) {
  return store(kMod, h264Channel(chn), "IntraPred", pred, [](const VENC_PARAM_H264_INTRA_PRED_S& p) {
    return checks(kMod).range("constrained_intra_pred_flag", p.constrained_intra_pred_flag, 0, 1);
  });
}

HI_S32 HI_MPI_VENC_GetH264IntraPred(VENC_CHN chn, VENC_PARAM_H264_INTRA_PRED_S* pred) {
  return load(kMod, h264Channel(chn), "IntraPred", pred, VENC_PARAM_H264_INTRA_PRED_S{});
}

HI_S32 HI_MPI_VENC_SetH264Dblk(VENC_CHN chn, const VENC_PARAM_H264_DBLK_S* dblk) {
  return store(kMod, h264Channel(chn), "Dblk", dblk, [](const VENC_PARAM_H264_DBLK_S& d) {
    return checks(kMod)
        .range("disable_deblocking_filter_idc", d.disable_deblocking_filter_idc, 0, 2)
        .range("slice_alpha_c0_offset_div2", d.slice_alpha_c0_offset_div2, -6, 6)
        .range("slice_beta_offset_div2", d.slice_beta_offset_div2, -6, 6);
  });
}

HI_S32 HI_MPI_VENC_GetH264Dblk(VENC_CHN chn, VENC_PARAM_H264_DBLK_S* dblk) {
  return load(kMod, h264Channel(chn), "Dblk", dblk, VENC_PARAM_H264_DBLK_S{});
}

HI_S32 HI_MPI_VENC_SetFrameRate(VENC_CHN chn, const VENC_FRAME_RATE_S* rate) {
  return store(kMod, channel(chn), "FrameRate", rate,
               [](const VENC_FRAME_RATE_S& r) { return judgeFrameRates(kMod, r.s32SrcFrmRate, r.s32DstFrmRate); });
}

HI_S32 HI_MPI_VENC_GetFrameRate(VENC_CHN chn, VENC_FRAME_RATE_S* rate) {
  return load(kMod, channel(chn), "FrameRate", rate, kNoRateControl);
}

HI_S32 HI_MPI_VENC_SetRefParam(VENC_CHN chn, const VENC_PARAM_REF_S* ref) {
  return store(kMod, videoChannel(chn), "RefParam", ref, [](const VENC_PARAM_REF_S& r) {
    return checks(kMod).range("base period", r.u32Base, 1, 255).range("enhance period", r.u32Enhance, 0, 255);
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
    return checks(kMod)
        .below("frame-lost mode", l.enFrmLostMode, FRMLOST_BUTT)
        .rule(!l.bFrmLostOpen || l.u32FrmLostBpsThr != 0, "frame dropping on with a bit-rate threshold of 0");
  });
}

HI_S32 HI_MPI_VENC_GetFrameLostStrategy(VENC_CHN chn, VENC_PARAM_FRAMELOST_S* lost) {
  return load(kMod, channel(chn), "FrameLost", lost, VENC_PARAM_FRAMELOST_S{});
}

// One pool per channel. Detaching when none is attached changes nothing;
// whether a board answers an error is not known, so the call goes through
// and a finding says so.
HI_S32 HI_MPI_VENC_AttachVbPool(VENC_CHN chn, VB_POOL pool) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (f.o->values.count("vbPool"))
    return refuse(fault(NOT_PERM), "%s has pool %lld attached already: detach it first", label(chnKey(chn)).c_str(),
                  f.o->values["vbPool"]);
  f.o->values["vbPool"] = pool;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_DetachVbPool(VENC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (!f.o->values.erase("vbPool"))
    finding("detach-not-attached", label(chnKey(chn)) + " has no pool attached: nothing detached");
  return HI_SUCCESS;
}

// ---- module parameters ------------------------------------------------------

HI_S32 HI_MPI_VENC_SetModParam(VENC_PARAM_MOD_S* param) {
  if (!param) return refuse(fault(NULL_PTR), "no module parameters given (null pointer)");
  if (HI_S32 bad = judgeModType(param->enVencModType)) return bad;
  if (anyChannel())
    return refuse(fault(NOT_PERM), "encoder channels exist: set module parameters before creating any");
  obtain(kModule).put("ModParam" + std::to_string(param->enVencModType), *param);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VENC_GetModParam(VENC_PARAM_MOD_S* param) {
  if (!param) return refuse(fault(NULL_PTR), "nowhere to write the module parameters (null pointer)");
  VENC_MODTYPE_E type = param->enVencModType;
  if (HI_S32 bad = judgeModType(type)) return bad;
  const Object* module = find(kModule);
  if (!module || !module->get("ModParam" + std::to_string(type), param)) {
    std::memset(param, 0, sizeof *param);
    param->enVencModType = type;
  }
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
