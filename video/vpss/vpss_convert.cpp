// Table forms of the processing group and channel structures.
#include "video/vpss/vpss.h"

namespace Tessel {
namespace {

// De-interlacing mode: "NONE"/"NODIE" 0, "AUTO" 1, "ON"/"YES"/"DIE" 2.
const EnumRow kDieModeRows[] = {
    {0, "NONE", kBoth}, {0, "NODIE", kInOnly}, {1, "AUTO", kBoth},
    {2, "ON", kBoth},   {2, "YES", kInOnly},   {2, "DIE", kInOnly},
};
const EnumDesc kDieModes = {kDieModeRows, 6, Miss::Throw, 0, "Invalid VPSS DIE mode",
                            Miss::Throw, 0, "Invalid VPSS DIE mode", "UNKNOWN"};

// Channel mode: "USER" 1; every other string, and every other value on the
// way out, is AUTO.
const EnumRow kChnModeRows[] = {{VPSS_CHN_MODE_USER, "USER", kBoth}};
const EnumDesc kChnModes = {kChnModeRows, 1, Miss::Value, VPSS_CHN_MODE_AUTO, nullptr,
                            Miss::Throw, 0, "Invalid VPSS channel mode type", "AUTO"};

}  // namespace
}  // namespace Tessel

TESSEL_ENUM(VPSS_DIE_MODE_E, kDieModes)
TESSEL_ENUM(VPSS_CHN_MODE_E, kChnModes)

TESSEL_STRUCT(VPSS_GRP_ATTR_S, F(u32MaxW), F(u32MaxH), F(enPixFmt), F(bIeEn), F(bDciEn),
              F(bNrEn), F(bHistEn), F(bEsEn), F(enDieMode))
TESSEL_STRUCT(VPSS_CHN_ATTR_S, F(bSpEn), F(bUVInvert), F(bBorderEn), F(stBorder))
TESSEL_STRUCT(VPSS_FRAME_RATE_S, F(s32SrcFrmRate), F(s32DstFrmRate))
TESSEL_STRUCT(VPSS_CHN_MODE_S, F(enChnMode), F(u32Width), F(u32Height), F(bDouble),
              F(stFrameRate), F(stAspectRatio), F(enPixelFormat), F(enCompressMode))
TESSEL_STRUCT(VPSS_GRP_PARAM_S, F(u32Contrast), F(u32DieStrength), F(u32IeStrength),
              F(u32SfStrength), F(u32TfStrength), F(u32CfStrength), F(u32CTfStrength),
              F(u32CvbsStrength), F(u32DeMotionBlurring))
TESSEL_STRUCT(VPSS_CHN_PARAM_S, F(u32SpStrength), F(u32SfStrength), F(u32TfStrength),
              F(u32CfStrength), F(u32DeMotionBlurring))
