// Table forms of the encoder structures.
//
// Channel attributes and module parameters hold a union whose member is
// chosen by a type field: their converters are written by hand and pick the
// member's converter from a table keyed by that field. Everything else is
// declared field by field.
#include "video/venc/venc.h"

namespace Tessel {
namespace {

// A union member and the value of the type field that selects it.
struct Member {
  std::int32_t selector;
  const Converter* conv;
};

template <std::size_t N>
const Converter* memberFor(const Member (&members)[N], std::int32_t selector) {
  for (const Member& m : members)
    if (m.selector == selector) return m.conv;
  return nullptr;
}

// Reads the member table under key of the table at t into out, when the
// selector names a member and the key holds a table. Leaves what it pushed.
template <std::size_t N>
void readMember(lua_State* L, int t, const char* key, const Member (&members)[N],
                std::int32_t selector, void* out) {
  const Converter* conv = memberFor(members, selector);
  if (conv && lua_getfield(L, t, key) == LUA_TTABLE) conv->read(L, lua_gettop(L), out, conv->aux);
}

// Sets key of the table on top to the member's table, when the selector
// names a member.
template <std::size_t N>
void pushMember(lua_State* L, const char* key, const Member (&members)[N], std::int32_t selector,
                const void* in) {
  if (const Converter* conv = memberFor(members, selector)) {
    conv->push(L, in, conv->aux);
    lua_setfield(L, -2, key);
  }
}

// Runs read, putting the stack back as it was found, also when read throws.
template <class Read>
void keepingStack(lua_State* L, Read&& read) {
  int top = lua_gettop(L);
  try {
    read();
  } catch (...) {
    lua_settop(L, top);
    throw;
  }
  lua_settop(L, top);
}

const Member kCodecMembers[] = {
    {PT_H264, &ConvOf<VENC_ATTR_H264_S>::value},
    {PT_JPEG, &ConvOf<VENC_ATTR_JPEG_S>::value},
    {PT_H265, &ConvOf<VENC_ATTR_H265_S>::value},
    {PT_MJPEG, &ConvOf<VENC_ATTR_MJPEG_S>::value},
};

const EnumRow kRcModeRows[] = {
    {VENC_RC_MODE_H264CBR, "H264CBR", kBoth},     {VENC_RC_MODE_H264VBR, "H264VBR", kBoth},
    {VENC_RC_MODE_H264AVBR, "H264AVBR", kBoth},   {VENC_RC_MODE_H264FIXQP, "H264FIXQP", kBoth},
    {VENC_RC_MODE_MJPEGCBR, "MJPEGCBR", kBoth},   {VENC_RC_MODE_MJPEGVBR, "MJPEGVBR", kBoth},
    {VENC_RC_MODE_MJPEGFIXQP, "MJPEGFIXQP", kBoth}, {VENC_RC_MODE_H265CBR, "H265CBR", kBoth},
    {VENC_RC_MODE_H265VBR, "H265VBR", kBoth},     {VENC_RC_MODE_H265AVBR, "H265AVBR", kBoth},
    {VENC_RC_MODE_H265FIXQP, "H265FIXQP", kBoth},
};
const EnumDesc kRcModes = {kRcModeRows, 11, Miss::Throw, 0, "Unknown RateControl mode",
                           Miss::Throw, 0, "Invalid RateControl mode", "invalid"};

// The H.265 modes share the H.264 structures.
const Member kRcMembers[] = {
    {VENC_RC_MODE_H264CBR, &ConvOf<VENC_ATTR_H264_CBR_S>::value},
    {VENC_RC_MODE_H264VBR, &ConvOf<VENC_ATTR_H264_VBR_S>::value},
    {VENC_RC_MODE_H264AVBR, &ConvOf<VENC_ATTR_H264_AVBR_S>::value},
    {VENC_RC_MODE_H264FIXQP, &ConvOf<VENC_ATTR_H264_FIXQP_S>::value},
    {VENC_RC_MODE_MJPEGCBR, &ConvOf<VENC_ATTR_MJPEG_CBR_S>::value},
    {VENC_RC_MODE_MJPEGVBR, &ConvOf<VENC_ATTR_MJPEG_VBR_S>::value},
    {VENC_RC_MODE_MJPEGFIXQP, &ConvOf<VENC_ATTR_MJPEG_FIXQP_S>::value},
    {VENC_RC_MODE_H265CBR, &ConvOf<VENC_ATTR_H264_CBR_S>::value},
    {VENC_RC_MODE_H265VBR, &ConvOf<VENC_ATTR_H264_VBR_S>::value},
    {VENC_RC_MODE_H265AVBR, &ConvOf<VENC_ATTR_H264_AVBR_S>::value},
    {VENC_RC_MODE_H265FIXQP, &ConvOf<VENC_ATTR_H264_FIXQP_S>::value},
};

// {encoding = {type, attr}, bitrate = {mode, attr}}. Unknown types and modes,
// and parts that are not tables, leave zeros for the platform to judge.
void readChnAttr(lua_State* L, int idx, VENC_CHN_ATTR_S* a) {
  std::memset(a, 0, sizeof *a);
  if (lua_type(L, idx) != LUA_TTABLE) convFail("Invalid VENC channel attributes");
  keepingStack(L, [&] {
    if (lua_getfield(L, idx, "encoding") != LUA_TTABLE) return;
    int enc = lua_gettop(L);
    int t = lua_getfield(L, enc, "type");
    if (t == LUA_TNUMBER || t == LUA_TSTRING) read(L, -1, &a->stVeAttr.enType);
    readMember(L, enc, "attr", kCodecMembers, a->stVeAttr.enType, &a->stVeAttr.stAttrH264e);
  });
  // A mode of a type other than number or string is refused by its converter.
  keepingStack(L, [&] {
    if (lua_getfield(L, idx, "bitrate") != LUA_TTABLE) return;
    int rc = lua_gettop(L);
    if (lua_getfield(L, rc, "mode") != LUA_TNIL) read(L, -1, &a->stRcAttr.enRcMode);
    readMember(L, rc, "attr", kRcMembers, a->stRcAttr.enRcMode, &a->stRcAttr.stAttrH264Cbr);
  });
}

void pushChnAttr(lua_State* L, const VENC_CHN_ATTR_S& a) {
  lua_createtable(L, 0, 2);
  lua_createtable(L, 0, 2);
  push(L, a.stVeAttr.enType);
  lua_setfield(L, -2, "type");
  pushMember(L, "attr", kCodecMembers, a.stVeAttr.enType, &a.stVeAttr.stAttrH264e);
  lua_setfield(L, -2, "encoding");
  lua_createtable(L, 0, 2);
  push(L, a.stRcAttr.enRcMode);
  lua_setfield(L, -2, "mode");
  pushMember(L, "attr", kRcMembers, a.stRcAttr.enRcMode, &a.stRcAttr.stAttrH264Cbr);
  lua_setfield(L, -2, "bitrate");
}

// Frame-lost mode: unknown names are NORMAL.
const EnumRow kFrameLostRows[] = {
    {FRMLOST_NORMAL, "NORMAL", kBoth}, {FRMLOST_PSKIP, "PSKIP", kBoth}, {FRMLOST_PSKIP, "SKIP", kInOnly}};
const EnumDesc kFrameLostModes = {kFrameLostRows, 3, Miss::Value, FRMLOST_NORMAL, nullptr,
                                  Miss::Leave, 0, nullptr, "UNKNOWN"};

// Module type: unknown names store the end value, whose options are ignored.
const EnumRow kModTypeRows[] = {
    {MODTYPE_VENC, "VENC", kBoth},   {MODTYPE_H264E, "H264E", kBoth}, {MODTYPE_H264E, "H264", kInOnly},
    {MODTYPE_H265E, "H265E", kBoth}, {MODTYPE_H265E, "H265", kInOnly}, {MODTYPE_JPEGE, "JPEGE", kBoth},
    {MODTYPE_JPEGE, "JPEG", kInOnly},
};
const EnumDesc kModTypes = {kModTypeRows, 7, Miss::Value, MODTYPE_BUTT, nullptr,
                            Miss::Throw, 0, "Invalid VENC mode type", "UNKNOWN"};

const Member kModMembers[] = {
    {MODTYPE_VENC, &ConvOf<VENC_PARAM_MOD_VENC_S>::value},
    {MODTYPE_H264E, &ConvOf<VENC_PARAM_MOD_H264E_S>::value},
    {MODTYPE_H265E, &ConvOf<VENC_PARAM_MOD_H265E_S>::value},
    {MODTYPE_JPEGE, &ConvOf<VENC_PARAM_MOD_JPEGE_S>::value},
};

// {type, options}
void readModParam(lua_State* L, int idx, VENC_PARAM_MOD_S* m) {
  std::memset(m, 0, sizeof *m);
  if (lua_type(L, idx) != LUA_TTABLE) convFail("Invalid VENC mod parameters");
  keepingStack(L, [&] {
    lua_getfield(L, idx, "type");
    read(L, -1, &m->enVencModType);
    readMember(L, idx, "options", kModMembers, m->enVencModType, &m->stVencModParam);
  });
}

void pushModParam(lua_State* L, const VENC_PARAM_MOD_S& m) {
  lua_createtable(L, 0, 2);
  push(L, m.enVencModType);
  lua_setfield(L, -2, "type");
  pushMember(L, "options", kModMembers, m.enVencModType, &m.stVencModParam);
}

}  // namespace
}  // namespace Tessel

TESSEL_CUSTOM(VENC_CHN_ATTR_S, readChnAttr, pushChnAttr)
TESSEL_ENUM(VENC_RC_MODE_E, kRcModes)

TESSEL_STRUCT(VENC_ATTR_H264_S, F(u32MaxPicWidth), F(u32MaxPicHeight), F(u32BufSize),
              F(u32Profile), F(bByFrame), F(u32PicWidth), F(u32PicHeight))
TESSEL_STRUCT(VENC_ATTR_JPEG_S, F(u32MaxPicWidth), F(u32MaxPicHeight), F(u32BufSize),
              F(bByFrame), F(u32PicWidth), F(u32PicHeight), F(bSupportDCF))
TESSEL_STRUCT(VENC_ATTR_H265_S, F(u32MaxPicWidth), F(u32MaxPicHeight), F(u32BufSize),
              F(u32Profile), F(bByFrame), F(u32PicWidth), F(u32PicHeight))
TESSEL_STRUCT(VENC_ATTR_MJPEG_S, F(u32MaxPicWidth), F(u32MaxPicHeight), F(u32BufSize),
              F(bByFrame), F(u32PicWidth), F(u32PicHeight))

// Five of the rate-control members write the destination frame rate under a
// key with a trailing blank; every member reads it without.
#define DST_FRM_RATE_OUT_WITH_BLANK FIELD(fr32DstFrmRate, "fr32DstFrmRate", "fr32DstFrmRate ")
TESSEL_STRUCT(VENC_ATTR_H264_CBR_S, F(u32Gop), F(u32StatTime), F(u32SrcFrmRate),
              DST_FRM_RATE_OUT_WITH_BLANK, F(u32BitRate), F(u32FluctuateLevel))
TESSEL_STRUCT(VENC_ATTR_H264_VBR_S, F(u32Gop), F(u32StatTime), F(u32SrcFrmRate),
              DST_FRM_RATE_OUT_WITH_BLANK, F(u32MaxBitRate), F(u32MaxQp), F(u32MinQp), F(u32MinIQp))
TESSEL_STRUCT(VENC_ATTR_H264_AVBR_S, F(u32Gop), F(u32StatTime), F(u32SrcFrmRate),
              DST_FRM_RATE_OUT_WITH_BLANK, F(u32MaxBitRate))
TESSEL_STRUCT(VENC_ATTR_H264_FIXQP_S, F(u32Gop), F(u32SrcFrmRate), DST_FRM_RATE_OUT_WITH_BLANK,
              F(u32IQp), F(u32PQp))
TESSEL_STRUCT(VENC_ATTR_MJPEG_CBR_S, F(u32StatTime), F(u32SrcFrmRate), DST_FRM_RATE_OUT_WITH_BLANK,
              F(u32BitRate), F(u32FluctuateLevel))
TESSEL_STRUCT(VENC_ATTR_MJPEG_VBR_S, F(u32StatTime), F(u32SrcFrmRate), F(fr32DstFrmRate),
              F(u32MaxBitRate), F(u32MaxQfactor), F(u32MinQfactor))
TESSEL_STRUCT(VENC_ATTR_MJPEG_FIXQP_S, F(u32SrcFrmRate), F(fr32DstFrmRate), F(u32Qfactor))
#undef DST_FRM_RATE_OUT_WITH_BLANK

TESSEL_STRUCT(VENC_PARAM_H264_SLICE_SPLIT_S, F(bSplitEnable), F(u32SplitMode), F(u32SliceSize))
TESSEL_STRUCT(VENC_PARAM_H264_INTER_PRED_S, F(u32HWSize), F(u32VWSize), F(bInter16x16PredEn),
              F(bInter16x8PredEn), F(bInter8x16PredEn), F(bInter8x8PredEn), F(bExtedgeEn))
TESSEL_STRUCT(VENC_PARAM_H264_INTRA_PRED_S, F(bIntra16x16PredEn), F(bIntraNxNPredEn),
              F(constrained_intra_pred_flag), F(bIpcmEn))
TESSEL_STRUCT(VENC_PARAM_H264_DBLK_S, F(disable_deblocking_filter_idc),
              F(slice_alpha_c0_offset_div2), F(slice_beta_offset_div2))
TESSEL_STRUCT(VENC_PARAM_REF_S, F(u32Base), F(u32Enhance), F(bEnablePred))
TESSEL_STRUCT(VENC_FRAME_RATE_S, F(s32SrcFrmRate), F(s32DstFrmRate))
TESSEL_STRUCT(VENC_ROIBG_FRAME_RATE_S, F(s32SrcFrmRate), F(s32DstFrmRate))
TESSEL_STRUCT(VENC_ROI_CFG_S, F(u32Index), F(bEnable), F(bAbsQp), F(s32Qp), F(stRect))
TESSEL_ENUM(VENC_FRAMELOST_MODE_E, kFrameLostModes)
TESSEL_STRUCT(VENC_PARAM_FRAMELOST_S, F(bFrmLostOpen), F(u32FrmLostBpsThr), F(enFrmLostMode),
              F(u32EncFrmGaps))
TESSEL_STRUCT(VENC_CHN_STAT_S, F(u32LeftPics), F(u32LeftStreamBytes), F(u32LeftStreamFrames),
              F(u32CurPacks), F(u32LeftRecvPics), F(u32LeftEncPics))

TESSEL_ENUM(VENC_MODTYPE_E, kModTypes)
TESSEL_CUSTOM(VENC_PARAM_MOD_S, readModParam, pushModParam)
TESSEL_STRUCT(VENC_PARAM_MOD_VENC_S, F(u32VencBufferCache))
TESSEL_STRUCT(VENC_PARAM_MOD_H264E_S, F(u32OneStreamBuffer), F(u32H264eVBSource),
              F(u32H264eRcnEqualRef), F(u32H264eMiniBufMode))
TESSEL_STRUCT(VENC_PARAM_MOD_H265E_S, F(u32OneStreamBuffer), F(u32H265eMiniBufMode))
TESSEL_STRUCT(VENC_PARAM_MOD_JPEGE_S, F(u32OneStreamBuffer), F(u32JpegeMiniBufMode))
