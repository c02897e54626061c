// Table forms of the decoder structures.
//
// Channel attributes and protocol parameters hold a union whose member
// follows the payload type (UnionStruct): the member is read or written under
// one key ("attr", "param"). Everything else is declared field by field.
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

const UnionStruct kChnAttr = {{"VDEC_CHN_ATTR_S", "VDEC_CHN_ATTR_S must be a table for structure convension",
                               sizeof(VDEC_CHN_ATTR_S), chn_attr::fields, 5},
                              "attr", &chnAttrMember, offsetof(VDEC_CHN_ATTR_S, stVdecVideoAttr)};

// ---- protocol parameters ----------------------------------------------------

namespace prtcl {
using S_ = VDEC_PRTCL_PARAM_S;
const Field fields[] = {FIELD(enType, "type", "type")};
}  // namespace prtcl

const Converter* prtclMember(const void* whole) {
  if (static_cast<const VDEC_PRTCL_PARAM_S*>(whole)->enType == PT_H265) return &ConvOf<H265_PRTCL_PARAM_S>::value;
  return &ConvOf<H264_PRTCL_PARAM_S>::value;
}

const UnionStruct kPrtcl = {{"VDEC_PRTCL_PARAM_S", "VDEC_PRTCL_PARAM_S must be a table for structure convension",
                             sizeof(VDEC_PRTCL_PARAM_S), prtcl::fields, 1},
                            "param", &prtclMember, offsetof(VDEC_PRTCL_PARAM_S, stH264PrtclParam)};

}  // namespace
}  // namespace Tessel

TESSEL_ENUM(VIDEO_MODE_E, kVideoModes)
TESSEL_ENUM(VDEC_JPG_COLOR_FMT_E, kJpegColors)
TESSEL_STRUCT(VDEC_ATTR_JPEG_S, F(enMode), F(enJpegFormat))
TESSEL_STRUCT(VDEC_ATTR_VIDEO_S, F(u32RefFrameNum), F(enMode), F(bTemporalMvpEnable))
TESSEL_UNION_STRUCT(VDEC_CHN_ATTR_S, kChnAttr)

// The platform's u32RefFrameNum is not part of the table form: zero on the way in.
TESSEL_STRUCT(VDEC_CHN_PARAM_S, F(s32DisplayFrameNum), F(s32ChanErrThr), F(s32ChanStrmOFThr), F(s32DecMode),
              F(s32DecOrderOutput), F(enVideoFormat), F(enCompressMode))
TESSEL_STRUCT(H264_PRTCL_PARAM_S, F(s32MaxSliceNum), F(s32MaxSpsNum), F(s32MaxPpsNum))
TESSEL_STRUCT(H265_PRTCL_PARAM_S, F(s32MaxSliceSegmentNum), F(s32MaxVpsNum), F(s32MaxSpsNum), F(s32MaxPpsNum))
TESSEL_UNION_STRUCT(VDEC_PRTCL_PARAM_S, kPrtcl)

TESSEL_STRUCT(VDEC_DECODE_ERROR_S, F(s32FormatErr), F(s32PicSizeErrSet), F(s32StreamUnsprt), F(s32PackErr),
              F(s32PrtclNumErrSet), F(s32RefErrSet), F(s32PicBufSizeErrSet), F(s32VdecStreamNotRelease))
TESSEL_STRUCT(VDEC_CHN_STAT_S, F(enType), F(u32LeftStreamBytes), F(u32LeftStreamFrames), F(u32LeftPics),
              F(bStartRecvStream), F(u32RecvStreamFrames), F(u32DecodeStreamFrames), F(stVdecDecErr))
// The platform's video module parameters are not part of the table form.
TESSEL_STRUCT(VDEC_MOD_PARAM_S, F(u32MiniBufMode), F(u32VBSource))
