// Table forms of the decoder structures.
//
// Channel attributes and protocol parameters hold a union whose member
// follows the payload type: their fixed fields are declared field by field,
// and the member is read or written under one key ("attr", "param") with the
// member's own converter. Everything else is declared field by field.
#include "video/vdec/vdec.h"

namespace Tessel {
namespace {

const EnumRow kVideoModeRows[] = {{VIDEO_MODE_STREAM, "STREAM", kBoth}, {VIDEO_MODE_FRAME, "FRAME", kBoth}};
const EnumDesc kVideoModes = {kVideoModeRows, 2, Miss::Throw, 0, "Invalid video decoding mode",
                              Miss::Throw, 0, "Invalid video decoding mode", "UNKNOWN"};

const EnumRow kJpegColorRows[] = {
    {JPG_COLOR_FMT_YCBCR400, "YCBCR400", kBoth},       {JPG_COLOR_FMT_YCBCR420, "YCBCR420", kBoth},
    {JPG_COLOR_FMT_YCBCR422BHP, "YCBCR422BHP", kBoth}, {JPG_COLOR_FMT_YCBCR422BVP, "YCBCR422BVP", kBoth},
    {JPG_COLOR_FMT_YCBCR444, "YCBCR444", kBoth},
};
const EnumDesc kJpegColors = {kJpegColorRows, 5, Miss::Throw, 0, "Invalid JPEG color format",
                              Miss::Throw, 0, "Invalid JPEG color format", "UNKNOWN"};

// A structure's fixed fields with the key of its union member: the member
// is read (when the key holds a value) and written with the converter
// the selector picks.
struct UnionHead {
  StructDesc head;
  const char* key;
  const Converter* (*member)(const void* whole);
};

void readWithMember(lua_State* L, int idx, void* out, const UnionHead& u, void* member) {
  readStruct(L, idx, out, u.head);  // zeroes the whole structure, reads the fixed fields in order
  int top = lua_gettop(L);
  if (lua_getfield(L, idx, u.key) != LUA_TNIL) {
    const Converter* conv = u.member(out);
    try {
      conv->read(L, lua_gettop(L), member, conv->aux);
    } catch (...) {
      lua_settop(L, top);
      throw;
    }
  }
  lua_settop(L, top);
}

void pushWithMember(lua_State* L, const void* in, const UnionHead& u, const void* member) {
  pushStruct(L, in, u.head);
  const Converter* conv = u.member(in);
  conv->push(L, member, conv->aux);
  lua_setfield(L, -2, u.key);
}

// ---- channel attributes -----------------------------------------------------

namespace chn_attr {
using S_ = VDEC_CHN_ATTR_S;
const Field fields[] = {F(enType), F(u32BufSize), F(u32Priority), F(u32PicWidth), F(u32PicHeight)};
}  // namespace chn_attr

// JPEG and motion JPEG pictures have their own member; every other payload
// is video.
const Converter* chnAttrMember(const void* whole) {
  PAYLOAD_TYPE_E type = static_cast<const VDEC_CHN_ATTR_S*>(whole)->enType;
  if (type == PT_JPEG || type == PT_MJPEG) return &ConvOf<VDEC_ATTR_JPEG_S>::value;
  return &ConvOf<VDEC_ATTR_VIDEO_S>::value;
}

const UnionHead kChnAttr = {{"VDEC_CHN_ATTR_S", "VDEC_CHN_ATTR_S must be a table for structure convension",
                             sizeof(VDEC_CHN_ATTR_S), chn_attr::fields, 5},
                            "attr", &chnAttrMember};

void readChnAttr(lua_State* L, int idx, VDEC_CHN_ATTR_S* a) { readWithMember(L, idx, a, kChnAttr, &a->stVdecVideoAttr); }
void pushChnAttr(lua_State* L, const VDEC_CHN_ATTR_S& a) { pushWithMember(L, &a, kChnAttr, &a.stVdecVideoAttr); }

// ---- protocol parameters ----------------------------------------------------

namespace prtcl {
using S_ = VDEC_PRTCL_PARAM_S;
const Field fields[] = {FIELD(enType, "type", "type")};
}  // namespace prtcl

const Converter* prtclMember(const void* whole) {
  if (static_cast<const VDEC_PRTCL_PARAM_S*>(whole)->enType == PT_H265) return &ConvOf<H265_PRTCL_PARAM_S>::value;
  return &ConvOf<H264_PRTCL_PARAM_S>::value;
}

const UnionHead kPrtcl = {{"VDEC_PRTCL_PARAM_S", "VDEC_PRTCL_PARAM_S must be a table for structure convension",
                           sizeof(VDEC_PRTCL_PARAM_S), prtcl::fields, 1},
                          "param", &prtclMember};

void readPrtcl(lua_State* L, int idx, VDEC_PRTCL_PARAM_S* p) { readWithMember(L, idx, p, kPrtcl, &p->stH264PrtclParam); }
void pushPrtcl(lua_State* L, const VDEC_PRTCL_PARAM_S& p) { pushWithMember(L, &p, kPrtcl, &p.stH264PrtclParam); }

}  // namespace
}  // namespace Tessel

TESSEL_ENUM(VIDEO_MODE_E, kVideoModes)
TESSEL_ENUM(VDEC_JPG_COLOR_FMT_E, kJpegColors)
TESSEL_STRUCT(VDEC_ATTR_JPEG_S, F(enMode), F(enJpegFormat))
TESSEL_STRUCT(VDEC_ATTR_VIDEO_S, F(u32RefFrameNum), F(enMode), F(bTemporalMvpEnable))
TESSEL_CUSTOM(VDEC_CHN_ATTR_S, readChnAttr, pushChnAttr)

// The platform's u32RefFrameNum is not part of the table form: zero on the way in.
TESSEL_STRUCT(VDEC_CHN_PARAM_S, F(s32DisplayFrameNum), F(s32ChanErrThr), F(s32ChanStrmOFThr), F(s32DecMode),
              F(s32DecOrderOutput), F(enVideoFormat), F(enCompressMode))
TESSEL_STRUCT(H264_PRTCL_PARAM_S, F(s32MaxSliceNum), F(s32MaxSpsNum), F(s32MaxPpsNum))
TESSEL_STRUCT(H265_PRTCL_PARAM_S, F(s32MaxSliceSegmentNum), F(s32MaxVpsNum), F(s32MaxSpsNum), F(s32MaxPpsNum))
TESSEL_CUSTOM(VDEC_PRTCL_PARAM_S, readPrtcl, pushPrtcl)

TESSEL_STRUCT(VDEC_DECODE_ERROR_S, F(s32FormatErr), F(s32PicSizeErrSet), F(s32StreamUnsprt), F(s32PackErr),
              F(s32PrtclNumErrSet), F(s32RefErrSet), F(s32PicBufSizeErrSet), F(s32VdecStreamNotRelease))
TESSEL_STRUCT(VDEC_CHN_STAT_S, F(enType), F(u32LeftStreamBytes), F(u32LeftStreamFrames), F(u32LeftPics),
              F(bStartRecvStream), F(u32RecvStreamFrames), F(u32DecodeStreamFrames), F(stVdecDecErr))
// The platform's video module parameters are not part of the table form.
TESSEL_STRUCT(VDEC_MOD_PARAM_S, F(u32MiniBufMode), F(u32VBSource))
