// Which member of a union the journal shows: selected by a type field of the
// structure that holds the union. Unions not listed here are left out of the
// journal (the simulator cannot know which member the caller meant).
#include <cstring>

#include "core/internal.h"
#include "sim/sim.h"

namespace sim {
namespace {

struct Choice {
    const char* owner;     // structure holding the union
    const char* selector;  // its type field
    long long value;
    const char* member;    // union member shown for that value
};

const Choice kChoices[] = {
    {"VENC_ATTR_S", "enType", PT_H264, "stAttrH264e"},
    {"VENC_ATTR_S", "enType", PT_H265, "stAttrH265e"},
    {"VENC_ATTR_S", "enType", PT_JPEG, "stAttrJpege"},
    {"VENC_ATTR_S", "enType", PT_MJPEG, "stAttrMjpege"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H264CBR, "stAttrH264Cbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H264VBR, "stAttrH264Vbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H264AVBR, "stAttrH264AVbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H264QVBR, "stAttrH264QVbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H264FIXQP, "stAttrH264FixQp"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H264QPMAP, "stAttrH264QpMap"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_MJPEGCBR, "stAttrMjpegeCbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_MJPEGVBR, "stAttrMjpegeVbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_MJPEGFIXQP, "stAttrMjpegeFixQp"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H265CBR, "stAttrH265Cbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H265VBR, "stAttrH265Vbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H265AVBR, "stAttrH265AVbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H265QVBR, "stAttrH265QVbr"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H265FIXQP, "stAttrH265FixQp"},
    {"VENC_RC_ATTR_S", "enRcMode", VENC_RC_MODE_H265QPMAP, "stAttrH265QpMap"},
    {"VENC_PARAM_MOD_S", "enVencModType", MODTYPE_VENC, "stVencModParam"},
    {"VENC_PARAM_MOD_S", "enVencModType", MODTYPE_H264E, "stH264eModParam"},
    {"VENC_PARAM_MOD_S", "enVencModType", MODTYPE_H265E, "stH265eModParam"},
    {"VENC_PARAM_MOD_S", "enVencModType", MODTYPE_JPEGE, "stJpegeModParam"},
    {"VENC_PARAM_MOD_S", "enVencModType", MODTYPE_RC, "stRcModParam"},
    {"VENC_GOP_ATTR_S", "enGopMode", VENC_GOPMODE_NORMALP, "stNormalP"},
    {"VENC_GOP_ATTR_S", "enGopMode", VENC_GOPMODE_DUALP, "stDualP"},
    {"VENC_GOP_ATTR_S", "enGopMode", VENC_GOPMODE_SMARTP, "stSmartP"},
    {"VENC_GOP_ATTR_S", "enGopMode", VENC_GOPMODE_BIPREDB, "stBipredB"},
    {"VDEC_CHN_ATTR_S", "enType", PT_H264, "stVdecVideoAttr"},
    {"VDEC_CHN_ATTR_S", "enType", PT_H265, "stVdecVideoAttr"},
    {"VDEC_CHN_ATTR_S", "enType", PT_JPEG, "stVdecJpegAttr"},
    {"VDEC_CHN_ATTR_S", "enType", PT_MJPEG, "stVdecJpegAttr"},
    {"VDEC_PRTCL_PARAM_S", "enType", PT_H264, "stH264PrtclParam"},
    {"VDEC_PRTCL_PARAM_S", "enType", PT_H265, "stH265PrtclParam"},
    {"RGN_ATTR_S", "enType", OVERLAY_RGN, "stOverlay"},
    {"RGN_ATTR_S", "enType", OVERLAYEX_RGN, "stOverlayEx"},
    {"RGN_CHN_ATTR_S", "enType", OVERLAY_RGN, "stOverlayChn"},
    {"RGN_CHN_ATTR_S", "enType", COVER_RGN, "stCoverChn"},
    {"RGN_CHN_ATTR_S", "enType", COVEREX_RGN, "stCoverExChn"},
    {"RGN_CHN_ATTR_S", "enType", OVERLAYEX_RGN, "stOverlayExChn"},
    {"RGN_CHN_ATTR_S", "enType", LINE_RGN, "stLineChn"},
    {"RGN_CHN_ATTR_S", "enType", MOSAIC_RGN, "stMosaicChn"},
    {"COVER_CHN_ATTR_S", "enCoverType", AREA_RECT, "stRect"},
    {"COVER_CHN_ATTR_S", "enCoverType", AREA_QUAD_RANGLE, "stQuadRangle"},
    {"COVEREX_CHN_ATTR_S", "enCoverType", AREA_RECT, "stRect"},
    {"COVEREX_CHN_ATTR_S", "enCoverType", AREA_QUAD_RANGLE, "stQuadRangle"},
    {"VI_USERPIC_ATTR_S", "enUsrPicMode", VI_USERPIC_MODE_PIC, "stUsrPicFrm"},
    {"VI_USERPIC_ATTR_S", "enUsrPicMode", VI_USERPIC_MODE_BGC, "stUsrPicBg"},
    {"VO_ZOOM_ATTR_S", "enZoomType", VOU_ZOOM_IN_RECT, "stZoomRect"},
    {"VO_ZOOM_ATTR_S", "enZoomType", VOU_ZOOM_IN_RATIO, "stZoomRatio"},
    {"HI_HDMI_INFOFRAME_S", "enInfoFrameType", HI_INFOFRAME_TYPE_AVI, "stAVIInfoFrame"},
    {"HI_HDMI_INFOFRAME_S", "enInfoFrameType", HI_INFOFRAME_TYPE_AUDIO, "stAUDInfoFrame"},
};

}  // namespace

const char* union_choice(const Type& owner, const void* data) {
    for (const Choice& c : kChoices) {
        if (std::strcmp(c.owner, owner.name) != 0) continue;
        const Field* sel = find_field(owner, c.selector);
        if (sel && read_integer(*sel, static_cast<const char*>(data) + sel->offset) == c.value)
            return c.member;
    }
    return nullptr;
}

}  // namespace sim
