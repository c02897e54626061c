// Decoder channels and the decoder's module parameters as the platform has
// them.
//
// A channel exists from CreateChn to DestroyChn under (VDEC, 0, channel),
// drawn solid while it receives streams, and feeds processing or display
// through bindings as a source. It is made only with the system up. A
// channel that receives, or still feeds a destination, is not destroyed; one
// that receives is not reset and takes no new protocol parameters.
//
// Attributes are judged as the decoder does: payloads it decodes (H.264,
// H.265, JPEG, motion JPEG), picture sizes within the decoder's limits, a
// stream buffer of at least three quarters of the largest picture, at most 16
// reference frames. Protocol parameters are those of the channel's own video
// payload, within the decoder's slice and parameter-set counts. Set... calls
// store what they accept and Get... calls answer it, or the platform's
// defaults. Module parameters are set while no channel exists.
#include <map>

#include "stored.h"
#include "vdec_media.h"

namespace sim {
namespace {

constexpr int kMod = HI_ID_VDEC;
const Key kModule{kMod, -1, -1};

HI_S32 fault(int reason) { return err(kMod, reason); }

Key chnKey(VDEC_CHN chn) { return Key{kMod, 0, chn}; }

// A binding reaches a decoder channel that exists.
const bool g_endpoint = (on_endpoint(kMod, [](Key k) { return find(chnKey(k.chn)) != nullptr; }), true);

Found channel(VDEC_CHN chn) {
  if (chn < 0 || chn >= VDEC_MAX_CHN_NUM)
    return missing(refuse(fault(INVALID_CHNID), "VDEC channel %d outside [0, %d)", chn, VDEC_MAX_CHN_NUM));
  Object* o = find(chnKey(chn));
  return {o, o ? HI_SUCCESS : refuse(fault(UNEXIST), "VDEC channel %d does not exist", chn)};
}

// Picture-buffer counts set before their channel exists: an input to
// creating it, as in private-buffer mode.
std::map<VDEC_CHN, HI_U32> g_vbCounts;
const bool g_forget = (on_reset([] { g_vbCounts.clear(); }), true);

bool anyChannel() {
  for (const Key& k : objects(kMod))
    if (k.dev >= 0) return true;
  return false;
}

// ---- attributes ---------------------------------------------------------------

struct Limits {
  HI_U32 minW, minH, maxW, maxH;
};

// Picture sizes the decoder takes; false for payloads it does not decode.
bool limitsOf(PAYLOAD_TYPE_E type, Limits* l) {
  switch (type) {
    case PT_H264: *l = {VDH_H264D_MIN_WIDTH, VDH_H264D_MIN_HEIGHT, VDH_H264D_MAX_WIDTH, VDH_H264D_MAX_HEIGHT}; return true;
    case PT_H265: *l = {VDH_H265D_MIN_WIDTH, VDH_H265D_MIN_HEIGHT, VDH_H265D_MAX_WIDTH, VDH_H265D_MAX_HEIGHT}; return true;
    case PT_JPEG:
    case PT_MJPEG: *l = {JPEGD_MIN_WIDTH, JPEGD_MIN_HEIGHT, JPEGD_MAX_WIDTH, JPEGD_MAX_HEIGHT}; return true;
    default: return false;
  }
}

bool pictures(PAYLOAD_TYPE_E type) { return type == PT_JPEG || type == PT_MJPEG; }

HI_S32 judgeAttr(const VDEC_CHN_ATTR_S& a) {
  Limits l;
  if (!limitsOf(a.enType, &l))
    return refuse(fault(NOT_SUPPORT), "payload type %d is not one the decoder takes", a.enType);
  const unsigned long long area = static_cast<unsigned long long>(a.u32PicWidth) * a.u32PicHeight;
  Judge j = checks(kMod);
  j.rule(within(a.u32PicWidth, l.minW, l.maxW) && within(a.u32PicHeight, l.minH, l.maxH),
         "picture %ux%u outside %ux%u to %ux%u", a.u32PicWidth, a.u32PicHeight, l.minW, l.minH, l.maxW, l.maxH)
      .rule(static_cast<unsigned long long>(a.u32BufSize) * 4 >= area * 3,
            "stream buffer of %u bytes is smaller than %llu (3/4 of %ux%u)", a.u32BufSize, area * 3 / 4,
            a.u32PicWidth, a.u32PicHeight);
  if (pictures(a.enType))
    return j.below("JPEG video mode", a.stVdecJpegAttr.enMode, VIDEO_MODE_BUTT)
        .below("JPEG colour format", a.stVdecJpegAttr.enJpegFormat, JPG_COLOR_FMT_BUTT);
  const VDEC_ATTR_VIDEO_S& v = a.stVdecVideoAttr;
  return j.range("reference frame count", v.u32RefFrameNum, 0, 16)
      .below("video mode", v.enMode, VIDEO_MODE_BUTT)
      .flag("bTemporalMvpEnable", v.bTemporalMvpEnable);
}

VDEC_CHN_ATTR_S attrOf(const Object& o) {
  VDEC_CHN_ATTR_S a{};
  o.get("ChnAttr", &a);
  return a;
}

// ---- parameters -----------------------------------------------------------------

HI_S32 judgeParam(const VDEC_CHN_PARAM_S& p) {
  return checks(kMod)
      .range("display frame count", p.s32DisplayFrameNum, 0, 16)
      .range("error threshold (%)", p.s32ChanErrThr, 0, 100)
      .rule(p.s32ChanStrmOFThr >= 0, "stream overflow threshold %d is negative", p.s32ChanStrmOFThr)
      .range("decoding mode", p.s32DecMode, 0, 2)
      .range("decoding-order output", p.s32DecOrderOutput, 0, 1)
      .below("video format", p.enVideoFormat, VIDEO_FORMAT_BUTT)
      .below("compression mode", p.enCompressMode, COMPRESS_MODE_BUTT);
}

const VDEC_CHN_PARAM_S kDefaultParam = {2, 0, 0, 0, 0, VIDEO_FORMAT_LINEAR, COMPRESS_MODE_NONE, 0};

// The channel's own video payload, within the decoder's counts.
HI_S32 judgeProtocol(PAYLOAD_TYPE_E channelType, const VDEC_PRTCL_PARAM_S& p) {
  if (p.enType != channelType)
    return refuse(fault(ILLEGAL_PARAM), "protocol parameters of payload %d for a channel of payload %d", p.enType,
                  channelType);
  Judge j = checks(kMod);
  if (p.enType == PT_H264) {
    const H264_PRTCL_PARAM_S& h = p.stH264PrtclParam;
    return j.range("H.264 slice count", h.s32MaxSliceNum, VDH_H264D_MIN_SLICE, VDH_H264D_MAX_SLICE)
        .range("H.264 SPS count", h.s32MaxSpsNum, VDH_H264D_MIN_SPS, VDH_H264D_MAX_SPS)
        .range("H.264 PPS count", h.s32MaxPpsNum, VDH_H264D_MIN_PPS, VDH_H264D_MAX_PPS);
  }
  if (p.enType == PT_H265) {
    const H265_PRTCL_PARAM_S& h = p.stH265PrtclParam;
    return j.range("H.265 slice segment count", h.s32MaxSliceSegmentNum, VDH_H265D_MIN_SLICE, VDH_H265D_MAX_SLICE)
        .range("H.265 VPS count", h.s32MaxVpsNum, VDH_H265D_MIN_VPS, VDH_H265D_MAX_VPS)
        .range("H.265 SPS count", h.s32MaxSpsNum, VDH_H265D_MIN_SPS, VDH_H265D_MAX_SPS)
        .range("H.265 PPS count", h.s32MaxPpsNum, VDH_H265D_MIN_PPS, VDH_H265D_MAX_PPS);
  }
  return refuse(fault(NOT_SUPPORT), "payload %d: pictures have no protocol parameters", p.enType);
}

VDEC_PRTCL_PARAM_S defaultProtocol(PAYLOAD_TYPE_E type) {
  VDEC_PRTCL_PARAM_S p{};
  p.enType = type;
  if (type == PT_H265)
    p.stH265PrtclParam = {VDH_H265D_MAX_SLICE, 2, 2, 2};
  else
    p.stH264PrtclParam = {16, 2, 2};
  return p;
}

const VDEC_MOD_PARAM_S kDefaultModParam = {0, 0, {VDH_H264D_MAX_WIDTH, VDH_H264D_MAX_HEIGHT, 16, HI_FALSE}};

}  // namespace

namespace h {

HI_S32 HI_MPI_VDEC_CreateChn(VDEC_CHN chn, const VDEC_CHN_ATTR_S* attr) {
  HI_S32 rc = createChannel(kMod, chnKey(chn), VDEC_MAX_CHN_NUM, attr, judgeAttr);
  auto pending = g_vbCounts.find(chn);
  if (rc == HI_SUCCESS && pending != g_vbCounts.end()) {
    obtain(chnKey(chn)).put("VBCnt", pending->second);
    g_vbCounts.erase(pending);
  }
  return rc;
}

HI_S32 HI_MPI_VDEC_DestroyChn(VDEC_CHN chn) {
  HI_S32 rc = destroyChannel(kMod, channel(chn), chnKey(chn));
  if (rc == HI_SUCCESS) vdec::forget(chn);
  return rc;
}

HI_S32 HI_MPI_VDEC_ResetChn(VDEC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (f.o->started)
    return refuse(fault(NOT_PERM), "VDEC channel %d receives a stream: stop it before resetting it", chn);
  vdec::forget(chn);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_StartRecvStream(VDEC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  f.o->started = true;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_StopRecvStream(VDEC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  f.o->started = false;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_GetChnAttr(VDEC_CHN chn, VDEC_CHN_ATTR_S* attr) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (!attr) return refuse(fault(NULL_PTR), "nowhere to write the attributes (null pointer)");
  *attr = attrOf(*f.o);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_GetFd(VDEC_CHN chn) {
  Found f = channel(chn);
  return f.o ? 256 + chn : f.rc;
}

HI_S32 HI_MPI_VDEC_CloseFd(VDEC_CHN chn) { return channel(chn).rc; }

HI_S32 HI_MPI_VDEC_SetChnParam(VDEC_CHN chn, VDEC_CHN_PARAM_S* param) {
  return store(kMod, channel(chn), "ChnParam", param, judgeParam);
}

HI_S32 HI_MPI_VDEC_GetChnParam(VDEC_CHN chn, VDEC_CHN_PARAM_S* param) {
  return load(kMod, channel(chn), "ChnParam", param, kDefaultParam);
}

HI_S32 HI_MPI_VDEC_SetProtocolParam(VDEC_CHN chn, VDEC_PRTCL_PARAM_S* param) {
  Found f = channel(chn);
  if (f.o && f.o->started)
    return refuse(fault(NOT_PERM), "VDEC channel %d receives a stream: set protocol parameters before StartRecvStream",
                  chn);
  PAYLOAD_TYPE_E type = f.o ? attrOf(*f.o).enType : PT_H264;
  return store(kMod, f, "PrtclParam", param,
               [&](const VDEC_PRTCL_PARAM_S& p) { return judgeProtocol(type, p); });
}

HI_S32 HI_MPI_VDEC_GetProtocolParam(VDEC_CHN chn, VDEC_PRTCL_PARAM_S* param) {
  Found f = channel(chn);
  PAYLOAD_TYPE_E type = f.o ? attrOf(*f.o).enType : PT_H264;
  if (f.o && pictures(type))
    return refuse(fault(NOT_SUPPORT), "VDEC channel %d decodes pictures, which have no protocol parameters", chn);
  return load(kMod, f, "PrtclParam", param, defaultProtocol(type));
}

HI_S32 HI_MPI_VDEC_SetRotate(VDEC_CHN chn, ROTATE_E rotate) {
  return store(kMod, channel(chn), "Rotate", &rotate,
               [](ROTATE_E r) { return checks(kMod).below("rotation", r, ROTATE_BUTT); });
}

HI_S32 HI_MPI_VDEC_GetRotate(VDEC_CHN chn, ROTATE_E* rotate) {
  return load(kMod, channel(chn), "Rotate", rotate, ROTATE_NONE);
}

// The user picture is shown instead of the stream once set and enabled.
HI_S32 HI_MPI_VDEC_SetUserPic(VDEC_CHN chn, VIDEO_FRAME_INFO_S* picture) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (!picture) return refuse(fault(NULL_PTR), "no user picture given (null pointer)");
  f.o->values["userPic"] = 1;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_EnableUserPic(VDEC_CHN chn, HI_BOOL instant) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (HI_S32 bad = checks(kMod).flag("instant", instant)) return bad;
  if (!f.o->values.count("userPic"))
    return refuse(fault(NOT_PERM), "VDEC channel %d has no user picture: SetUserPic first", chn);
  f.o->values["userPicShown"] = 1;
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_DisableUserPic(VDEC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  f.o->values.erase("userPicShown");
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_SetDisplayMode(VDEC_CHN chn, VIDEO_DISPLAY_MODE_E mode) {
  return store(kMod, channel(chn), "DisplayMode", &mode,
               [](VIDEO_DISPLAY_MODE_E m) {
                 return checks(kMod).below("display mode", m, VIDEO_DISPLAY_MODE_BUTT);
               });
}

HI_S32 HI_MPI_VDEC_GetDisplayMode(VDEC_CHN chn, VIDEO_DISPLAY_MODE_E* mode) {
  return load(kMod, channel(chn), "DisplayMode", mode, VIDEO_DISPLAY_MODE_PREVIEW);
}

// Picture buffers of a channel: set before it receives (before it exists,
// too), at least one.
HI_S32 HI_MPI_VDEC_SetChnVBCnt(VDEC_CHN chn, HI_U32 count) {
  if (chn < 0 || chn >= VDEC_MAX_CHN_NUM) return channel(chn).rc;
  if (!within(count, 1, VB_MAX_COMM_POOLS * 8))
    return refuse(fault(ILLEGAL_PARAM), "%u picture buffers outside [1, %d]", count, VB_MAX_COMM_POOLS * 8);
  Object* o = find(chnKey(chn));
  if (!o) {
    g_vbCounts[chn] = count;
    return HI_SUCCESS;
  }
  if (o->started) return refuse(fault(NOT_PERM), "VDEC channel %d receives: set its buffers before StartRecvStream", chn);
  o->put("VBCnt", count);
  return HI_SUCCESS;
}

// By default the reference frames, the frames held for display and one more.
HI_S32 HI_MPI_VDEC_GetChnVBCnt(VDEC_CHN chn, HI_U32* count) {
  auto pending = g_vbCounts.find(chn);
  if (pending != g_vbCounts.end() && count) {
    *count = pending->second;
    return HI_SUCCESS;
  }
  Found f = channel(chn);
  if (!f.o) return f.rc;
  VDEC_CHN_PARAM_S param = kDefaultParam;
  f.o->get("ChnParam", &param);
  VDEC_CHN_ATTR_S a = attrOf(*f.o);
  HI_U32 refs = pictures(a.enType) ? 0 : a.stVdecVideoAttr.u32RefFrameNum;
  return load(kMod, f, "VBCnt", count, refs + static_cast<HI_U32>(param.s32DisplayFrameNum) + 1);
}

HI_S32 HI_MPI_VDEC_AttachVbPool(VDEC_CHN chn, VDEC_CHN_POOL_S* pools) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  if (!pools) return refuse(fault(NULL_PTR), "no pools given (null pointer)");
  if (f.o->has("Pools"))
    return refuse(fault(NOT_PERM), "VDEC channel %d has pools attached already: detach them first", chn);
  if (pools->hPicVbPool == VB_INVALID_POOLID)
    return refuse(fault(ILLEGAL_PARAM), "picture pool 0x%X is the invalid pool id", pools->hPicVbPool);
  f.o->put("Pools", *pools);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_DetachVbPool(VDEC_CHN chn) {
  Found f = channel(chn);
  if (!f.o) return f.rc;
  // Whether a board refuses detaching what is not attached is not known.
  if (!f.o->attrs.erase("Pools"))
    finding("detach-not-attached", label(chnKey(chn)) + " has no pools attached: nothing detached");
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_SetModParam(VDEC_MOD_PARAM_S* param) {
  if (!param) return refuse(fault(NULL_PTR), "no module parameters given (null pointer)");
  if (anyChannel())
    return refuse(fault(NOT_PERM), "decoder channels exist: set module parameters before creating any");
  if (HI_S32 bad = checks(kMod)
                       .range("mini buffer mode", param->u32MiniBufMode, 0, 1)
                       .range("buffer source", param->u32VBSource, 0, 2))
    return bad;
  obtain(kModule).put("ModParam", *param);
  return HI_SUCCESS;
}

HI_S32 HI_MPI_VDEC_GetModParam(VDEC_MOD_PARAM_S* param) {
  if (!param) return refuse(fault(NULL_PTR), "nowhere to write the module parameters (null pointer)");
  const Object* m = find(kModule);
  if (!m || !m->get("ModParam", param)) *param = kDefaultModParam;
  return HI_SUCCESS;
}

}  // namespace h
}  // namespace sim
